#ifndef SUPPORT_PROGRESS_H_
#define SUPPORT_PROGRESS_H_

#include <string>

/// What an operation is at, and why it failed, for a person who watches it. The operations tell it here; nobody hears
/// it unless the program has set a listener, which of ours only the command does, and only at a terminal.
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

  /// A step begins; it ends before the next one does.
  virtual void begin(const char* step) = 0;
  virtual void end() = 0;

  /// The step still lasts: told many times a second while it waits for a child.
  virtual void goOn() = 0;

  /// Something went wrong, said so that it can follow "because": no capital letter, no full stop.
  virtual void fail(const std::string& reason) = 0;
};

/// Sets who is told from now on; null is nobody. Stays the caller's, and belongs to the whole process.
void setListener(Listener* listener);

/// Whether anybody is told: for what is looked up only to be told.
bool isHeard();

/// Tells why something failed. Of several reasons for one failure the first counts.
void fail(const std::string& reason);

/// Tells how a check ended. \return whether the operation may go on.
bool checked(const char* check, CheckOutcome outcome);
inline bool checked(const char* check, bool isPassed) {
  return checked(check, isPassed ? CheckOutcome::Passed : CheckOutcome::Failed);
}

/// Tells that the step still lasts.
void goOn();

/// A step that lasts as long as the object. Nothing may be printed meanwhile.
class Step {
 public:
  explicit Step(const char* step);
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;
  ~Step();
};

}  // namespace hotfix::progress

#endif
