#ifndef MACINSTALLER_TOOL_INTERRUPTION_H_
#define MACINSTALLER_TOOL_INTERRUPTION_H_

#include <string>

#include "Support/OptionalString.h"

/// The report of the tool when SIGINT, SIGTERM or SIGHUP ends it. It goes to standard error and contains the current
/// step, the child that continues and its process id, and whether the uninstall manifest is consumed, or that this is
/// unknown, because the system refuses access. The tool then ends by that signal.
///
/// Signals belong to the whole process, so there is one state. Between the calls here it is always consistent.
namespace hotfix::interruption {

/// Handles the signals from now on, except those that are ignored (nohup(1)). Notes whether the uninstall manifest in
/// \a home, the home folder of the instance, exists now.
void begin(const OptionalString& home);

/// The current step, a literal; null between steps.
void setStep(const char* step);

/// The child that continues when the process ends.
void setChild(const std::string& program, long process);
void clearChild();

/// The hotfix is removed, and the tool continues with the steps after the uninstall.
void setRemoved();

}  // namespace hotfix::interruption

#endif
