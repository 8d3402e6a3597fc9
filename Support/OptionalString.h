#ifndef SUPPORT_OPTIONAL_STRING_H_
#define SUPPORT_OPTIONAL_STRING_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace hotfix {

/// A text that may be absent, with the interface of std::optional. Absent and empty are different everywhere in this
/// system.
///
/// It can be constructed from every form of a text, and a null pointer is an absent text. (With a
/// std::optional<std::string>, a null pointer would compile and abort the program.)
template <typename Char>
class BasicOptionalString {
 public:
  using value_type = std::basic_string<Char>;

  BasicOptionalString() = default;
  // NOLINTBEGIN(google-explicit-constructor): a text is an optional text
  BasicOptionalString(std::nullopt_t) {}
  BasicOptionalString(std::nullptr_t) {}
  BasicOptionalString(const Char* text) {
    if (text != nullptr) _text.emplace(text);
  }
  BasicOptionalString(value_type text) : _text(std::move(text)) {}
  BasicOptionalString(std::optional<value_type> text) : _text(std::move(text)) {}
  // NOLINTEND(google-explicit-constructor)
  explicit BasicOptionalString(std::basic_string_view<Char> text) : _text(text) {}

  /// For callers that use std::optional themselves.
  operator std::optional<value_type>() const { return _text; }  // NOLINT(google-explicit-constructor)

  bool has_value() const { return _text.has_value(); }
  explicit operator bool() const { return _text.has_value(); }

  /// The text, which must not be absent.
  const value_type& operator*() const& { return *_text; }
  value_type& operator*() & { return *_text; }
  value_type&& operator*() && { return *std::move(_text); }
  const value_type& value() const { return *_text; }
  const value_type* operator->() const { return &*_text; }
  value_type* operator->() { return &*_text; }

  /// The text, or another one when it is absent.
  value_type value_or(value_type other) const& { return _text ? *_text : std::move(other); }
  value_type value_or(value_type other) && { return _text ? *std::move(_text) : std::move(other); }

  void reset() { _text.reset(); }

  friend bool operator==(const BasicOptionalString& left, const BasicOptionalString& right) {
    return left._text == right._text;
  }
  friend bool operator!=(const BasicOptionalString& left, const BasicOptionalString& right) { return !(left == right); }
  // Otherwise std::optional's own comparisons would be used, which treat this as a text and not as an optional one.
  template <typename Text>
  friend bool operator==(const BasicOptionalString& left, const std::optional<Text>& right) {
    return left._text == right;
  }
  template <typename Text>
  friend bool operator==(const std::optional<Text>& left, const BasicOptionalString& right) {
    return left == right._text;
  }

 private:
  std::optional<value_type> _text;
};

using OptionalString = BasicOptionalString<char>;

/// An optional text in UTF-16 code units.
using OptionalUtf16 = BasicOptionalString<char16_t>;

/// The text as a C string for a "%s" in a message; "(null)" for an absent one.
///
/// \return a pointer that is valid during the lifetime of \a text.
inline const char* textOrNull(const OptionalString& text) { return text ? text->c_str() : "(null)"; }

}  // namespace hotfix

#endif
