#include "Platform/posix/SpawnDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace hotfix::platform {

void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags) {
  // Closes every descriptor that no action names.
  *flags = static_cast<short>(*flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    const int descriptorFlags = fcntl(descriptor, F_GETFD);
    const bool isInherited = descriptorFlags != -1 && (descriptorFlags & FD_CLOEXEC) == 0;
    if (isInherited) posix_spawn_file_actions_addinherit_np(actions, descriptor);
  }
}

}  // namespace hotfix::platform
