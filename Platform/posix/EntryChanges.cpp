#include "Platform/posix/EntryChanges.h"

#include <fcntl.h>
#include <unistd.h>

#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FileChanges.h"

namespace hotfix::platform {

ScopedFd createTemporary(int folder, mode_t mode, std::string& name) {
  constexpr int kNameAttempts = 8;  // a random name is taken only if somebody tries to guess it
  ScopedFd file;
  for (int attempt = 0; !file && attempt < kNameAttempts && (attempt == 0 || errno == EEXIST); ++attempt) {
    if (name.empty() || attempt > 0) name = randomName(".tmp.");
    file = ScopedFd(retried(
        [&] { return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); }));
  }
  return file;
}

bool adoptOwner(int to, const struct stat& source) {
  if (fchown(to, source.st_uid, source.st_gid) == 0) return true;
  (void)!fchown(to, static_cast<uid_t>(-1), source.st_gid);
  return false;
}

void copyAttributes(int from, int to, const struct stat& source) {
  const bool isOwnerKept = adoptOwner(to, source);
  copyExtendedAttributes(from, to);  // after the owner, because a change of the owner removes a program's capabilities
  (void)fchmod(to, adoptedMode(source, isOwnerKept));
  copyTimes(to, source);
}

void copyLinkAttributes(int folder, const char* name, const struct stat& source) {
  // Examined again through a handle: in a shared folder, another user may have replaced the entry.
  const ScopedFd held = openHandle(folder, name);
  struct stat status;
  if (!held || fstat(held.get(), &status) != 0 || !S_ISLNK(status.st_mode) || status.st_nlink != 1) return;
  (void)changeHeldOwner(held.get(), source.st_uid, source.st_gid);
  copyTimes(held.get(), source);
}

}  // namespace hotfix::platform
