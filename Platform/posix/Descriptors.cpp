#include "Platform/posix/Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <system_error>

#include "Platform/posix/WriteSignals.h"

namespace hotfix::platform {

ScopedFd::~ScopedFd() {
  if (_descriptor >= 0) {
    const int before = errno;
    close(_descriptor);  // not repeated after a signal: the descriptor is closed in any case
    errno = before;
  }
}

ScopedFd openExisting(int folder, const char* path, int flags) {
  return ScopedFd(retried([&] { return openat(folder, path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
}

ScopedFd openRegular(int folder, const char* name, int flags) {
  struct stat status;
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode)) return ScopedFd();
  return openExisting(folder, name, flags | O_NOFOLLOW);
}

bool isUnderThisNameOnly(const ScopedFd& file, int folder, const char* name, struct stat& status) {
  struct stat opened;
  return fstat(file.get(), &opened) == 0 && fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         areSame(opened, status) && status.st_nlink == 1;
}

DIR* ScopedFolder::stream() {
  if (!_stream) {
    _stream.reset(fdopendir(_descriptor.get()));
    if (_stream) (void)_descriptor.release();
  }
  return _stream.get();
}

bool visitEntries(ScopedFolder& folder, const std::function<bool(const char* name, mode_t type)>& visit) {
  DIR* stream = folder.stream();
  if (stream == nullptr) return false;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream);
    if (entry == nullptr) return errno == 0;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (!visit(entry->d_name, static_cast<mode_t>(DTTOIF(entry->d_type)))) return true;  // DT_UNKNOWN gives 0
  }
}

std::optional<std::vector<NamedEntry>> entriesIn(ScopedFolder& folder) {
  std::vector<NamedEntry> entries;
  const bool isRead = visitEntries(folder, [&entries](const char* name, mode_t type) {
    entries.push_back({name, type});
    return true;
  });
  return isRead ? std::optional<std::vector<NamedEntry>>(std::move(entries)) : std::nullopt;
}

OptionalString readToEnd(int descriptor, size_t limit, size_t expected) try {
  constexpr size_t kChunk = 1U << 16;
  std::string bytes(std::min(expected, limit) + kChunk, '\0');
  size_t used = 0;
  for (;;) {
    // Doubling keeps the cost linear. One byte past the limit shows that the file is longer.
    if (bytes.size() == used) bytes.resize(std::min(bytes.size() * 2 + kChunk, limit + 2 * kChunk));
    const ssize_t count = retried([&] { return read(descriptor, &bytes[used], bytes.size() - used); });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    used += static_cast<size_t>(count);
    if (used > limit) return std::nullopt;
  }
  bytes.resize(used);
  return bytes;
} catch (const std::exception&) {
  return std::nullopt;  // too large for the memory, or for a text of this word size
}

bool writeAll(int descriptor, std::string_view bytes) {
  int error = 0;
  withoutWriteSignals(descriptor, [&] {
    while (!bytes.empty()) {
      const ssize_t count = retried([&] { return write(descriptor, bytes.data(), bytes.size()); });
      if (count < 0) {
        error = errno;
        return;
      }
      bytes.remove_prefix(static_cast<size_t>(count));
    }
  });
  if (error != 0) errno = error;
  return error == 0;
}

std::string errorText(int errorNumber) { return std::generic_category().message(errorNumber); }

std::string randomName(const char* prefix) {
  static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz012345";  // 32 of them: five bits each
  unsigned char random[16];
  arc4random_buf(random, sizeof random);  // one system call, on Linux, for the whole name
  std::string name = prefix;
  for (const unsigned char byte : random) name += kLetters[byte & 31U];
  return name;
}

}  // namespace hotfix::platform
