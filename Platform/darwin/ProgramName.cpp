#include "Platform/posix/ProgramName.h"

#include <cstdlib>

namespace platform {

std::string programName() { return getprogname(); }

}  // namespace platform
