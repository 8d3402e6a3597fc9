#include "Platform/UserDefaults.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

namespace {

/// Forgets what was read before: that may have been for another effective user.
void reread(CFStringRef domain) {
  (void)CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
}

}  // namespace

std::optional<PropertyListValue> globalDefault(const std::string& key) {
  const Scoped<CFStringRef> name = stringObject(key);
  if (!name) return std::nullopt;
  reread(kCFPreferencesAnyApplication);
  const Scoped<CFTypeRef> value(CFPreferencesCopyValue(name.get(), kCFPreferencesAnyApplication,
                                                       kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  return valueFrom(value.get());
}

std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain) {
  const Scoped<CFStringRef> name = stringObject(domain);
  if (!name) return std::nullopt;
  reread(name.get());
  const Scoped<CFDictionaryRef> settings(
      CFPreferencesCopyMultiple(nullptr, name.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  // A domain that does not exist comes as an empty one.
  if (!settings || CFDictionaryGetCount(settings.get()) == 0) return std::nullopt;
  std::optional<PropertyListValue> value = valueFrom(settings.get());
  if (!value) return std::nullopt;
  return std::move(*value->asDictionary());
}

}  // namespace hotfix::platform
