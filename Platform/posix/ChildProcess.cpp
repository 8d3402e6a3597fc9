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

/// Holds off all signals in this thread. A child begins without any.
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

/// What a child's standard output and error are.
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

/// Whose process group a child belongs to.
enum class Group { Own, Callers };

/// Starts a program. \return its process id, or -1 after a line in the log.
/// \param[out] failure when given, set to the reason then.
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

  // The caller's blocked and ignored signals are its own affair: a child that waits for children of its own would not
  // get far with SIGCHLD ignored. But a child with a process group of its own is in the background of the terminal,
  // where reading stops it, and so does changing the settings: we would wait for it without end. With these signals
  // blocked (or ignored, see ignoreTerminalStops) the reading fails instead, by POSIX with EIO, and the rest is done.
  // In a session of its own (setsid) a child could still read the terminal that is its standard input, and would wait
  // for the person there. Ignored signals would go further, but posix_spawn(3) cannot set them, and to ignore them here
  // for a moment would be seen by the caller's other threads.
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

/// Any failure means that the child has ended: where SIGCHLD is ignored, or somebody else has reaped it.
void waitFor(pid_t pid) {
  if (pid <= 0) return;
  // There is no event that could wake us for a tick: the signals are the caller's.
  constexpr int kLongestNap = 20;
  for (int nap = 1; progress::wantsTicks(); nap = std::min(2 * nap, kLongestNap)) {
    if (retried([pid] { return waitpid(pid, nullptr, WNOHANG); }) != 0) return;
    (void)poll(nullptr, 0, nap);
    progress::tick();
  }
  (void)retried([pid] { return waitpid(pid, nullptr, 0); });
}

/// A pipe whose ends are closed on exec. \return false when none can be had.
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
  // Until the listener knows of the child: it could not be named by whoever handles the signal.
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
  writeEnd = ScopedFd();  // the child's alone now, so that its end is seen

  std::string line(limit, '\0');
  size_t length = 0;
  while (length < limit) {
    const ssize_t count = retried([&] { return read(readEnd.get(), &line[length], limit - length); });
    if (count <= 0) break;
    const size_t before = length;
    length += static_cast<size_t>(count);
    if (line.find('\n', before) < length) break;
  }
  readEnd = ScopedFd();  // a child with more to say is told that nobody listens
  waitFor(pid);
  if (length == 0) return std::nullopt;
  line.resize(length);
  line.resize(std::min({length, line.find('\n'), line.find('\0')}));
  return line;
}

}  // namespace hotfix::platform
