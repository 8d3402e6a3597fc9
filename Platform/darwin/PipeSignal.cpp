#include "Platform/posix/PipeSignal.h"

#include <fcntl.h>

namespace platform {

// macOS sends SIGPIPE to the process, where any thread may get it, and not to the writing thread. What can be had
// instead is a descriptor that makes none.
void withoutPipeSignal(int descriptor, const std::function<void()>& write) {
  const int before = fcntl(descriptor, F_GETNOSIGPIPE);
  (void)fcntl(descriptor, F_SETNOSIGPIPE, 1);
  write();
  if (before == 0) (void)fcntl(descriptor, F_SETNOSIGPIPE, 0);
}

}  // namespace platform
