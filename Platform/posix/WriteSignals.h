#ifndef PLATFORM_POSIX_WRITE_SIGNALS_H_
#define PLATFORM_POSIX_WRITE_SIGNALS_H_

#include <signal.h>

#include <functional>
#include <initializer_list>
#include <vector>

namespace hotfix::platform {

/// Calls \a write, which writes to \a descriptor. A pipe without a reader, and a file that would exceed the size limit
/// of the process (RLIMIT_FSIZE), cause an error in \a write and no signal for the process.
void withoutWriteSignals(int descriptor, const std::function<void()>& write);

/// During its lifetime, some signals have no effect on this thread: an arriving signal is removed, unless it was
/// already blocked and pending in the thread.
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
