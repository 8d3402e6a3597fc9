#include "Platform/StandardStreams.h"

#include <unistd.h>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/PipeSignal.h"
#include "Platform/preview/Preview.h"

namespace hotfix::platform {

void printLine(const std::string& line) { preview::recording().standardOutput += line + "\n"; }

bool preview::writeOutput(const std::string& text) {
  bool isWritten = false;
  withoutPipeSignal(STDOUT_FILENO, [&] { isWritten = writeAll(STDOUT_FILENO, text); });
  return isWritten;
}

// Nothing is opened that could become standard input or output of a child: the questions have pipes of their own.
ScopedStandardDescriptors::ScopedStandardDescriptors() = default;

ScopedStandardDescriptors::~ScopedStandardDescriptors() { _opened[0] = false; }

}  // namespace hotfix::platform
