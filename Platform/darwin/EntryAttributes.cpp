#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <sys/acl.h>
#include <unistd.h>

#include <climits>

namespace hotfix::platform {

// macOS has no descriptor that refers to an entry without opening it. A file or folder is opened for reading, a link
// itself with O_SYMLINK (open(2)). No handle is opened for a device, FIFO or socket.
ScopedFd openHandle(int folder, const char* name) {
  struct stat status;
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return ScopedFd();
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)) {
    errno = ENOTSUP;
    return ScopedFd();
  }
  // If a FIFO replaces the entry at this moment, it is opened. That is harmless: the call does not block.
  return openExisting(folder, name, O_RDONLY | O_SYMLINK);
}

OptionalString heldLinkText(int held, int folder, const char* name) {
  // freadlink(2) exists only since macOS 13. The text is read by name; before and after, the name must refer to the
  // link of the handle.
  const auto isHeld = [&] {
    struct stat link;
    struct stat named;
    return fstat(held, &link) == 0 && fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && areSame(link, named);
  };
  char text[PATH_MAX] = {};
  if (!isHeld() || readlinkat(folder, name, text, sizeof text - 1) < 0 || !isHeld()) return std::nullopt;
  return text;
}

bool hasHiddenAccessList(int folder, mode_t) {
  errno = 0;
  const acl_t list = acl_get_fd_np(folder, ACL_TYPE_EXTENDED);
  if (list == nullptr) return errno != ENOENT && errno != ENOTSUP;  // after another error there may be a list
  acl_free(list);
  return true;
}

}  // namespace hotfix::platform
