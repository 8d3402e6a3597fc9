#ifndef PLATFORM_PREVIEW_QUESTION_H_
#define PLATFORM_PREVIEW_QUESTION_H_

#include <cstddef>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix::platform::preview {

/// The answer of a program.
struct Answer {
  OptionalString error;  ///< why it could not be started
  std::string output;    ///< the beginning of its standard output
  int exitStatus = -1;   ///< -1 when it did not exit, or was not started
};

/// Starts a program that only answers a question, waits until it exits and reads at most \a limit bytes of its answer.
/// Its standard error goes to the null device. These are the only children that a preview has.
Answer ask(const std::vector<std::string>& commandLine, size_t limit);

}  // namespace hotfix::platform::preview

#endif
