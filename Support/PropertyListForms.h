#ifndef SUPPORT_PROPERTY_LIST_FORMS_H_
#define SUPPORT_PROPERTY_LIST_FORMS_H_

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListValue.h"

/// The readers of the three forms of a property list, for PropertyListReader.cpp, and what they have in common.
namespace hotfix::property_list {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;

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

/// Sets \a value to an optional content. \return false when there is none.
template <typename Optional>
bool assign(Optional content, PropertyListValue& value) {
  if (!content) return false;
  value = PropertyListValue(std::move(*content));
  return true;
}

/// White space of XML, and of data in the old style.
inline bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// ----- Reading a text: each function removes what it has read from the start of the text -----

/// Skips \a prefix. \return false if \a text does not begin with it.
inline bool skip(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

inline bool skip(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

/// Takes the first character; there must be one.
inline char take(std::string_view& text) {
  const char c = text.front();
  text.remove_prefix(1);
  return c;
}

/// Takes the first \a length characters.
inline std::string_view take(std::string_view& text, std::size_t length) {
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(taken.size());
  return taken;
}

/// Takes the first characters that are of a kind.
template <typename Kind>
std::string_view takeAll(std::string_view& text, Kind isOfKind) {
  return take(text, static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isOfKind) - text.begin()));
}

/// Takes the text before \a end, or all of it.
template <typename End>
std::string_view takeUntil(std::string_view& text, End end) {
  return take(text, text.find(end));
}

/// \return false, with no text left, if there is no \a end.
template <typename End>
bool skipPast(std::string_view& text, End end) {
  takeUntil(text, end);
  return skip(text, end);
}

/// Ignores the case of ASCII letters.
inline bool areEqualIgnoringCase(std::string_view left, std::string_view right) {
  const auto lowered = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  const auto areSame = [lowered](char a, char b) { return lowered(a) == lowered(b); };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), areSame);
}

// ----- The readers -----

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
