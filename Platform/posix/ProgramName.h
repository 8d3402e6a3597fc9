#ifndef PLATFORM_POSIX_PROGRAM_NAME_H_
#define PLATFORM_POSIX_PROGRAM_NAME_H_

#include <string>

namespace hotfix::platform {

/// Last component of the name under which the process was started.
std::string programName();

}  // namespace hotfix::platform

#endif
