#include "MacInstaller/tool/TerminalProgress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Support/TextEncoding.h"

namespace hotfix {

namespace {

constexpr char kFailed[] = "The hotfix was not removed";
constexpr char kBoldRed[] = "\x1B[1;31m";
constexpr char kPlain[] = "\x1B[0m";
constexpr size_t kLongestEnding = 24;  // " ... failed, 123456 s"

bool isEmpty(const char* text) { return text == nullptr || *text == '\0'; }

/// Columns of the terminal; 80 where it does not tell.
size_t columns() {
  struct winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void write(const std::string& text) {
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(STDERR_FILENO, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return;  // the terminal has gone; that is no reason to stop
    if (count > 0) written += static_cast<size_t>(count);
  }
}

}  // namespace

TerminalProgress::TerminalProgress() : _isTerminal(isatty(STDERR_FILENO) == 1) {
  if (!_isTerminal) return;
  const char* kind = std::getenv("TERM");
  _mayRewrite = !isEmpty(kind) && std::strcmp(kind, "dumb") != 0;
  _hasColours = _mayRewrite && isEmpty(std::getenv("NO_COLOR"));
  progress::setListener(this);
}

TerminalProgress::~TerminalProgress() {
  if (_isTerminal) progress::setListener(nullptr);
}

void TerminalProgress::begin(const char* step) {
  if (!_isTerminal) return;
  _step = step;
  _begin = Clock::now();
  _shown = 0;
  _isRunning = true;
  _isFailed = false;
  // A line that goes past the right edge cannot be written over.
  _isCounted = _mayRewrite && _step.size() + kLongestEnding <= columns();
  write(_step + " ...");
}

void TerminalProgress::goOn() {
  if (!_isRunning || !_isCounted || seconds() == _shown) return;
  _shown = seconds();
  write("\r" + line());
}

void TerminalProgress::end() {
  if (!_isTerminal) return;
  _isRunning = false;
  write(_isCounted ? "\r" + line() + "\n" : line().substr(_step.size() + 4) + "\n");
}

long long TerminalProgress::seconds() const {
  return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - _begin).count();
}

/// What the line of the step says now: it only gets longer, so that nothing of an older one stays.
std::string TerminalProgress::line() const {
  const long long lasted = seconds();
  std::string text = _step + " ...";
  if (!_isRunning) text += _isFailed ? " failed" : " done";
  if (lasted > 0) text += (_isRunning ? " " : ", ") + std::to_string(lasted) + " s";
  return text;
}

void TerminalProgress::fail(const std::string& reason) {
  if (_reason.empty()) _reason = reason;
  _isFailed = true;
}

void TerminalProgress::sayFailure(const OptionalString& trace) const {
  if (!_isTerminal) return;
  const std::string sentence = kFailed + (_reason.empty() ? std::string() : ": " + text::sanitized(_reason)) + ".";
  write((_hasColours ? kBoldRed + sentence + kPlain : sentence) + "\n");
  write("What was done is told in " + (trace ? text::sanitized(*trace) : std::string("the system log")) + ".\n");
}

}  // namespace hotfix
