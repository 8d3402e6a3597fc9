#include "Platform/StandardStreams.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "Platform/posix/Descriptors.h"

namespace platform {

namespace {

/// While it lives, a write to a pipe that nobody reads is an error for this thread and no signal for the process.
class ScopedPipeSignal {
 public:
  ScopedPipeSignal() {
    sigemptyset(&_pipeSignal);
    sigaddset(&_pipeSignal, SIGPIPE);
    _wasPending = isPending();
    pthread_sigmask(SIG_BLOCK, &_pipeSignal, &_maskBefore);
  }
  ScopedPipeSignal(const ScopedPipeSignal&) = delete;
  ScopedPipeSignal& operator=(const ScopedPipeSignal&) = delete;
  ~ScopedPipeSignal() {
    int received = 0;
    if (!_wasPending && isPending()) sigwait(&_pipeSignal, &received);  // ours: taken away
    pthread_sigmask(SIG_SETMASK, &_maskBefore, nullptr);
  }

 private:
  static bool isPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t _pipeSignal = {};
  sigset_t _maskBefore = {};
  bool _wasPending = false;
};

}  // namespace

void printLine(const std::string& line) {
  const ScopedPipeSignal pipeSignal;
  // Past the buffer of stdio, which would try again at exit what cannot be written now; but after what it holds.
  (void)std::fflush(stdout);
  (void)writeAll(STDOUT_FILENO, line + "\n");
}

ScopedStandardDescriptors::ScopedStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    // The lowest free number is this one, unless another thread was quicker.
    const int opened = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (opened == descriptor) {
      _opened[descriptor] = true;
    } else if (opened >= 0) {
      close(opened);
    }
  }
}

ScopedStandardDescriptors::~ScopedStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (_opened[descriptor]) close(descriptor);
  }
}

}  // namespace platform
