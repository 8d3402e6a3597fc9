#ifndef PLATFORM_POSIX_WRITE_SIGNALS_H_
#define PLATFORM_POSIX_WRITE_SIGNALS_H_

#include <signal.h>

#include <functional>
#include <initializer_list>
#include <vector>

namespace hotfix::platform {

/// Calls \a write, which writes to \a descriptor. A pipe that nobody reads, and a file that would grow past the limit
/// of the process (RLIMIT_FSIZE), are an error for \a write and no signal for the process.
void withoutWriteSignals(int descriptor, const std::function<void()>& write);

/// While it lives, some signals have no effect on this thread: one that comes is taken away, unless the thread had it
/// blocked and waiting before.
class ScopedHeldSignals {
 public:
  ScopedHeldSignals(std::initializer_list<int> signals);
  ScopedHeldSignals(const ScopedHeldSignals&) = delete;
  ScopedHeldSignals& operator=(const ScopedHeldSignals&) = delete;
  ~ScopedHeldSignals();

 private:
  std::vector<int> _signals;
  sigset_t _maskBefore = {};
  sigset_t _pendingBefore = {};
};

}  // namespace hotfix::platform

#endif
