#include "Platform/posix/BundleProtection.h"

#include <sys/sysctl.h>
#include <sys/types.h>

#include <cstdlib>

namespace hotfix::platform {

// Asked of the kernel, whose release is not a matter of the SDK that the program was built with: 22 is macOS 13.
bool protectsBundles() {
  char release[32] = {};
  size_t size = sizeof release - 1;
  return sysctlbyname("kern.osrelease", release, &size, nullptr, 0) == 0 && std::strtol(release, nullptr, 10) >= 22;
}

}  // namespace hotfix::platform
