#ifndef MACINSTALLER_TOOL_RUN_TOOL_H_
#define MACINSTALLER_TOOL_RUN_TOOL_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

/// What the command hotfixUninstall does with its arguments, its own name first: reads its two options, has the library
/// remove the hotfix, and in any case runs a clean-up and an update pass of the platform on the same instance.
///
/// \param sayFailure called in the end when the hotfix was not removed, with the trace file if there is one.
/// \return the exit status.
std::int32_t runTool(const std::vector<std::string>& arguments,
                     const std::function<void(const OptionalString& trace)>& sayFailure);

}  // namespace hotfix

#endif
