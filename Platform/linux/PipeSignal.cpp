#include "Platform/posix/PipeSignal.h"

#include <pthread.h>
#include <signal.h>

namespace hotfix::platform {

namespace {

/// Keeps SIGPIPE, which Linux sends to the writing thread, from having an effect.
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

void withoutPipeSignal(int, const std::function<void()>& write) {
  const ScopedPipeSignal pipeSignal;
  write();
}

}  // namespace hotfix::platform
