#ifndef PLATFORM_POSIX_SYSTEM_HABITS_H_
#define PLATFORM_POSIX_SYSTEM_HABITS_H_

#include <spawn.h>
#include <sys/stat.h>

#include <string>
#include <string_view>

/// The choices of a system that POSIX leaves open.
namespace hotfix::platform {

/// The name under which the process was started, without its folder.
std::string programName();

/// Prevents a child from inheriting descriptors above 2, even those that are not closed on exec.
///
/// \param[in,out] flags the flags that the spawn attributes will get.
void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags);

/// Whether a new entry of a folder gets the folder's group instead of the process's group.
bool givesGroup(const struct stat& folder);

/// Whether a file with this beginning is a binary program of this system, not a script.
bool isSystemProgram(std::string_view beginning);

/// Whether the system may prevent everybody, including root, from changing an installed application bundle until an
/// administrator allows it: on macOS since 13 ("App Management"). The error is then EPERM; missing permissions give
/// EACCES. The tests link their own version.
bool protectsBundles();

}  // namespace hotfix::platform

#endif
