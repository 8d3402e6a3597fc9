#include <pthread.h>

#include "Platform/posix/WriteSignals.h"

namespace hotfix::platform {

ScopedHeldSignals::ScopedHeldSignals(std::initializer_list<int> signals) : _signals(signals) {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : _signals) sigaddset(&held, signal);
  sigemptyset(&_pendingBefore);
  (void)sigpending(&_pendingBefore);
  pthread_sigmask(SIG_BLOCK, &held, &_maskBefore);
}

ScopedHeldSignals::~ScopedHeldSignals() {
  sigset_t pending;
  if (sigpending(&pending) == 0) {
    for (const int signal : _signals) {
      if (sigismember(&pending, signal) != 1 || sigismember(&_pendingBefore, signal) == 1) continue;
      sigset_t ours;
      int received = 0;
      sigemptyset(&ours);
      sigaddset(&ours, signal);
      sigwait(&ours, &received);
    }
  }
  pthread_sigmask(SIG_SETMASK, &_maskBefore, nullptr);
}

}  // namespace hotfix::platform
