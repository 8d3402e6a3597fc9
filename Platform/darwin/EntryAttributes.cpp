#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <sys/acl.h>
#include <unistd.h>

#include <climits>

namespace hotfix::platform {

// macOS has no descriptor that holds an entry without opening it. A file or folder is opened for reading, a link by
// O_SYMLINK as what it is (open(2)); a device, FIFO or socket cannot be held.
ScopedFd openHandle(int folder, const char* name) {
  struct stat status;
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return ScopedFd();
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)) {
    errno = ENOTSUP;
    return ScopedFd();
  }
  // Exchanged for a FIFO in this moment it is opened all the same, which does no harm: nobody is waited for.
  return openExisting(folder, name, O_RDONLY | O_SYMLINK);
}

OptionalString heldLinkText(int held, int folder, const char* name) {
  // freadlink(2) came with macOS 13. By name, and the name has to mean the link that is held before and after.
  const auto isHeld = [&] {
    struct stat link;
    struct stat named;
    return fstat(held, &link) == 0 && fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           link.st_dev == named.st_dev && link.st_ino == named.st_ino;
  };
  char text[PATH_MAX] = {};
  if (!isHeld() || readlinkat(folder, name, text, sizeof text - 1) < 0 || !isHeld()) return std::nullopt;
  return text;
}

bool hasHiddenAccessList(int folder, mode_t) {
  errno = 0;
  const acl_t list = acl_get_fd_np(folder, ACL_TYPE_EXTENDED);
  if (list == nullptr) return errno != ENOENT && errno != ENOTSUP;  // not to be had is not the same as none
  acl_free(list);
  return true;
}

}  // namespace hotfix::platform
