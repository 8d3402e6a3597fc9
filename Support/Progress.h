#ifndef SUPPORT_PROGRESS_H_
#define SUPPORT_PROGRESS_H_

#include <string>

#include "Support/StepResult.h"

/// The steps of a run while they last, for whoever watches it. The operations report here; nobody listens unless the
/// program has set a listener, as the command does. What came of an operation is its return value instead.
namespace hotfix::progress {

/// How a check ended that an operation makes before it goes on.
enum class CheckOutcome { Passed, Failed, Skipped };

class Listener {
 public:
  virtual ~Listener() = default;

  /// A check was made. \a check is a literal.
  virtual void checked(const char* check, CheckOutcome outcome) {
    (void)check;
    (void)outcome;
  }

  /// A step begins. It ends before the next one begins. \a step is a literal.
  virtual void begin(const char* step) = 0;
  virtual void end(const StepResult& result) = 0;

  /// A child runs that goes on if this process ends, until childEnded.
  virtual void childStarted(const std::string& program, long process) = 0;
  virtual void childEnded() = 0;

  /// The uninstall has succeeded; what follows does not change that.
  virtual void hotfixRemoved() = 0;

  /// Something to know that is no failure: a sentence.
  virtual void warn(const std::string& sentence) = 0;

  /// Whether tick is to be called; asked when the wait for a child begins.
  virtual bool wantsTicks() const = 0;

  /// The step still lasts: called many times a second while it waits for a child.
  virtual void tick() = 0;
};

/// Sets the listener; null is none. It stays the caller's, and belongs to the whole process.
void setListener(Listener* listener);

void childStarted(const std::string& program, long process);
void childEnded();
void hotfixRemoved();
void warn(const std::string& sentence);
bool wantsTicks();
void tick();

/// Tells how a check ended. \return whether the operation may go on.
bool checked(const char* check, CheckOutcome outcome);
inline bool checked(const char* check, bool isPassed) {
  return checked(check, isPassed ? CheckOutcome::Passed : CheckOutcome::Failed);
}

/// A step that lasts as long as the object, or until it is given its result. Nothing may be printed meanwhile.
class Step {
 public:
  explicit Step(const char* step);
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;

  /// A step without a result has failed: an exception ended it.
  ~Step();

  void end(const StepResult& result = {});

 private:
  bool _hasEnded = false;
};

}  // namespace hotfix::progress

#endif
