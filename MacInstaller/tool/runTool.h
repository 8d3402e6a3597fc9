#ifndef MACINSTALLER_TOOL_RUN_TOOL_H_
#define MACINSTALLER_TOOL_RUN_TOOL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Support/OptionalString.h"
#include "Support/Progress.h"

namespace hotfix {

/// Shows the user what the command does. It gets the steps if it is set as the listener of progress.
class ToolListener : public progress::Listener {
 public:
  /// The arguments have been read, and nothing is done yet.
  virtual void runBegins(const OptionalString& home) = 0;

  /// A sentence that the user must know before the uninstall begins.
  virtual void showNote(const std::string& note) = 0;

  /// The hotfix was not removed: a sentence with the reason, and one with the place of the details.
  virtual void showFailure(const std::string& sentence, const std::string& whereToReadOn) = 0;
};

/// Runs the command hotfixUninstall with its arguments, its own name first: reads its two options, calls the library to
/// remove the hotfix, and in any case runs a clean-up and an update pass of the platform on the same instance.
///
/// \return the exit status.
std::int32_t runTool(const std::vector<std::string>& arguments, ToolListener& listener);

/// Why the library's last call failed; empty after a success.
std::string reasonOfFailure();

/// A sentence that the workspace will belong to root, if sudo hides its caller; none otherwise.
OptionalString noteOnSudo();

/// The outcome of a step in one to three words.
const char* wordFor(StepResult::Kind kind);

}  // namespace hotfix

#endif
