#include "Platform/UserDefaults.h"

namespace hotfix::platform {

namespace {

/// The rule for a text: blanks, then the first letter of "yes" or "true", or a number that is not zero.
bool isTrueText(const std::string& text) {
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return false;
  if (std::string("YyTt").find(text[at]) != std::string::npos) return true;
  if (text[at] == '+' || text[at] == '-') ++at;
  at = text.find_first_not_of('0', at);
  return at != std::string::npos && text[at] >= '1' && text[at] <= '9';
}

}  // namespace

bool booleanValue(const std::optional<PropertyListValue>& value) {
  if (!value) return false;
  if (const bool* boolean = value->asBoolean()) return *boolean;
  if (const PropertyListValue::Integer* integer = value->asInteger()) return integer->bits != 0;
  if (const double* real = value->asReal()) return *real != 0;
  if (const std::string* text = value->asString()) return isTrueText(*text);
  return false;
}

}  // namespace hotfix::platform
