#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "Platform/posix/EntryAttributes.h"

namespace hotfix::platform {

bool setHandleMode(int held, mode_t mode) {
  // fchmod(2) refuses such a descriptor, but proc(5) gives the path of its entry. If /proc is not mounted,
  // fchmodat2(2) (Linux 6.6) changes the mode.
  const std::string path = "/proc/self/fd/" + std::to_string(held);
  if (chmod(path.c_str(), mode) == 0) return true;
  if (errno != ENOENT) return false;
  constexpr long kFchmodat2 = 452;  // the same number on every architecture; too new for the C library's headers
  return syscall(kFchmodat2, held, "", mode, AT_EMPTY_PATH) == 0;
}

bool changeHeldOwner(int held, uid_t owner, gid_t group) {
  return fchownat(held, "", owner, group, AT_EMPTY_PATH) == 0;
}

}  // namespace hotfix::platform
