#include "Platform/posix/Spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/ChildProcess.h"
#include "Platform/SystemLog.h"
#include "Platform/posix/SystemHabits.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): no header of macOS declares it

namespace hotfix::platform {

pid_t spawn(const std::vector<std::string>& commandLine, ProcessGroup group, int output, int* error) {
  std::vector<char*> argv;
  for (const std::string& argument : commandLine) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const auto discard = [&actions](int descriptor) {
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
  };
  if (output == kDiscarded) discard(STDOUT_FILENO);
  if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (output != kInherited) discard(STDERR_FILENO);

  // A child inherits no blocked signals from the caller, and gets the default actions of SIGCHLD and SIGPIPE: with
  // SIGCHLD ignored, it could not wait for its own children. But a child with its own process group is in the
  // background of the terminal. There, reading the terminal or changing its settings stops the child, and the wait for
  // it would be endless. With SIGTTIN and SIGTTOU blocked (or ignored, see ignoreTerminalStops), reading fails with EIO
  // by POSIX, and changes are made. In its own session (setsid), a child could still read the terminal that is its
  // standard input, and would wait for the user. Ignored signals would be more effective, but posix_spawn(3) cannot set
  // them, and ignoring them here for a moment would affect the caller's other threads.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  auto flags = static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t blocked;
  sigemptyset(&blocked);
  if (group == ProcessGroup::Own) {
    flags = static_cast<short>(flags | POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    for (const int signal : {SIGTTIN, SIGTTOU}) sigaddset(&blocked, signal);
  }
  posix_spawnattr_setsigmask(&attributes, &blocked);
  sigset_t withDefaultAction;
  sigemptyset(&withDefaultAction);
  for (const int signal : {SIGCHLD, SIGPIPE}) sigaddset(&withDefaultAction, signal);
  posix_spawnattr_setsigdefault(&attributes, &withDefaultAction);
  inheritStandardDescriptorsOnly(&actions, &flags);
  posix_spawnattr_setflags(&attributes, flags);

  pid_t pid = -1;
  *error = posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return *error == 0 ? pid : -1;
}

bool makePipe(ScopedFd& readEnd, ScopedFd& writeEnd) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  readEnd = ScopedFd(ends[0]);
  writeEnd = ScopedFd(ends[1]);
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  return true;
}

std::string firstLineOf(const std::string& output) {
  return output.substr(0, std::min(output.find('\n'), output.find('\0')));
}

std::string logFailedLaunch(const OptionalString& executable, int error) {
  if (!executable) {
    log(LogLevel::Error, "Failed to launch (null): no path given.");
    return "no path given";
  }
  log(LogLevel::Error, "Failed to launch %s: %s.", executable->c_str(), errorText(error).c_str());
  return errorText(error);
}

std::vector<std::string> shellCommand(const std::string& commandLine) { return {"/bin/sh", "-c", commandLine}; }

OptionalString runAndWait(const OptionalString& executable, const std::vector<std::string>& arguments) {
  ChildProcess child(executable, arguments);
  child.waitUntilExit();
  return child.error();
}

}  // namespace hotfix::platform
