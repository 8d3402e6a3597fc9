#include "Platform/preview/Question.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/Spawn.h"

namespace hotfix::platform::preview {

Answer ask(const std::vector<std::string>& commandLine, size_t limit) {
  Answer answer;
  ScopedFd readEnd;
  ScopedFd writeEnd;
  int error = 0;
  const pid_t process =
      makePipe(readEnd, writeEnd) ? spawn(commandLine, ProcessGroup::Callers, writeEnd.get(), &error) : -1;
  if (process == -1) {
    answer.error = errorText(error != 0 ? error : errno);
    return answer;
  }
  writeEnd = ScopedFd();
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
