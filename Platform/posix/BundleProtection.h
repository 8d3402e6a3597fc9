#ifndef PLATFORM_POSIX_BUNDLE_PROTECTION_H_
#define PLATFORM_POSIX_BUNDLE_PROTECTION_H_

namespace hotfix::platform {

/// Whether the system may prevent everybody, including root, from changing an installed application bundle until an
/// administrator allows it: on macOS since 13 ("App Management"). The error is then EPERM; missing permissions give
/// EACCES.
bool protectsBundles();

}  // namespace hotfix::platform

#endif
