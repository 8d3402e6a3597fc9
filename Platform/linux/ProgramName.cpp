#include "Platform/posix/ProgramName.h"

#include <cerrno>

namespace hotfix::platform {

std::string programName() { return program_invocation_short_name; }

}  // namespace hotfix::platform
