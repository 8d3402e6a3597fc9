#include "Platform/posix/EntryAttributes.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>

namespace hotfix::platform {

ScopedFd holdEntry(int folder, const char* name) {
  return ScopedFd(retried([&] { return openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
}

OptionalString heldLinkText(int held, int, const char*) {
  char text[PATH_MAX] = {};
  if (readlinkat(held, "", text, sizeof text - 1) < 0) return std::nullopt;
  return text;
}

// The rights that a list gives show as those of the group (acl(5)).
bool hasHiddenAccessList(int) { return false; }

}  // namespace hotfix::platform
