#ifndef MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_
#define MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_

#include <chrono>
#include <string>

#include "Support/OptionalString.h"
#include "Support/Progress.h"

namespace hotfix {

/// Shows a person at a terminal, on standard error, what the tool is doing and for how long, and in the end why it
/// failed. Writes nothing where standard error is no terminal.
///
/// A step has one line, whose seconds are counted up while it waits for a child. With TERM unset, empty or "dumb"
/// nothing is written over and nothing has a colour; with NO_COLOR set, and not empty (no-color.org), nothing has a
/// colour.
class TerminalProgress : public progress::Listener {
 public:
  /// Listens as long as it lives.
  TerminalProgress();
  ~TerminalProgress() override;

  void begin(const char* step) override;
  void end() override;
  void goOn() override;
  /// Shown in a line of its own, after that of the step.
  void warn(const std::string& sentence) override;
  void fail(const std::string& reason) override;

  /// Says that the hotfix was not removed, why as far as that was told, and where the trace of the run is.
  void sayFailure(const OptionalString& trace) const;

 private:
  using Clock = std::chrono::steady_clock;

  long long seconds() const;
  std::string line() const;

  bool _isTerminal;
  bool _mayRewrite = false;
  bool _hasColours = false;
  std::string _reason;
  std::string _warnings;  // lines that wait for the end of the step

  std::string _step;
  Clock::time_point _begin;
  long long _shown = 0;     // seconds
  bool _isCounted = false;  // whether the line can be written over
  bool _isRunning = false;
  bool _isFailed = false;
};

}  // namespace hotfix

#endif
