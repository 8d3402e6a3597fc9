#ifndef SUPPORT_STEP_RESULT_H_
#define SUPPORT_STEP_RESULT_H_

#include <string>

namespace hotfix {

/// How a step of a run ended, for a person: what the step's own answer does not tell.
struct StepResult {
  enum class Kind { Done, NothingToDo, Incomplete, Skipped, Refused, Failed };

  Kind kind = Kind::Done;
  std::string detail;  ///< what follows the kind: the reason, or what was reached; may be empty
};

}  // namespace hotfix

#endif
