#include "Platform/posix/SystemHabits.h"

namespace hotfix::platform {

bool protectsBundles() { return false; }

}  // namespace hotfix::platform
