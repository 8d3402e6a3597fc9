#include "Platform/posix/TemporaryFile.h"

#include <fcntl.h>

#include <cerrno>

namespace hotfix::platform {

namespace {

// A random name is taken only if somebody tries to guess it.
constexpr int kNameAttempts = 8;

}  // namespace

ScopedFd createTemporary(int folder, mode_t mode, std::string& name) {
  ScopedFd file;
  for (int attempt = 0; !file && attempt < kNameAttempts && (attempt == 0 || errno == EEXIST); ++attempt) {
    if (name.empty() || attempt > 0) name = randomName(".tmp.");
    file = ScopedFd(retried(
        [&] { return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); }));
  }
  return file;
}

}  // namespace hotfix::platform
