#include "Platform/UserDefaults.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

namespace {

std::optional<PropertyListValue> globalValue(CFStringRef key, CFStringRef user, CFStringRef host) {
  // Discards values that were read before, because they may be those of another effective user.
  (void)CFPreferencesSynchronize(kCFPreferencesAnyApplication, user, host);
  const Scoped<CFTypeRef> value(CFPreferencesCopyValue(key, kCFPreferencesAnyApplication, user, host));
  return valueFrom(value.get(), kLargestSettings);
}

}  // namespace

std::optional<PropertyListValue> globalDefault(const std::string& key) {
  const Scoped<CFStringRef> name = stringObject(key);
  if (!name) return std::nullopt;
  auto value = globalValue(name.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  // The settings for all users in /Library are those of "any user" on this host. "Any host" would be the network's.
  return value ? value : globalValue(name.get(), kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
}

std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain) {
  const Scoped<CFStringRef> name = stringObject(domain);
  if (!name) return std::nullopt;
  (void)CFPreferencesSynchronize(name.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost);  // as above
  const Scoped<CFDictionaryRef> settings(
      CFPreferencesCopyMultiple(nullptr, name.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  // For a domain that does not exist, the result is an empty dictionary.
  if (!settings || CFDictionaryGetCount(settings.get()) == 0) return std::nullopt;
  std::optional<PropertyListValue> value = valueFrom(settings.get(), kLargestSettings);
  if (!value || value->asDictionary() == nullptr) return std::nullopt;
  return std::move(*value->asDictionary());
}

}  // namespace hotfix::platform
