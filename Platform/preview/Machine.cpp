#include "Platform/preview/Machine.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include "Platform/UserIdentity.h"
#include "Platform/posix/Accounts.h"
#include "Support/Path.h"

namespace hotfix::platform::preview {

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

namespace {

bool isTrustedGroup(gid_t group, std::optional<gid_t> trustedGroup) {
  if (group == 0 || group == trustedGroup) return true;
  const std::optional<uid_t> member = onlyMember(group);
  return member && isTrustedOwner(*member);
}

}  // namespace

OptionalString changeableByOthers(std::string path, const std::string& administrators) {
  const std::optional<gid_t> trustedGroup = groupNamed(administrators);

  for (;;) {
    struct stat status;
    if (stat(path.c_str(), &status) == 0) {
      const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
      if ((status.st_mode & S_IWOTH) != 0 && !isSticky) return path;
      if ((status.st_mode & S_IWGRP) != 0 && !isSticky && !isTrustedGroup(status.st_gid, trustedGroup)) return path;
      if (!isTrustedOwner(status.st_uid)) return path;
    }
    const std::string parent = path::deletingLastComponent(path);
    if (parent == path || parent.empty()) return std::nullopt;
    path = parent;
  }
}

std::optional<std::uint64_t> freeBytes(const std::string& path) {
  struct statvfs volume;
  if (statvfs(path.c_str(), &volume) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(geteuid() == 0 ? volume.f_bfree : volume.f_bavail) * volume.f_frsize;
}

}  // namespace hotfix::platform::preview
