#ifndef MACINSTALLER_TOOL_INTERRUPTION_H_
#define MACINSTALLER_TOOL_INTERRUPTION_H_

#include <string>

#include "Support/OptionalString.h"

/// What the tool says when SIGINT, SIGTERM or SIGHUP ends it: on standard error, the step that it was in, the child
/// that goes on and its process id, and whether the uninstall manifest is consumed, or that this cannot be told, as the
/// system does not let it be looked for. It then dies of that signal.
///
/// The signals are the whole process's, so there is one state. Between the calls here a signal finds it whole.
namespace hotfix::interruption {

/// From now on the signals are handled, but for those that are ignored (nohup(1)). \a home is the home folder of the
/// instance: whether its uninstall manifest is there now is noted.
void begin(const OptionalString& home);

/// The step that lasts, a literal; null between steps.
void setStep(const char* step);

/// The child that goes on when the process ends.
void setChild(const std::string& program, long process);
void clearChild();

/// The hotfix is removed, while the tool goes on with what follows the uninstall.
void setRemoved();

}  // namespace hotfix::interruption

#endif
