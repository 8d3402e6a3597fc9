#include "MacInstaller/tool/TerminalProgress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "MacInstaller/tool/Interruption.h"
#include "Platform/StandardStreams.h"
#include "Support/TextEncoding.h"

namespace hotfix {

namespace {

constexpr char kBoldRed[] = "\x1B[1;31m";
constexpr char kPlain[] = "\x1B[0m";
constexpr size_t kLongestCount = 12;  // " ... 123456 s", less one

bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

/// Columns of the terminal; 80 if they are unknown.
size_t columns() {
  struct winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

TerminalProgress::TerminalProgress() : _isTerminal(isatty(STDERR_FILENO) == 1) {
  const char* kind = std::getenv("TERM");
  _mayRewrite = _isTerminal && !isEmpty(kind) && std::strcmp(kind, "dumb") != 0;
  _hasColours = _mayRewrite && isEmpty(std::getenv("NO_COLOR"));
  progress::setListener(this);
}

TerminalProgress::~TerminalProgress() { progress::setListener(nullptr); }

void TerminalProgress::runBegins(const OptionalString& home) { interruption::begin(home); }

void TerminalProgress::begin(const char* step) {
  interruption::setStep(step);
  if (!_isTerminal) return;
  _step = std::string(step) + " ...";
  _begin = Clock::now();
  _shown = 0;
  // A line that extends past the right edge cannot be overwritten.
  _isCounted = _mayRewrite && _step.size() + kLongestCount <= columns();
  platform::writeToStandardError(_step);
}

void TerminalProgress::tick() {
  if (!_isCounted || seconds() == _shown) return;
  _shown = seconds();
  platform::writeToStandardError("\r" + _step + " " + std::to_string(_shown) + " s");
}

void TerminalProgress::end(const StepResult& result) {
  interruption::setStep(nullptr);
  if (!_isTerminal) return;
  const long long lasted = seconds();
  std::string ending = std::string(" ") + wordFor(result.kind);
  if (lasted > 0) ending += ", " + std::to_string(lasted) + " s";
  if (!result.detail.empty()) ending += ": " + text::sanitized(result.detail);
  // It is longer than the line that it overwrites.
  platform::writeToStandardError((_isCounted ? "\r" + _step : "") + ending + "\n" + std::exchange(_warnings, ""));
  _isCounted = false;
}

void TerminalProgress::childStarted(const std::string& program, long process) {
  interruption::setChild(program, process);
}

void TerminalProgress::childEnded() { interruption::clearChild(); }

void TerminalProgress::hotfixRemoved() { interruption::setRemoved(); }

long long TerminalProgress::seconds() const {
  return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - _begin).count();
}

void TerminalProgress::warn(const std::string& sentence) { _warnings += text::sanitized(sentence) + "\n"; }

void TerminalProgress::showNote(const std::string& note) {
  if (_isTerminal) platform::writeToStandardError(text::sanitized(note) + "\n");
}

void TerminalProgress::showFailure(const std::string& sentence, const std::string& whereToReadOn) {
  platform::writeToStandardError((_hasColours ? kBoldRed + sentence + kPlain : sentence) + "\n" + whereToReadOn + "\n");
}

}  // namespace hotfix
