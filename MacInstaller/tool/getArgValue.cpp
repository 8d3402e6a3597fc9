#include "MacInstaller/tool/getArgValue.h"

namespace hotfix {

OptionalString getArgValue(const std::vector<std::string>& arguments, const std::string& name) {
  for (size_t index = 0; index + 1 < arguments.size(); ++index) {
    if (arguments[index] == name) return arguments[index + 1];
  }
  return std::nullopt;
}

}  // namespace hotfix
