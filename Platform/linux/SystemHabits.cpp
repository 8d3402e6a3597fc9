#include "Platform/posix/SystemHabits.h"

namespace hotfix::platform {

bool givesGroup(const struct stat& folder) { return (folder.st_mode & S_ISGID) != 0; }

bool isSystemProgram(std::string_view beginning) {
  return beginning.substr(0, 4) ==
         "\x7F"
         "ELF";
}

}  // namespace hotfix::platform
