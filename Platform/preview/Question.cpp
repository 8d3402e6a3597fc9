#include "Platform/preview/Question.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/SpawnDescriptors.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): no header of macOS declares it

namespace hotfix::platform::preview {

namespace {

pid_t start(const std::vector<std::string>& commandLine, int output, int* error) {
  std::vector<char*> argv;
  for (const std::string& argument : commandLine) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  inheritStandardDescriptorsOnly(&actions, &flags);
  posix_spawnattr_setflags(&attributes, flags);
  pid_t process = -1;
  *error = posix_spawn(&process, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return *error == 0 ? process : -1;
}

}  // namespace

Answer ask(const std::vector<std::string>& commandLine, size_t limit) {
  Answer answer;
  int ends[2];
  if (pipe(ends) != 0) {
    answer.error = errorText(errno);
    return answer;
  }
  const ScopedFd readEnd(ends[0]);
  ScopedFd writeEnd(ends[1]);
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  int error = 0;
  const pid_t process = start(commandLine, writeEnd.get(), &error);
  writeEnd = ScopedFd();
  if (process == -1) {
    answer.error = errorText(error);
    return answer;
  }
  char buffer[4096];
  for (;;) {
    const ssize_t count = retried([&] { return read(readEnd.get(), buffer, sizeof buffer); });
    if (count <= 0) break;
    // Output past the limit is read too, so that the program can exit.
    answer.output.append(buffer, std::min(static_cast<size_t>(count), limit - answer.output.size()));
  }
  int status = 0;
  if (retried([&] { return waitpid(process, &status, 0); }) == process && WIFEXITED(status)) {
    answer.exitStatus = WEXITSTATUS(status);
  }
  return answer;
}

}  // namespace hotfix::platform::preview
