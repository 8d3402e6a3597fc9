#ifndef SUPPORT_PROGRESS_H_
#define SUPPORT_PROGRESS_H_

#include <string>

#include "Support/StepResult.h"

/// Reports the steps of a run, while they happen, to a listener. There is no listener unless the program has set one,
/// as the command does. The outcome of an operation is not reported here; it is the return value.
namespace hotfix::progress {

/// The outcome of a check that an operation makes before it continues.
enum class CheckOutcome { Passed, Failed, Skipped };

/// Does nothing itself.
class Listener {
 public:
  virtual ~Listener() = default;

  /// A check was made. \a check is a literal.
  virtual void checked(const char* /*check*/, CheckOutcome /*outcome*/) {}

  /// A step begins. It ends before the next one begins. \a step is a literal.
  virtual void begin(const char* /*step*/) {}
  virtual void end(const StepResult& /*result*/) {}

  /// A child has started. If this process ends before childEnded, the child continues.
  virtual void childStarted(const std::string& /*program*/, long /*process*/) {}
  virtual void childEnded() {}

  /// The uninstall has succeeded; the following steps do not change that.
  virtual void hotfixRemoved() {}

  /// A sentence that the user must know but that is not a failure.
  virtual void warn(const std::string& /*sentence*/) {}

  /// Whether to call tick. Called when the wait for a child begins.
  virtual bool wantsTicks() const { return false; }

  /// The step still waits for a child. Called many times a second.
  virtual void tick() {}
};

/// Sets the listener of the whole process; null is none. The caller keeps its ownership.
void setListener(Listener* listener);

void childStarted(const std::string& program, long process);
void childEnded();
void hotfixRemoved();
void warn(const std::string& sentence);
bool wantsTicks();
void tick();

/// Reports the outcome of a check. \return whether the operation may continue.
bool checked(const char* check, CheckOutcome outcome);
inline bool checked(const char* check, bool isPassed) {
  return checked(check, isPassed ? CheckOutcome::Passed : CheckOutcome::Failed);
}

/// A step. It lasts until it gets its result, or until the destruction of the object. Nothing may be printed during a
/// step.
class Step {
 public:
  explicit Step(const char* step);
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;

  /// Reports a step without a result as failed: an exception has ended it.
  ~Step();

  void end(const StepResult& result = {});

 private:
  bool _hasEnded = false;
};

/// Does \a work as a step with the result that it returns.
template <typename Work>
void run(const char* step, Work work) {
  Step running(step);
  running.end(work());
}

}  // namespace hotfix::progress

#endif
