// The command hotfixInspect: shows what hotfixUninstall would do, what state an instance is in, and whether a removal
// worked. It changes nothing.

#include <exception>
#include <string>
#include <vector>

#include "MacInstaller/inspect/Command.h"
#include "MacInstaller/inspect/ExitStatus.h"

int main(int argc, char* argv[]) {
  try {
    return hotfix::inspect(std::vector<std::string>(argv, argv + argc));
  } catch (const std::exception&) {
    return hotfix::kNoMemory;
  }
}
