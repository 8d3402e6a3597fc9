#ifndef MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_
#define MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_

#include <chrono>
#include <string>

#include "MacInstaller/tool/runTool.h"

namespace hotfix {

/// Shows each step, its seconds and its outcome on standard error if that is a terminal, and always shows the reason of
/// a failure. Updates Interruption.
///
/// A step has one line, which shows the seconds while the step waits for a child. If TERM is unset, empty or "dumb",
/// nothing is overwritten or coloured. If NO_COLOR is set and not empty (no-color.org), nothing is coloured.
class TerminalProgress : public ToolListener {
 public:
  /// Is the listener of progress until its destruction.
  TerminalProgress();
  ~TerminalProgress() override;

  void runBegins(const OptionalString& home) override;
  void begin(const char* step) override;
  void end(const StepResult& result) override;
  void childStarted(const std::string& program, long process) override;
  void childEnded() override;
  void hotfixRemoved() override;
  /// Shows the sentence in a separate line, after that of the step, only at a terminal.
  void warn(const std::string& sentence) override;
  bool wantsTicks() const override { return _isCounted; }
  void tick() override;

  /// Shows a line between steps, only at a terminal.
  void showNote(const std::string& note) override;

  void showFailure(const std::string& sentence, const std::string& whereToReadOn) override;

 private:
  using Clock = std::chrono::steady_clock;

  long long seconds() const;

  bool _isTerminal;
  bool _mayRewrite = false;
  bool _hasColours = false;
  std::string _warnings;  // lines that wait for the end of the step

  std::string _step;  // its line, without the outcome
  Clock::time_point _begin;
  long long _shown = 0;     // seconds
  bool _isCounted = false;  // whether there is a current step with a line that can be overwritten
};

}  // namespace hotfix

#endif
