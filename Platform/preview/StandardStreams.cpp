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

ScopedStandardDescriptors::ScopedStandardDescriptors() = default;

ScopedStandardDescriptors::~ScopedStandardDescriptors() = default;

}  // namespace hotfix::platform
