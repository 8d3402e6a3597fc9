#ifndef PLATFORM_USER_DEFAULTS_H_
#define PLATFORM_USER_DEFAULTS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "Support/PropertyListValue.h"

/// The settings of a user, read-only. The user is that of the process's effective id (see ScopedEffectiveUser), or the
/// real user if the effective id is 0.
///
/// On macOS, CFPreferences reads them. On Linux they are the property lists `.GlobalPreferences.plist` and
/// `<domain>.plist` in `Library/Preferences` of the home folder in the account database; HOME is not used. A list of
/// more than kLargestSettings bytes is treated as missing. On Linux each call reads the list again: a long-lived
/// process sees later changes, and the cost for a run of the tool, with its few calls, is limited by that size.
namespace hotfix::platform {

inline constexpr std::uint64_t kLargestSettings = 8U << 20U;

/// The value of a key for all applications ("AppleLocale"): the user's, otherwise the one for all users in
/// `/Library/Preferences/.GlobalPreferences.plist`, otherwise none.
std::optional<PropertyListValue> globalDefault(const std::string& key);

/// The user's own settings of one domain, without those for all applications, or none.
std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain);

/// A setting as a boolean. True is a boolean or number that is not zero, or a text that begins (after blanks) with one
/// of "YyTt", or with an optional sign, zeros and a digit 1 to 9. Everything else, including an absent value, is false.
bool booleanValue(const std::optional<PropertyListValue>& value);

}  // namespace hotfix::platform

#endif
