#include "Platform/posix/BundleProtection.h"

namespace hotfix::platform {

bool protectsBundles() { return false; }

}  // namespace hotfix::platform
