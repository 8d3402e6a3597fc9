#ifndef PLATFORM_BUNDLE_H_
#define PLATFORM_BUNDLE_H_

#include <string>

#include "Support/OptionalString.h"

namespace hotfix::platform {

/// The identifier that the bundle at the folder \a path states in its information property list.
///
/// \return none when there is no such folder, no readable list in it, or no identifier in the list.
OptionalString bundleIdentifier(const std::string& path);

}  // namespace hotfix::platform

#endif
