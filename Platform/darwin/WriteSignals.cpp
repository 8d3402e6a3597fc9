#include "Platform/posix/WriteSignals.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <mutex>

namespace hotfix::platform {

namespace {

bool canRaisePipeSignal(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

}  // namespace

// macOS sends both signals to the process, not to the writing thread. Any thread that does not block them can get them.
void withoutWriteSignals(int descriptor, const std::function<void()>& write) {
  if (!canRaisePipeSignal(descriptor)) {
    // macOS offers nothing better for SIGXFSZ. It is correct in the command, which has one thread. An installer with
    // several threads and a limit must ignore the signal itself.
    const ScopedHeldSignals held({SIGXFSZ});
    return write();
  }
  // SIGPIPE can be turned off for an open file. Only one thread at a time does this, because two descriptors can refer
  // to the same open file.
  static auto* mutex = new std::mutex;  // never destroyed: threads may still be running at the exit of the process
  const std::lock_guard<std::mutex> lock(*mutex);
  const int before = fcntl(descriptor, F_GETNOSIGPIPE);
  (void)fcntl(descriptor, F_SETNOSIGPIPE, 1);
  write();
  if (before == 0) (void)fcntl(descriptor, F_SETNOSIGPIPE, 0);
}

}  // namespace hotfix::platform
