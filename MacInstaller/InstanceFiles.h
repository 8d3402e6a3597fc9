#ifndef MACINSTALLER_INSTANCEFILES_H_
#define MACINSTALLER_INSTANCEFILES_H_

#include <sys/types.h>

namespace hotfix {

// Files of an instance that more than one source names.

/// The manifest that a hotfix leaves for its removal, relative to the home folder.
inline constexpr char kUninstallManifest[] = "deploy/uninstall.hotfix.xml";
/// The manifest that the launcher applies at its next start, relative to the folder `deploy`.
inline constexpr char kUpdateManifest[] = "install.update.xml";

/// The key of an identifier, in the `Info.plist` of a bundle and in an entry of the add-on registry.
inline constexpr char kBundleIdentifierKey[] = "CFBundleIdentifier";

/// Group and mode of entries that the installer creates or repairs: the members of the group are administrators.
inline constexpr char kInstallerGroup[] = "admin";
inline constexpr mode_t kInstallerMode = 0775;

}  // namespace hotfix

#endif  // MACINSTALLER_INSTANCEFILES_H_
