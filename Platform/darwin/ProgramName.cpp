#include "Platform/posix/ProgramName.h"

#include <cstdlib>

namespace hotfix::platform {

std::string programName() { return getprogname(); }

}  // namespace hotfix::platform
