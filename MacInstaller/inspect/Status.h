#ifndef MACINSTALLER_INSPECT_STATUS_H_
#define MACINSTALLER_INSPECT_STATUS_H_

#include <string>
#include <vector>

#include "MacInstaller/inspect/Document.h"
#include "Support/OptionalString.h"

namespace hotfix {

/// The state of one instance, the facts behind it, and the commands for the recovery from a state that is not clean.
///
/// \param data the data folder; absent: the one that the launcher's properties name.
document::Json statusDocument(const std::string& home, const OptionalString& data);

/// The states of several instances.
document::Json statusListDocument(const std::vector<std::string>& homes);

/// The home folders of the instances in the application bundles of /Applications and of \a folders.
std::vector<std::string> foundInstances(const std::vector<std::string>& folders);

/// The exit status for a document from statusDocument.
int exitStatusOf(const document::Json& status);

}  // namespace hotfix

#endif
