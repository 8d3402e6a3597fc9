#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <climits>
#include <string>

namespace hotfix::platform {

ScopedFd holdEntry(int folder, const char* name) {
  return ScopedFd(retried([&] { return openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
}

OptionalString heldLinkText(int held, int, const char*) {
  char text[PATH_MAX] = {};
  if (readlinkat(held, "", text, sizeof text - 1) < 0) return std::nullopt;
  return text;
}

bool changeHeldMode(int held, mode_t mode) {
  // fchmod(2) refuses such a descriptor; proc(5) names the entry that it holds. Where /proc is not mounted,
  // fchmodat2(2) (Linux 6.6) does it.
  const std::string path = "/proc/self/fd/" + std::to_string(held);
  if (chmod(path.c_str(), mode) == 0) return true;
  if (errno != ENOENT) return false;
  constexpr long kFchmodat2 = 452;  // the same number in every architecture; too new for the C library's headers
  return syscall(kFchmodat2, held, "", mode, AT_EMPTY_PATH) == 0;
}

bool changeHeldOwner(int held, uid_t owner, gid_t group) {
  return fchownat(held, "", owner, group, AT_EMPTY_PATH) == 0;
}

bool hasHiddenAccessList(int folder, mode_t mode) {
  // The rights that a list gives show as those of the group (acl(5)).
  if ((mode & S_IWGRP) == 0) return false;
  return fgetxattr(folder, "system.posix_acl_access", nullptr, 0) >= 0 || (errno != ENODATA && errno != ENOTSUP);
}

}  // namespace hotfix::platform
