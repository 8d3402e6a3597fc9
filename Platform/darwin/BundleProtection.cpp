#include <sys/sysctl.h>
#include <sys/types.h>

#include <cstdlib>

#include "Platform/posix/SystemHabits.h"

namespace hotfix::platform {

// The release comes from the kernel, because its answer does not depend on the SDK of the build. Release 22 is
// macOS 13.
bool protectsBundles() {
  char release[32] = {};
  size_t size = sizeof release - 1;
  return sysctlbyname("kern.osrelease", release, &size, nullptr, 0) == 0 && std::strtol(release, nullptr, 10) >= 22;
}

}  // namespace hotfix::platform
