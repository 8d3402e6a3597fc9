#ifndef PLATFORM_POSIX_DESCRIPTORS_H_
#define PLATFORM_POSIX_DESCRIPTORS_H_

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support/OptionalString.h"

/// What the file services share: owned descriptors, whole reads and writes, interrupted calls, and reasons as text.
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

  /// For readdir(3), from the first entry on when it is asked for the first time; null when there is no memory for it.
  DIR* stream();

 private:
  struct Closer {
    void operator()(DIR* stream) const { closedir(stream); }
  };

  int _number;           // of the descriptor, whoever owns it: dirfd(3) is no plain function on macOS
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

/// The name of an entry of a folder, and the type bits of its mode where the folder tells them, else 0.
struct NamedEntry {
  std::string name;
  mode_t type;
};

/// Visits the entries of an open folder, "." and ".." not, until \a visit answers false. \return false after an error.
bool visitEntries(ScopedFolder& folder, const std::function<bool(const char* name, mode_t type)>& visit);

/// All of them, or none after an error.
std::optional<std::vector<NamedEntry>> entriesIn(ScopedFolder& folder);

/// Opens an existing file or folder, closed on exec; never waits for the other end of a FIFO.
ScopedFd openExisting(int folder, const char* path, int flags);

/// Opens the regular file \a name of an open folder, without following a link. Anything else is not opened: opening
/// some devices does something. Of what somebody puts there between a look and the opening only a descriptor is had,
/// without waiting.
///
/// \return none when no regular file is there, or it cannot be opened; see isUnderThisNameOnly for what was opened.
ScopedFd openRegular(int folder, const char* name, int flags);

/// Looks at an open file by the name that it was opened by. \return whether that is its only one: then it lies here and
/// nowhere else. Its number of names does not tell: another one may have been removed since it was opened.
bool isUnderThisNameOnly(const ScopedFd& file, int folder, const char* name, struct stat& status);

/// Everything from the descriptor's position to its end, or none after an error or past \a limit bytes.
/// \a expected is about how many they are, if that is known: it spares growing in steps, and binds nothing.
OptionalString readToEnd(int descriptor, size_t limit, size_t expected = 0);

/// Writes all of \a bytes; what cannot be written is an error and no signal. \return false, with errno set, then.
bool writeAll(int descriptor, std::string_view bytes);

/// The system's text for an error number, independent of other threads.
std::string errorText(int errorNumber);

/// A name that nobody can foresee, for a temporary file in a shared folder.
std::string randomName(const char* prefix);

/// Whether a name from a folder's listing is "." or "..".
inline bool isDotName(const char* name) { return std::string_view(name) == "." || std::string_view(name) == ".."; }

}  // namespace hotfix::platform

#endif
