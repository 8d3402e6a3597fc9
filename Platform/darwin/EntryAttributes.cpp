#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform {

// macOS has no descriptor that holds an entry without opening it. A file or folder is opened for reading, a link by
// O_SYMLINK as what it is (open(2)); a device, FIFO or socket cannot be held.
ScopedFd holdEntry(int folder, const char* name) {
  struct stat status;
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return ScopedFd();
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)) {
    errno = ENOTSUP;
    return ScopedFd();
  }
  // Exchanged for a FIFO in this moment it is opened all the same, which does no harm: nobody is waited for.
  return openExisting(folder, name, O_RDONLY | O_SYMLINK);
}

bool changeHeldMode(int held, mode_t mode) { return fchmod(held, mode) == 0; }

bool changeHeldOwner(int held, uid_t owner, gid_t group) { return fchown(held, owner, group) == 0; }

}  // namespace platform
