#ifndef SUPPORT_OPTIONAL_STRING_H_
#define SUPPORT_OPTIONAL_STRING_H_

#include <optional>
#include <string>

namespace hotfix {

/// A text that may be absent. Absent and empty are different things everywhere in this system.
using OptionalString = std::optional<std::string>;

/// The text as a C string for a "%s" in a message; an absent one shows as "(null)".
///
/// \return a pointer that is valid as long as \a text is.
inline const char* textOrNull(const OptionalString& text) { return text ? text->c_str() : "(null)"; }

}  // namespace hotfix

#endif
