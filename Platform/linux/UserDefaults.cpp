#include "Platform/UserDefaults.h"

#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"

namespace platform {

namespace {

constexpr char kGlobalDomain[] = ".GlobalPreferences";

/// The rule for a text: blanks, then a letter for "yes" or "true", or a number that is not zero.
bool isTrueText(const std::string& text) {
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return false;
  if (std::string("YyTt").find(text[at]) != std::string::npos) return true;
  if (text[at] == '+' || text[at] == '-') ++at;
  at = text.find_first_not_of('0', at);
  return at != std::string::npos && text[at] >= '1' && text[at] <= '9';
}

}  // namespace

std::optional<PropertyListValue> globalDefault(const std::string& key) {
  const std::optional<PropertyListValue::Dictionary> domain = persistentDomain(kGlobalDomain);
  if (!domain) return std::nullopt;
  const auto found = domain->find(key);
  if (found == domain->end()) return std::nullopt;
  return found->second;
}

std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain) {
  const OptionalString home = homeFolder();
  if (!home) return std::nullopt;
  return readDictionary(onDisk(*home + "/Library/Preferences/" + domain + ".plist"));
}

bool booleanValue(const std::optional<PropertyListValue>& value) {
  if (!value) return false;
  if (const bool* boolean = value->asBoolean()) return *boolean;
  if (const PropertyListValue::Integer* integer = value->asInteger()) return integer->bits != 0;
  if (const double* real = value->asReal()) return *real != 0;
  if (const std::string* text = value->asString()) return isTrueText(*text);
  return false;
}

}  // namespace platform
