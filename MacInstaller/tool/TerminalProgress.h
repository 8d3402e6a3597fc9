#ifndef MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_
#define MACINSTALLER_TOOL_TERMINAL_PROGRESS_H_

#include <chrono>
#include <string>

#include "MacInstaller/tool/runTool.h"

namespace hotfix {

/// Shows on standard error what the tool is doing, for how long and how it ended, when that is a terminal, and why it
/// failed, always. Keeps Interruption up to date.
///
/// A step has one line, whose seconds are counted up while it waits for a child. With TERM unset, empty or "dumb"
/// nothing is written over and nothing has a colour; with NO_COLOR set, and not empty (no-color.org), nothing has a
/// colour.
class TerminalProgress : public ToolListener {
 public:
  /// Listens as long as it lives.
  TerminalProgress();
  ~TerminalProgress() override;

  void runBegins(const OptionalString& home) override;
  void begin(const char* step) override;
  void end(const StepResult& result) override;
  void childStarted(const std::string& program, long process) override;
  void childEnded() override;
  void hotfixRemoved() override;
  /// Shown in a line of its own, after that of the step, at a terminal only.
  void warn(const std::string& sentence) override;
  bool wantsTicks() const override { return _isCounted; }
  void tick() override;

  /// A line between steps, at a terminal only.
  void showNote(const std::string& note) override;

  void showFailure(const std::string& sentence, const std::string& whereToReadOn) override;

 private:
  using Clock = std::chrono::steady_clock;

  long long seconds() const;

  bool _isTerminal;
  bool _mayRewrite = false;
  bool _hasColours = false;
  std::string _warnings;  // lines that wait for the end of the step

  std::string _step;  // its line, without an ending
  Clock::time_point _begin;
  long long _shown = 0;     // seconds
  bool _isCounted = false;  // whether a step lasts whose line can be written over
};

}  // namespace hotfix

#endif
