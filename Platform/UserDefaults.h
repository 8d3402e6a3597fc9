#ifndef PLATFORM_USER_DEFAULTS_H_
#define PLATFORM_USER_DEFAULTS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "Support/PropertyListValue.h"

/// The settings that a user has made: read only, of the user whose effective id the process has (see
/// ScopedEffectiveUser; under an effective id of 0 the real user's).
///
/// On macOS through CFPreferences. On Linux the property lists `.GlobalPreferences.plist` and `<domain>.plist` in
/// `Library/Preferences` of the home folder that the account database names; HOME is not consulted. A list of more than
/// kLargestSettings bytes counts as none. On Linux each call reads the list anew: a long-lived process sees what was
/// changed since, and a run of the tool, which asks a few times, pays for it within that bound.
namespace hotfix::platform {

inline constexpr std::uint64_t kLargestSettings = 8U << 20U;

/// The value for a key that holds for all applications ("AppleLocale"): the user's, else what
/// `/Library/Preferences/.GlobalPreferences.plist` says for all users, else none.
std::optional<PropertyListValue> globalDefault(const std::string& key);

/// The user's own settings of one domain, without those for all applications, or none.
std::optional<PropertyListValue::Dictionary> persistentDomain(const std::string& domain);

/// A setting as a boolean: a boolean or number that is not zero; a text that begins (after blanks) with one of
/// "YyTt", or with an optional sign, zeros and a digit 1 to 9. Everything else, an absent value too, is false.
bool booleanValue(const std::optional<PropertyListValue>& value);

}  // namespace hotfix::platform

#endif
