#ifndef PLATFORM_POSIX_BUNDLE_PROTECTION_H_
#define PLATFORM_POSIX_BUNDLE_PROTECTION_H_

namespace hotfix::platform {

/// Whether the system may keep everybody, root too, from changing an installed application bundle until an
/// administrator allows it: on macOS from 13 on ("App Management"). It refuses with EPERM then, where rights that are
/// missing give EACCES.
bool protectsBundles();

}  // namespace hotfix::platform

#endif
