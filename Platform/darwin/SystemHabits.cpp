#include "Platform/posix/SystemHabits.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <mutex>

#include "Platform/posix/WriteSignals.h"

namespace hotfix::platform {

std::string programName() { return getprogname(); }

void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short* flags) {
  // Closes every descriptor that no action names.
  *flags = static_cast<short>(*flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    const int descriptorFlags = fcntl(descriptor, F_GETFD);
    const bool isInherited = descriptorFlags != -1 && (descriptorFlags & FD_CLOEXEC) == 0;
    if (isInherited) posix_spawn_file_actions_addinherit_np(actions, descriptor);
  }
}

bool givesGroup(const struct stat&) { return true; }

bool isSystemProgram(std::string_view beginning) {
  // Mach-O of 32 and 64 bits, and universal: the values of loader.h and fat.h.
  static constexpr std::string_view kMarks[] = {
      {"\xCE\xFA\xED\xFE", 4}, {"\xCF\xFA\xED\xFE", 4}, {"\xCA\xFE\xBA\xBE", 4}};
  return std::any_of(std::begin(kMarks), std::end(kMarks),
                     [beginning](std::string_view mark) { return beginning.substr(0, mark.size()) == mark; });
}

// macOS sends both signals to the process, not to the writing thread. Any thread that does not block them can get them.
void withoutWriteSignals(int descriptor, const std::function<void()>& write) {
  struct stat status;
  const bool canRaisePipeSignal =
      fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
  if (!canRaisePipeSignal) {
    // macOS offers nothing better for SIGXFSZ. It is correct in the command, which has one thread. An installer with
    // several threads and a limit must ignore the signal itself.
    const ScopedHeldSignals held({SIGXFSZ});
    return write();
  }
  // SIGPIPE can be turned off for an open file. Only one thread at a time does this, because two descriptors can refer
  // to the same open file.
  static auto* mutex = new std::mutex;  // never destroyed: threads may still be running at the exit of the process
  const std::lock_guard<std::mutex> lock(*mutex);
  const int before = fcntl(descriptor, F_GETNOSIGPIPE);
  (void)fcntl(descriptor, F_SETNOSIGPIPE, 1);
  write();
  if (before == 0) (void)fcntl(descriptor, F_SETNOSIGPIPE, 0);
}

}  // namespace hotfix::platform
