#include "Platform/posix/ProgramName.h"

#include <cerrno>

namespace platform {

std::string programName() { return program_invocation_short_name; }

}  // namespace platform
