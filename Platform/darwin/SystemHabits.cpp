#include "Platform/posix/SystemHabits.h"

#include <algorithm>
#include <iterator>

namespace hotfix::platform {

bool givesGroup(const struct stat&) { return true; }

bool isSystemProgram(std::string_view beginning) {
  // Mach-O of 32 and 64 bits, and universal: the values of loader.h and fat.h.
  static constexpr std::string_view kMarks[] = {
      {"\xCE\xFA\xED\xFE", 4}, {"\xCF\xFA\xED\xFE", 4}, {"\xCA\xFE\xBA\xBE", 4}};
  return std::any_of(std::begin(kMarks), std::end(kMarks),
                     [beginning](std::string_view mark) { return beginning.substr(0, mark.size()) == mark; });
}

}  // namespace hotfix::platform
