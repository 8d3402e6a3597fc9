#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <climits>

namespace hotfix::platform {

ScopedFd openHandle(int folder, const char* name) {
  return ScopedFd(retried([&] { return openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
}

OptionalString heldLinkText(int held, int, const char*) {
  char text[PATH_MAX] = {};
  if (readlinkat(held, "", text, sizeof text - 1) < 0) return std::nullopt;
  return text;
}

bool hasHiddenAccessList(int folder, mode_t mode) {
  // The permissions of a list appear as those of the group (acl(5)).
  if ((mode & S_IWGRP) == 0) return false;
  return fgetxattr(folder, "system.posix_acl_access", nullptr, 0) >= 0 || (errno != ENODATA && errno != ENOTSUP);
}

}  // namespace hotfix::platform
