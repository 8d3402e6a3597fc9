#ifndef PLATFORM_POSIX_DESCRIPTORS_H_
#define PLATFORM_POSIX_DESCRIPTORS_H_

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support/OptionalString.h"

/// Helpers that the file services share: owned descriptors, complete reads and writes, interrupted calls, and error
/// texts.
namespace hotfix::platform {

/// Owns a file descriptor; -1 is none.
class ScopedFd {
 public:
  explicit ScopedFd(int descriptor = -1) : _descriptor(descriptor) {}
  ScopedFd(ScopedFd&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  ScopedFd& operator=(ScopedFd&& other) noexcept {
    std::swap(_descriptor, other._descriptor);
    return *this;
  }
  ~ScopedFd();

  int get() const { return _descriptor; }
  int release() { return std::exchange(_descriptor, -1); }
  explicit operator bool() const { return _descriptor >= 0; }

 private:
  int _descriptor;
};

/// Owns an open folder, whose entries can be read through the same descriptor.
class ScopedFolder {
 public:
  explicit ScopedFolder(ScopedFd descriptor = ScopedFd())
      : _number(descriptor.get()), _descriptor(std::move(descriptor)) {}

  int get() const { return _number; }
  explicit operator bool() const { return get() >= 0; }

  /// For readdir(3). The first call starts at the first entry. Null if there is not enough memory.
  DIR* stream();

 private:
  struct Closer {
    void operator()(DIR* stream) const { closedir(stream); }
  };

  int _number;           // of the descriptor, whoever owns it: dirfd(3) is not a plain function on macOS
  ScopedFd _descriptor;  // until the stream has it
  std::unique_ptr<DIR, Closer> _stream;
};

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto retried(Call call) -> decltype(call()) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

/// The name of an entry of a folder, and the type bits of its mode if the folder lists them, otherwise 0.
struct NamedEntry {
  std::string name;
  mode_t type;
};

/// Visits the entries of an open folder without "." and "..", until \a visit answers false. \return false after an
/// error.
bool visitEntries(ScopedFolder& folder, const std::function<bool(const char* name, mode_t type)>& visit);

/// All entries of an open folder without "." and "..", or none after an error.
std::optional<std::vector<NamedEntry>> entriesIn(ScopedFolder& folder);

/// Whether the attributes are those of one entry, under any names.
inline bool areSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Opens an existing file or folder, closed on exec; never waits for the other end of a FIFO.
ScopedFd openExisting(int folder, const char* path, int flags);

/// Opens the regular file \a name of an open folder, without following a link. Other entries are not opened, because
/// opening a device can have an effect. If another entry appears between the check and the opening, it is only opened,
/// without waiting.
///
/// \return none if there is no regular file, or it cannot be opened. See isUnderThisNameOnly for the opened file.
ScopedFd openRegular(int folder, const char* name, int flags);

/// Examines an open file by the name under which it was opened. \return whether that is its only name, so that the file
/// is only in this folder. Its number of names is not sufficient: another name may have been removed since the opening.
bool isUnderThisNameOnly(const ScopedFd& file, int folder, const char* name, struct stat& status);

/// Everything from the descriptor's position to its end, or none after an error or past \a limit bytes.
/// \a expected is the approximate number of bytes, if known. It only avoids repeated growth.
OptionalString readToEnd(int descriptor, size_t limit, size_t expected = 0);

/// Writes all of \a bytes. A failure is an error and not a signal. \return false, with errno set, on failure.
bool writeAll(int descriptor, std::string_view bytes);

/// Whether a number is one of several.
inline bool isOneOf(int number, std::initializer_list<int> numbers) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

/// The system's text for an error number, thread-safe.
std::string errorText(int errorNumber);

/// An unpredictable name for a temporary file in a shared folder.
std::string randomName(const char* prefix);

}  // namespace hotfix::platform

#endif
