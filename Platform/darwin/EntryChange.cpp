#include <sys/stat.h>
#include <unistd.h>

#include "Platform/posix/EntryAttributes.h"

namespace hotfix::platform {

bool setHandleMode(int held, mode_t mode) { return fchmod(held, mode) == 0; }

bool changeHeldOwner(int held, uid_t owner, gid_t group) { return fchown(held, owner, group) == 0; }

}  // namespace hotfix::platform
