#ifndef MACINSTALLER_TOOL_GET_ARG_VALUE_H_
#define MACINSTALLER_TOOL_GET_ARG_VALUE_H_

#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

/// The value of a command-line option: the argument after the first one that equals \a name and is not the last
/// argument. The value may be any argument, even "-rcpdata". The program's own path is compared like any argument.
///
/// \param arguments all of them, the program's own path first.
/// \return none when there is no such argument: an option at the end has no value.
OptionalString getArgValue(const std::vector<std::string>& arguments, const std::string& name);

}  // namespace hotfix

#endif
