#ifndef SUPPORT_STEP_RESULT_H_
#define SUPPORT_STEP_RESULT_H_

#include <string>

namespace hotfix {

/// The outcome of a step of a run for the user, in addition to the return value of the step.
struct StepResult {
  enum class Kind { Done, NothingToDo, Incomplete, Skipped, Refused, Failed };

  Kind kind = Kind::Done;
  std::string detail;  ///< the text after the kind: the reason, or the result; may be empty
};

}  // namespace hotfix

#endif
