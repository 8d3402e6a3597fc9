#ifndef SUPPORT_PROPERTY_LIST_READER_H_
#define SUPPORT_PROPERTY_LIST_READER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

/// Reads property lists of every form, each as CoreFoundation does. Made for hostile bytes: time and memory grow no
/// faster than the list, and what goes past the limits is no property list.
namespace hotfix::property_list {

/// How many collections may lie in one another.
inline constexpr int kDeepest = 512;

/// How much a list may hold. A binary one may name the same object in many places, and each place counts.
struct Limits {
  std::size_t values = 1'000'000;
  std::size_t repeatedValues = 10'000;     ///< more than the binary list has bytes
  std::size_t repeatedBytes = 64U << 20U;  ///< of texts and data, more than the binary list has itself
};

/// Converts a text to UTF-8 from an encoding with an IANA name; none when that cannot be done.
using TextConverter = OptionalString (*)(std::string_view bytes, const std::string& encoding);

/// Reads a property list in XML, binary or old-style text form.
///
/// A list that begins as a binary one, and ends with a trailer that fits, is binary. Any other is a text: in the
/// encoding of its byte order mark; without one, in UTF-16 when one of the first two bytes is NUL (its first character
/// is then lost, as on macOS), in the encoding that `<?xml … encoding="…"?>` names, or in UTF-8. A text that is not XML
/// is tried as old style, where a text of blanks and comments is an empty dictionary. What follows the end of a list in
/// XML, or of a strings file, does not count.
///
/// Half a surrogate pair becomes U+FFFD. A UID in a binary list is the dictionary { "CF$UID" = number; }, as in XML. Of
/// equal keys the last counts, in a binary list the first.
///
/// \param convert for encodings other than UTF-8, UTF-16, US-ASCII and ISO-8859-1; lists in these others are refused
///     when it is null.
/// \return none when the bytes are no property list, hold what no PropertyListValue can be (null, sets, integers of
///     more than 64 bits), go past the limits, or when memory runs out.
std::optional<PropertyListValue> read(std::string_view bytes, TextConverter convert = nullptr,
                                      const Limits& limits = {});

}  // namespace hotfix::property_list

#endif
