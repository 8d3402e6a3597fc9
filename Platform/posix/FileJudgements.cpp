#include "Platform/posix/FileJudgements.h"

#include "Platform/UserIdentity.h"

namespace hotfix::platform {

bool isTrustedFile(const struct stat& status) {
  // A file with a second name may be an old one that a user has kept. An executable file may come from a tree with
  // repaired permissions, where another user wrote it: the repair sets that mode, and a writer of settings does not.
  constexpr mode_t kForbidden = S_IWOTH | S_IXUSR | S_IXGRP | S_IXOTH;
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && (status.st_mode & kForbidden) == 0 &&
         isTrustedOwner(status.st_uid);
}

bool isOwnTraceFile(const struct stat& status) { return S_ISREG(status.st_mode) && isTrustedOwner(status.st_uid); }

mode_t adoptedMode(const struct stat& status, bool isOwnerKept) {
  return status.st_mode & (isOwnerKept ? 07777U : 0777U);
}

}  // namespace hotfix::platform
