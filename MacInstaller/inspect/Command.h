#ifndef MACINSTALLER_INSPECT_COMMAND_H_
#define MACINSTALLER_INSPECT_COMMAND_H_

#include <string>
#include <vector>

namespace hotfix {

/// What the command does with its arguments, its own name first. \return its exit status, see ExitStatus.
int inspect(const std::vector<std::string>& arguments);

/// Tells that there was no memory for that. \return the exit status.
int withoutMemory(const std::vector<std::string>& arguments);

}  // namespace hotfix

#endif
