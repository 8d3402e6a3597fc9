#ifndef SUPPORT_PROPERTY_LIST_FORMS_H_
#define SUPPORT_PROPERTY_LIST_FORMS_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListValue.h"

/// The readers of the three forms of a property list, for PropertyListReader.cpp.
namespace hotfix::property_list {

/// The number of values or bytes that a list may still use.
class Budget {
 public:
  explicit Budget(std::size_t most) : _left(most) {}

  /// \return false when less than \a amount is left.
  bool take(std::size_t amount = 1) {
    if (amount > _left) return false;
    _left -= amount;
    return true;
  }

 private:
  std::size_t _left;
};

/// Whether the bytes begin like a binary list, and end with a matching trailer and table of offsets.
bool isBinary(std::string_view bytes);

std::optional<PropertyListValue> readBinary(std::string_view bytes, const Limits& limits);

/// \param text UTF-8 up to the end of the list; the text after it is ignored.
std::optional<PropertyListValue> readXml(std::string_view text, const Limits& limits);

/// Reads { key = value; }, ( a, b ), <0fbd77>, bare and quoted strings. Every scalar except data is a string. A text
/// "key = value; …" without braces (a strings file) is a dictionary.
std::optional<PropertyListValue> readOldStyle(std::string_view text, const Limits& limits);

}  // namespace hotfix::property_list

#endif
