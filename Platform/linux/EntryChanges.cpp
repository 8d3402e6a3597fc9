#include "Platform/posix/EntryChanges.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace hotfix::platform {

namespace {

constexpr size_t kChunk = size_t{1} << 20;

/// For file systems and kernels without copy_file_range(2), and for files that are, or appear, empty.
int copyByReading(int from, int to) {
  char buffer[kChunk / 32];
  for (;;) {
    const ssize_t count = retried([&] { return read(from, buffer, sizeof buffer); });
    if (count < 0) return errno;
    if (count == 0) return 0;
    if (!writeAll(to, {buffer, static_cast<size_t>(count)})) return errno;
  }
}

}  // namespace

int renameIfFree(int folder, const char* name, const char* newName) {
  if (renameat2(folder, name, folder, newName, RENAME_NOREPLACE) == 0) return 0;
  return errno == EINVAL || errno == ENOSYS ? ENOTSUP : errno;  // EINVAL comes from a file system, see renameat2(2)
}

int copyData(int from, int to, off_t size) {
  if (size == 0) return copyByReading(from, to);  // may be a file below /proc, which is longer than its size
  for (off_t copied = 0;;) {
    const ssize_t count = retried([&] { return copy_file_range(from, nullptr, to, nullptr, kChunk * 128, 0); });
    if (count > 0) {
      copied += count;
      if (copied >= size) return 0;  // does not copy text that was appended during the copy
      continue;
    }
    if (copied == 0) return copyByReading(from, to);  // not supported by this file system
    return count == 0 ? 0 : errno;
  }
}

// Access control lists are extended attributes too.
void copyExtendedAttributes(int from, int to) {
  if (flistxattr(from, nullptr, 0) <= 0) return;  // nearly always
  std::string names(kChunk / 16, '\0');           // more than the kernel ever lists
  const ssize_t length = flistxattr(from, names.data(), names.size());
  std::string value(kChunk / 16, '\0');
  for (ssize_t at = 0; at < length;) {
    const char* name = names.c_str() + at;
    const ssize_t size = fgetxattr(from, name, value.data(), value.size());
    if (size >= 0) (void)fsetxattr(to, name, value.data(), static_cast<size_t>(size), 0);
    at += static_cast<ssize_t>(std::char_traits<char>::length(name)) + 1;
  }
}

void copyTimes(int to, const struct stat& source) {
  const struct timespec times[] = {source.st_atim, source.st_mtim};
  // futimens(3) refuses the handle of a link. Before Linux 5.8, utimensat(2) refuses other files without a path.
  if (futimens(to, times) != 0) (void)utimensat(to, "", times, AT_EMPTY_PATH);
}

void copyFlags(int, const struct stat&) {}  // no flags that stat(2) tells of

bool setHandleMode(int held, mode_t mode) {
  // fchmod(2) refuses such a descriptor, but proc(5) gives the path of its entry. If /proc is not mounted,
  // fchmodat2(2) (Linux 6.6) changes the mode.
  const std::string path = "/proc/self/fd/" + std::to_string(held);
  if (chmod(path.c_str(), mode) == 0) return true;
  if (errno != ENOENT) return false;
  constexpr long kFchmodat2 = 452;  // the same number on every architecture; too new for the C library's headers
  return syscall(kFchmodat2, held, "", mode, AT_EMPTY_PATH) == 0;
}

bool changeHeldOwner(int held, uid_t owner, gid_t group) {
  return fchownat(held, "", owner, group, AT_EMPTY_PATH) == 0;
}

}  // namespace hotfix::platform
