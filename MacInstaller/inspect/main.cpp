// The command hotfixInspect: shows what hotfixUninstall would do, what state an instance is in, and whether a removal
// worked. It changes nothing.

#include <exception>
#include <string>
#include <vector>

#include "MacInstaller/inspect/Command.h"
#include "MacInstaller/inspect/ExitStatus.h"

int main(int argc, char* argv[]) {
  try {
    const std::vector<std::string> arguments(argv, argv + argc);
    try {
      return hotfix::inspect(arguments);
    } catch (const std::exception&) {
      return hotfix::withoutMemory(arguments);  // the memory that it used is free again
    }
  } catch (const std::exception&) {
    return hotfix::kNoMemory;
  }
}
