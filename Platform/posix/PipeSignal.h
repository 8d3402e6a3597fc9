#ifndef PLATFORM_POSIX_PIPE_SIGNAL_H_
#define PLATFORM_POSIX_PIPE_SIGNAL_H_

#include <pthread.h>
#include <signal.h>

namespace platform {

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

}  // namespace platform

#endif
