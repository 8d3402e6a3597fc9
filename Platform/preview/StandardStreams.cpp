#include "Platform/StandardStreams.h"

#include <unistd.h>

#include "Platform/posix/Descriptors.h"
#include "Platform/preview/Preview.h"

namespace hotfix::platform {

void printLine(const std::string& line) { preview::recording().standardOutput += line + "\n"; }

void writeToStandardError(const std::string& text) { preview::recording().standardError += text; }

bool preview::writeOutput(const std::string& text) { return writeAll(STDOUT_FILENO, text); }

// No descriptor that a preview opens can become standard input or output of a child: the questions have pipes of their
// own.
ScopedStandardDescriptors::ScopedStandardDescriptors() = default;

ScopedStandardDescriptors::~ScopedStandardDescriptors() { _opened[0] = false; }

}  // namespace hotfix::platform
