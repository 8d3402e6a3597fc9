#ifndef MACINSTALLER_TOOL_RUN_TOOL_H_
#define MACINSTALLER_TOOL_RUN_TOOL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Support/OptionalString.h"
#include "Support/Progress.h"

namespace hotfix {

/// Who shows a person what the command does. The steps come to it if it is set as the listener of progress.
class ToolListener : public progress::Listener {
 public:
  /// The arguments have been read, and nothing is done yet.
  virtual void runBegins(const OptionalString& home) = 0;

  /// Something to know before it begins: a sentence.
  virtual void showNote(const std::string& note) = 0;

  /// The hotfix was not removed: a sentence with the reason, and one that says where to read on.
  virtual void showFailure(const std::string& sentence, const std::string& whereToReadOn) = 0;
};

/// What the command hotfixUninstall does with its arguments, its own name first: reads its two options, has the library
/// remove the hotfix, and in any case runs a clean-up and an update pass of the platform on the same instance.
///
/// \return the exit status.
std::int32_t runTool(const std::vector<std::string>& arguments, ToolListener& listener);

/// Why the library's last call failed; empty after a success.
std::string reasonOfFailure();

/// That the workspace will belong to root, when sudo has hidden who calls: a sentence; none otherwise.
OptionalString noteOnSudo();

/// How a step ended, in a word or three.
const char* wordFor(StepResult::Kind kind);

}  // namespace hotfix

#endif
