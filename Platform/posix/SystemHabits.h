#ifndef PLATFORM_POSIX_SYSTEM_HABITS_H_
#define PLATFORM_POSIX_SYSTEM_HABITS_H_

#include <sys/stat.h>

#include <string_view>

/// The choices of a system that POSIX leaves open, for a preview.
namespace hotfix::platform {

/// Whether a new entry of a folder gets the folder's group instead of the process's group.
bool givesGroup(const struct stat& folder);

/// Whether a file with this beginning is a binary program of this system, not a script.
bool isSystemProgram(std::string_view beginning);

}  // namespace hotfix::platform

#endif
