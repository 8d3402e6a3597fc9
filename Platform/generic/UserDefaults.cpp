#include "Platform/UserDefaults.h"

#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"

namespace hotfix::platform {

namespace {

constexpr char kGlobalDomain[] = ".GlobalPreferences";

/// The settings of a domain: of the user with that home, or of all users with an empty home.
std::optional<PropertyListValue::Dictionary> settingsIn(const std::string& home, const std::string& domain) {
  return readDictionary(onDisk(home + "/Library/Preferences/" + domain + ".plist"), kLargestSettings);
}

}  // namespace

std::optional<PropertyListValue> globalDefault(const std::string& key) {
  for (const OptionalString& home : {homeFolder(), OptionalString("")}) {
    const auto domain = home ? settingsIn(*home, kGlobalDomain) : std::nullopt;
    if (domain && domain->count(key) != 0) return domain->find(key)->second;
  }
  return std::nullopt;
}

std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain) {
  const OptionalString home = homeFolder();
  return home ? settingsIn(*home, domain) : std::nullopt;
}

}  // namespace hotfix::platform
