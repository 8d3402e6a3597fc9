#include "Platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/WriteSignals.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

void printLine(const std::string& line) {
  // Bypasses the buffer of stdio, which would try to write failed text again at exit. Writes the buffer's content
  // first.
  withoutWriteSignals(STDOUT_FILENO, [] { (void)std::fflush(stdout); });
  (void)writeAll(STDOUT_FILENO, (isatty(STDOUT_FILENO) == 1 ? text::sanitized(line) : line) + "\n");
}

void writeToStandardError(const std::string& text) { (void)writeAll(STDERR_FILENO, text); }

ScopedStandardDescriptors::ScopedStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    // The lowest free number is this one, unless another thread was faster.
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

}  // namespace hotfix::platform
