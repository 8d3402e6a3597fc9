#include "Platform/posix/EntryChanges.h"

#include <copyfile.h>
#include <sys/attr.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace hotfix::platform {

namespace {

/// The only extended attribute that may have any size and that can be read and written in parts.
bool isResourceFork(const std::string& name) { return name == XATTR_RESOURCEFORK_NAME; }

void copyExtendedAttribute(int from, int to, const std::string& name) {
  constexpr ssize_t kMostAtOnce = ssize_t{16} << 20;
  const ssize_t size = fgetxattr(from, name.c_str(), nullptr, 0, 0, 0);
  if (size < 0 || (size > kMostAtOnce && !isResourceFork(name))) return;
  std::string value(static_cast<size_t>(std::min(size, kMostAtOnce)), '\0');
  for (ssize_t at = 0;;) {
    const auto position = static_cast<std::uint32_t>(at);
    const ssize_t count = fgetxattr(from, name.c_str(), value.data(), value.size(), position, 0);
    if (count < 0 || fsetxattr(to, name.c_str(), value.data(), static_cast<size_t>(count), position, 0) != 0) return;
    at += count;
    if (count == 0 || at >= size) return;
  }
}

}  // namespace

int renameIfFree(int, const char*, const char*) { return ENOTSUP; }  // renameatx_np(2) exists only since macOS 10.12

// Only the data: for the attributes, fcopyfile's COPYFILE_STAT is not suitable. It copies the mode even if the owner
// could not be copied. It reads the mode again, which may have changed. And it copies the flags first, which may lock
// the copy.
int copyData(int from, int to, off_t) {
  errno = 0;
  if (fcopyfile(from, to, nullptr, COPYFILE_DATA) == 0) return 0;
  return errno != 0 ? errno : EIO;
}

// Copies each attribute separately and keeps the existing attributes of the copy. fcopyfile's COPYFILE_XATTR would
// first remove them, and would stop at the first attribute that only the system may set, such as com.apple.provenance.
void copyExtendedAttributes(int from, int to) {
  const ssize_t room = flistxattr(from, nullptr, 0, 0);
  std::string names(room > 0 ? static_cast<size_t>(room) : 0, '\0');
  const ssize_t length = room > 0 ? flistxattr(from, names.data(), names.size(), 0) : 0;
  for (ssize_t at = 0; at < length;) {
    const std::string name = names.c_str() + at;
    copyExtendedAttribute(from, to, name);
    at += static_cast<ssize_t>(name.size()) + 1;
  }
  // A separate call, so that a failure with an extended attribute does not affect the access list.
  (void)fcopyfile(from, to, nullptr, COPYFILE_ACL);
}

// Uses setattrlist(2), which sets nanoseconds and works for links too. utimensat(2) and futimens(2) do not exist in
// every supported release of macOS.
void copyTimes(int to, const struct stat& source) {
  struct attrlist attributes = {};
  attributes.bitmapcount = ATTR_BIT_MAP_COUNT;
  attributes.commonattr = ATTR_CMN_MODTIME | ATTR_CMN_ACCTIME;
  struct timespec times[] = {source.st_mtimespec, source.st_atimespec};  // in the order of the attribute bits
  (void)fsetattrlist(to, &attributes, times, sizeof times, 0);
}

// Copies only the flags that a user or an administrator sets. The other flags describe how a file is stored.
void copyFlags(int to, const struct stat& source) {
  constexpr unsigned kUserFlags = UF_NODUMP | UF_IMMUTABLE | UF_APPEND | UF_OPAQUE | UF_HIDDEN;
  constexpr unsigned kSystemFlags = SF_ARCHIVED | SF_IMMUTABLE | SF_APPEND;
  if ((source.st_flags & (kUserFlags | kSystemFlags)) == 0) return;
  if (fchflags(to, source.st_flags & (kUserFlags | kSystemFlags)) != 0) {
    (void)fchflags(to, source.st_flags & kUserFlags);
  }
}

bool setHandleMode(int held, mode_t mode) { return fchmod(held, mode) == 0; }

bool changeHeldOwner(int held, uid_t owner, gid_t group) { return fchown(held, owner, group) == 0; }

}  // namespace hotfix::platform
