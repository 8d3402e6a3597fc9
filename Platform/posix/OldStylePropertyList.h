#ifndef PLATFORM_POSIX_OLD_STYLE_PROPERTY_LIST_H_
#define PLATFORM_POSIX_OLD_STYLE_PROPERTY_LIST_H_

#include <optional>
#include <string_view>

#include "Support/PropertyListValue.h"

namespace hotfix::platform {

/// Reads a property list in the old text form: { key = value; }, ( a, b ), <0fbd77>, bare and quoted strings.
///
/// Every scalar but data is a string. A text "key = value; …" without braces (a strings file) is a dictionary, and so
/// is a text of nothing but blanks and comments. Of equal keys the last one counts. Takes time linear in the text.
/// \param utf8 well-formed UTF-8.
/// \return none when the text is no such list, or one nested more than kDeepestPropertyList deep.
std::optional<PropertyListValue> parseOldStylePropertyList(std::string_view utf8);

}  // namespace hotfix::platform

#endif
