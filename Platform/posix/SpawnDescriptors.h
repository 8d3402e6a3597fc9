#ifndef PLATFORM_POSIX_SPAWN_DESCRIPTORS_H_
#define PLATFORM_POSIX_SPAWN_DESCRIPTORS_H_

#include <spawn.h>

namespace hotfix::platform {

/// Prevents a child from inheriting descriptors above 2, even those that are not closed on exec.
///
/// \param[in,out] flags the flags that the spawn attributes will get.
void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags);

}  // namespace hotfix::platform

#endif
