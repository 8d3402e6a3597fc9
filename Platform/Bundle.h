#ifndef PLATFORM_BUNDLE_H_
#define PLATFORM_BUNDLE_H_

#include <string>

#include "Support/OptionalString.h"

namespace hotfix::platform {

/// The identifier in the information property list of the bundle at the folder \a path.
///
/// \return none if there is no such folder, no readable list in it, or no identifier in the list.
OptionalString bundleIdentifier(const std::string& path);

}  // namespace hotfix::platform

#endif
