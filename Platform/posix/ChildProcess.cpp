#include "Platform/ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/Spawn.h"
#include "Support/Progress.h"

namespace hotfix::platform {

namespace {

/// Blocks all signals in this thread. A child begins without blocked signals.
class ScopedBlockedSignals {
 public:
  ScopedBlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &_before);
  }
  ScopedBlockedSignals(const ScopedBlockedSignals&) = delete;
  ScopedBlockedSignals& operator=(const ScopedBlockedSignals&) = delete;
  ~ScopedBlockedSignals() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

 private:
  sigset_t _before = {};
};

/// Starts the system shell. \return its process id, or -1 after a failure, which is logged.
pid_t spawnShell(const std::string& commandLine, int output) {
  const std::vector<std::string> command = shellCommand(commandLine);
  int error = 0;
  const pid_t pid = spawn(command, ProcessGroup::Callers, output, &error);
  if (error != 0) (void)logFailedLaunch(command.front(), error);
  return pid;
}

/// Any failure means that the child has ended: SIGCHLD is ignored, or other code has reaped the child.
void waitFor(pid_t pid) {
  if (pid <= 0) return;
  // No event can interrupt the wait for a tick, because the signals belong to the caller.
  constexpr int kLongestNap = 20;
  for (int nap = 1; progress::wantsTicks(); nap = std::min(2 * nap, kLongestNap)) {
    if (retried([pid] { return waitpid(pid, nullptr, WNOHANG); }) != 0) return;
    (void)poll(nullptr, 0, nap);
    progress::tick();
  }
  (void)retried([pid] { return waitpid(pid, nullptr, 0); });
}

}  // namespace

ChildProcess::ChildProcess(const OptionalString& executable, const std::vector<std::string>& arguments) {
  std::vector<std::string> commandLine{executable.value_or("")};
  commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
  // Until the listener knows the child; before that, a signal handler could not name it.
  const ScopedBlockedSignals signals;
  int error = 0;
  if (executable) _pid = spawn(commandLine, ProcessGroup::Own, kDiscarded, &error);
  if (_pid <= 0) _error = logFailedLaunch(executable, error);
  if (_pid > 0) progress::childStarted(*executable, _pid);
}

ChildProcess::~ChildProcess() { waitUntilExit(); }

void ChildProcess::waitUntilExit() {
  if (_pid <= 0) return;
  waitFor(_pid);
  _pid = -1;
  progress::childEnded();
}

void ignoreTerminalStops() {
  for (const int signal : {SIGTTIN, SIGTTOU}) (void)::signal(signal, SIG_IGN);
}

void runShellCommand(const std::string& commandLine) { waitFor(spawnShell(commandLine, kInherited)); }

OptionalString firstLineOfShellCommand(const std::string& commandLine, size_t limit) {
  ScopedFd readEnd;
  ScopedFd writeEnd;
  if (!makePipe(readEnd, writeEnd)) return std::nullopt;
  const pid_t pid = spawnShell(commandLine, writeEnd.get());
  writeEnd = ScopedFd();  // now only the child has it, so that its end is detected

  std::string line(limit, '\0');
  size_t length = 0;
  while (length < limit && line.find('\n') == std::string::npos) {
    const ssize_t count = retried([&] { return read(readEnd.get(), &line[length], limit - length); });
    if (count <= 0) break;
    length += static_cast<size_t>(count);
  }
  readEnd = ScopedFd();  // a child that writes more gets an error
  waitFor(pid);
  if (length == 0) return std::nullopt;
  line.resize(length);
  return firstLineOf(line);
}

}  // namespace hotfix::platform
