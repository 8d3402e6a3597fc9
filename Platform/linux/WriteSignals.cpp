#include "Platform/posix/WriteSignals.h"

namespace hotfix::platform {

// Linux sends both signals to the writing thread.
void withoutWriteSignals(int, const std::function<void()>& write) {
  const ScopedHeldSignals held({SIGPIPE, SIGXFSZ});
  write();
}

}  // namespace hotfix::platform
