#ifndef PLATFORM_POSIX_PIPE_SIGNAL_H_
#define PLATFORM_POSIX_PIPE_SIGNAL_H_

#include <functional>

namespace hotfix::platform {

/// Calls \a write, which writes to \a descriptor. If that is a pipe that nobody reads, this is an error for \a write
/// and no signal for the process.
void withoutPipeSignal(int descriptor, const std::function<void()>& write);

}  // namespace hotfix::platform

#endif
