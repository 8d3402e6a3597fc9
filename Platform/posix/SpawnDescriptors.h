#ifndef PLATFORM_POSIX_SPAWN_DESCRIPTORS_H_
#define PLATFORM_POSIX_SPAWN_DESCRIPTORS_H_

#include <spawn.h>

namespace hotfix::platform {

/// Makes a child inherit no descriptor above 2, whether it is closed on exec or not.
///
/// \param[in,out] flags the flags that the spawn attributes will get.
void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags);

}  // namespace hotfix::platform

#endif
