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

// macOS sends both signals to the process, where any thread that does not block them may get them, and not to the
// writing thread.
void withoutWriteSignals(int descriptor, const std::function<void()>& write) {
  if (!canRaisePipeSignal(descriptor)) {
    // There is nothing better for SIGXFSZ. It is right in the command, which has one thread; an installer that has
    // several and a limit must ignore the signal itself.
    const ScopedHeldSignals held({SIGXFSZ});
    return write();
  }
  // What can be had for SIGPIPE is an open file that makes none; one at a time, as two descriptors can be the same open
  // file.
  static auto* mutex = new std::mutex;  // outlives threads that are still running
  const std::lock_guard<std::mutex> lock(*mutex);
  const int before = fcntl(descriptor, F_GETNOSIGPIPE);
  (void)fcntl(descriptor, F_SETNOSIGPIPE, 1);
  write();
  if (before == 0) (void)fcntl(descriptor, F_SETNOSIGPIPE, 0);
}

}  // namespace hotfix::platform
