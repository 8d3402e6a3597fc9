#ifndef SUPPORT_PROPERTIES_ESCAPES_H_
#define SUPPORT_PROPERTIES_ESCAPES_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Support/TextEncoding.h"

/// The escapes of properties files, written once for UTF-16 units (StringUtil) and for UTF-8 (the texts of a whole
/// file, without a conversion). MacInstaller/StringUtil.h has the rules.
namespace hotfix::properties_escapes {

enum class Part : std::uint8_t { Key, Value };

enum class Kind : std::uint8_t { Foreign, Plain, Marked, Backslash };

using Kinds = std::array<Kind, 0x100>;

constexpr Kinds kindsIn(Part part) {
  Kinds kinds{};
  for (size_t unit = 0x20; unit <= 0x7E; ++unit) kinds[unit] = Kind::Plain;
  kinds['#'] = kinds['!'] = kinds['='] = kinds[':'] = Kind::Marked;
  kinds['\\'] = Kind::Backslash;
  if (part == Part::Key) kinds[' '] = Kind::Marked;
  return kinds;
}

inline constexpr Kinds kKeyKinds = kindsIn(Part::Key);
inline constexpr Kinds kValueKinds = kindsIn(Part::Value);

inline Kind kindOf(char byte, const Kinds& kinds) { return kinds[static_cast<unsigned char>(byte)]; }
inline Kind kindOf(char16_t unit, const Kinds& kinds) { return unit < kinds.size() ? kinds[unit] : Kind::Foreign; }

template <class Unit>
void appendHexDigits(std::uint16_t number, std::basic_string<Unit>& result) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (int shift = 12; shift >= 0; shift -= 4) result += static_cast<Unit>(kDigits[(number >> shift) & 0xF]);
}

template <class Unit>
void appendForeign(std::u16string_view units, std::basic_string<Unit>& result) {
  for (const char16_t unit : units) {
    result += Unit{'\\'};
    result += Unit{'u'};
    appendHexDigits(unit, result);
  }
}

inline void appendForeign(std::string_view utf8, std::string& result) {
  appendForeign(text::utf16FromUtf8(utf8), result);
}

template <class Unit>
void append(std::basic_string_view<Unit> text, Part part, std::basic_string<Unit>& result) {
  const Kinds& kinds = part == Part::Key ? kKeyKinds : kValueKinds;
  size_t end = 0;
  while (end < text.size()) {
    const size_t begin = end++;
    const Kind kind = kindOf(text[begin], kinds);
    if (kind == Kind::Plain || kind == Kind::Foreign) {
      while (end < text.size() && kindOf(text[end], kinds) == kind) ++end;
      const std::basic_string_view<Unit> run(text.data() + begin, end - begin);
      if (kind == Kind::Plain) {
        result += run;
      } else {
        appendForeign(run, result);
      }
      continue;
    }
    // Deliberately examines only the "u" and not the text after it: a backslash before "users" is not doubled either.
    const bool isEscape = kind == Kind::Backslash && part == Part::Value && end < text.size() && text[end] == Unit{'u'};
    if (!isEscape) result += Unit{'\\'};
    result += text[begin];
  }
}

}  // namespace hotfix::properties_escapes

#endif
