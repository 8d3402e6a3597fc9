#include "Platform/UserDefaults.h"

#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"

namespace hotfix::platform {

namespace {

constexpr char kGlobalDomain[] = ".GlobalPreferences";

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

}  // namespace hotfix::platform
