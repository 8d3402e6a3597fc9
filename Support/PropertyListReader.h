#ifndef SUPPORT_PROPERTY_LIST_READER_H_
#define SUPPORT_PROPERTY_LIST_READER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

/// Reads property lists of every form in the same way as CoreFoundation. Safe for hostile bytes: time and memory grow
/// linearly with the list, and bytes that exceed the limits are not a property list.
namespace hotfix::property_list {

/// The greatest depth of nested collections.
inline constexpr int kDeepest = 512;

/// The limits of a list's content. A binary list may refer to one object in many places, and each place counts.
struct Limits {
  std::size_t values = 1'000'000;
  std::size_t repeatedValues = 10'000;     ///< more than the binary list has bytes
  std::size_t repeatedBytes = 64U << 20U;  ///< of texts and data, more than the binary list has itself
};

/// Converts a text to UTF-8 from an encoding with an IANA name; none if that is impossible.
using TextConverter = OptionalString (*)(std::string_view bytes, const std::string& encoding);

/// Reads a property list in XML, binary or old-style text form.
///
/// A list that begins like a binary list, and ends with a matching trailer, is binary. Any other list is a text in the
/// encoding of its byte order mark. Without one, it is in UTF-16 if one of the first two bytes is NUL (its first
/// character is then lost, as on macOS), in the encoding named by `<?xml … encoding="…"?>`, or in UTF-8. A text that is
/// not XML is read as old style, where a text of blanks and comments is an empty dictionary. Text after the end of a
/// list in XML, or of a strings file, is ignored.
///
/// Half a surrogate pair becomes U+FFFD. A UID in a binary list is the dictionary { "CF$UID" = number; }, as in XML. If
/// a key occurs several times, the last entry is used, but in a binary list the first.
///
/// \param convert for encodings other than UTF-8, UTF-16, US-ASCII and ISO-8859-1. If it is null, lists in other
///     encodings are rejected.
/// \return none if the bytes are not a property list, contain values without a PropertyListValue (null, sets, integers
///     of more than 64 bits), or exceed the limits, or if there is not enough memory.
std::optional<PropertyListValue> read(std::string_view bytes, TextConverter convert = nullptr,
                                      const Limits& limits = {});

}  // namespace hotfix::property_list

#endif
