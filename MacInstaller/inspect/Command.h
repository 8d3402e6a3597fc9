#ifndef MACINSTALLER_INSPECT_COMMAND_H_
#define MACINSTALLER_INSPECT_COMMAND_H_

#include <string>
#include <vector>

namespace hotfix {

/// Runs the command with its arguments; the first is its own name. \return its exit status, see ExitStatus.
int inspect(const std::vector<std::string>& arguments);

/// Reports that there was not enough memory for that. \return the exit status.
int withoutMemory(const std::vector<std::string>& arguments);

}  // namespace hotfix

#endif
