#include "Platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/SystemLog.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/SpawnDescriptors.h"
#include "Support/Progress.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): no header of macOS declares it

namespace hotfix::platform {

namespace {

constexpr char kNullDevice[] = "/dev/null";
constexpr char kShell[] = "/bin/sh";

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

/// The standard output and error of a child.
class SpawnOutputs {
 public:
  SpawnOutputs() { posix_spawn_file_actions_init(&_actions); }
  SpawnOutputs(const SpawnOutputs&) = delete;
  SpawnOutputs& operator=(const SpawnOutputs&) = delete;
  ~SpawnOutputs() { posix_spawn_file_actions_destroy(&_actions); }

  void discard(int descriptor) { posix_spawn_file_actions_addopen(&_actions, descriptor, kNullDevice, O_WRONLY, 0); }
  void connect(int descriptor, int to) { posix_spawn_file_actions_adddup2(&_actions, to, descriptor); }
  posix_spawn_file_actions_t* actions() { return &_actions; }

 private:
  posix_spawn_file_actions_t _actions = {};
};

/// The process group of a child.
enum class Group { Own, Callers };

/// Starts a program. \return its process id, or -1 after a failure, which is logged.
/// \param[out] failure when given, set to the reason of a failure.
pid_t spawn(const OptionalString& executable, const std::vector<std::string>& arguments, SpawnOutputs& outputs,
            Group group, OptionalString* failure = nullptr) {
  if (!executable) {
    log(LogLevel::Error, "Failed to launch (null): no path given.");
    if (failure != nullptr) *failure = "no path given";
    return -1;
  }
  std::vector<char*> argv{const_cast<char*>(executable->c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  // A child inherits no blocked signals from the caller, and gets the default actions of SIGCHLD and SIGPIPE: with
  // SIGCHLD ignored, it could not wait for its own children. But a child with its own process group is in the
  // background of the terminal. There, reading the terminal or changing its settings stops the child, and the wait for
  // it would be endless. With SIGTTIN and SIGTTOU blocked (or ignored, see ignoreTerminalStops), reading fails with EIO
  // by POSIX, and changes are made. In its own session (setsid), a child could still read the terminal that is its
  // standard input, and would wait for the user. Ignored signals would be more effective, but posix_spawn(3) cannot set
  // them, and ignoring them here for a moment would affect the caller's other threads.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  const bool isOwnGroup = group == Group::Own;
  auto flags =
      static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | (isOwnGroup ? POSIX_SPAWN_SETPGROUP : 0));
  if (isOwnGroup) posix_spawnattr_setpgroup(&attributes, 0);
  sigset_t signals;
  sigemptyset(&signals);
  if (isOwnGroup) {
    sigaddset(&signals, SIGTTIN);
    sigaddset(&signals, SIGTTOU);
  }
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  inheritStandardDescriptorsOnly(outputs.actions(), &flags);
  posix_spawnattr_setflags(&attributes, flags);

  pid_t pid = -1;
  const int error = posix_spawn(&pid, executable->c_str(), outputs.actions(), &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error == 0) return pid;
  log(LogLevel::Error, "Failed to launch %s: %s.", executable->c_str(), errorText(error).c_str());
  if (failure != nullptr) *failure = errorText(error);
  return -1;
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

/// Makes a pipe with both ends closed on exec. \return false on failure.
bool makePipe(ScopedFd& readEnd, ScopedFd& writeEnd) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  readEnd = ScopedFd(ends[0]);
  writeEnd = ScopedFd(ends[1]);
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  return true;
}

}  // namespace

ChildProcess::ChildProcess(const OptionalString& executable, const std::vector<std::string>& arguments) {
  SpawnOutputs outputs;
  outputs.discard(STDOUT_FILENO);
  outputs.discard(STDERR_FILENO);
  // Until the listener knows the child; before that, a signal handler could not name it.
  const ScopedBlockedSignals signals;
  _pid = spawn(executable, arguments, outputs, Group::Own, &_error);
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

OptionalString runAndWait(const OptionalString& executable, const std::vector<std::string>& arguments) {
  ChildProcess child(executable, arguments);
  child.waitUntilExit();
  return child.error();
}

void runShellCommand(const std::string& commandLine) {
  SpawnOutputs outputs;
  waitFor(spawn(kShell, {"-c", commandLine}, outputs, Group::Callers));
}

OptionalString firstLineOfShellCommand(const std::string& commandLine, size_t limit) {
  ScopedFd readEnd;
  ScopedFd writeEnd;
  if (!makePipe(readEnd, writeEnd)) return std::nullopt;
  SpawnOutputs outputs;
  outputs.connect(STDOUT_FILENO, writeEnd.get());
  outputs.discard(STDERR_FILENO);
  const pid_t pid = spawn(kShell, {"-c", commandLine}, outputs, Group::Callers);
  writeEnd = ScopedFd();  // now only the child has it, so that its end is detected

  std::string line(limit, '\0');
  size_t length = 0;
  while (length < limit) {
    const ssize_t count = retried([&] { return read(readEnd.get(), &line[length], limit - length); });
    if (count <= 0) break;
    const size_t before = length;
    length += static_cast<size_t>(count);
    if (line.find('\n', before) < length) break;
  }
  readEnd = ScopedFd();  // a child that writes more gets an error
  waitFor(pid);
  if (length == 0) return std::nullopt;
  line.resize(length);
  line.resize(std::min({length, line.find('\n'), line.find('\0')}));
  return line;
}

}  // namespace hotfix::platform
