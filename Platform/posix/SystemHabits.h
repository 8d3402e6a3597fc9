#ifndef PLATFORM_POSIX_SYSTEM_HABITS_H_
#define PLATFORM_POSIX_SYSTEM_HABITS_H_

#include <sys/stat.h>

#include <string_view>

/// What a system does where POSIX leaves the choice: for a preview, which has to foresee it.
namespace hotfix::platform {

/// Whether a new entry of a folder gets the folder's group, instead of its maker's.
bool givesGroup(const struct stat& folder);

/// Whether a file that begins like this is a program of this system itself: no script.
bool isSystemProgram(std::string_view beginning);

}  // namespace hotfix::platform

#endif
