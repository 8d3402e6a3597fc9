#include "Platform/posix/SpawnDescriptors.h"

namespace hotfix::platform {

void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short*) {
  posix_spawn_file_actions_addclosefrom_np(actions, 3);
}

}  // namespace hotfix::platform
