#include "Platform/posix/FileCopy.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FileJudgements.h"

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

/// Access control lists are extended attributes too.
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

}  // namespace

int copyFileAndAttributes(int from, int to, const struct stat& source) {
  const int error = copyData(from, to, source.st_size);
  if (error == 0) copyAttributes(from, to, source);
  return error;
}

int renameIfFree(int folder, const char* name, const char* newName) {
  if (renameat2(folder, name, folder, newName, RENAME_NOREPLACE) == 0) return 0;
  return errno == EINVAL || errno == ENOSYS ? ENOTSUP : errno;  // EINVAL comes from a file system, see renameat2(2)
}

void copyAttributes(int from, int to, const struct stat& source) {
  const bool isOwnerKept = fchown(to, source.st_uid, source.st_gid) == 0;
  if (!isOwnerKept) (void)!fchown(to, static_cast<uid_t>(-1), source.st_gid);
  copyExtendedAttributes(from, to);  // after the owner, because a change of the owner removes a program's capabilities
  (void)fchmod(to, adoptedMode(source, isOwnerKept));
  const struct timespec times[] = {source.st_atim, source.st_mtim};
  (void)futimens(to, times);
}

void copyFlags(int, const struct stat&) {}  // no flags that stat(2) tells of

void copyLinkAttributes(int folder, const char* name, const struct stat& source) {
  // Examined again through a handle: in a shared folder, another user may have replaced the entry.
  const ScopedFd held = openHandle(folder, name);
  struct stat status;
  if (!held || fstat(held.get(), &status) != 0 || !S_ISLNK(status.st_mode) || status.st_nlink != 1) return;
  (void)changeHeldOwner(held.get(), source.st_uid, source.st_gid);
  const struct timespec times[] = {source.st_atim, source.st_mtim};
  (void)utimensat(held.get(), "", times, AT_EMPTY_PATH);
}

}  // namespace hotfix::platform
