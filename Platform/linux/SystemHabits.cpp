#include "Platform/posix/SystemHabits.h"

#include <cerrno>

#include "Platform/posix/WriteSignals.h"

namespace hotfix::platform {

std::string programName() { return program_invocation_short_name; }

void inheritStandardDescriptorsOnly(posix_spawn_file_actions_t* actions, short*) {
  posix_spawn_file_actions_addclosefrom_np(actions, 3);
}

bool givesGroup(const struct stat& folder) { return (folder.st_mode & S_ISGID) != 0; }

bool isSystemProgram(std::string_view beginning) {
  return beginning.substr(0, 4) ==
         "\x7F"
         "ELF";
}

// Linux sends both signals to the writing thread.
void withoutWriteSignals(int, const std::function<void()>& write) {
  const ScopedHeldSignals held({SIGPIPE, SIGXFSZ});
  write();
}

}  // namespace hotfix::platform
