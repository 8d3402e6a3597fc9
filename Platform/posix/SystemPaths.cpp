#include "Platform/SystemPaths.h"

namespace hotfix::platform {

std::string onDisk(const std::string& path) { return path; }

}  // namespace hotfix::platform
