#include "Platform/CaseFolding.h"

#include <algorithm>
#include <string_view>

#include "Platform/posix/SystemTexts.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

/// The bytes of the character at a place of a text; empty at its end, and for a byte that is not part of UTF-8.
std::string_view characterAt(std::string_view text, size_t at) {
  if (at >= text.size()) return {};
  const auto first = static_cast<unsigned char>(text[at]);
  const size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  const std::string_view character = text.substr(at, length);
  return text::isValidUtf8(character) ? character : std::string_view();
}

char32_t numberOf(std::string_view character) {
  const std::u16string units = text::utf16FromUtf8(character);
  return units.size() == 1 ? units[0] : 0x10000U + ((units[0] - 0xD800U) << 10U) + (units[1] - 0xDC00U);
}

/// The text with its parts in UTF-8 replaced by their \a form. A byte that is not part of UTF-8 has no case and stays
/// unchanged. It cannot become part of a character, because the form of each part around it is complete UTF-8.
std::string inForm(std::string (*form)(const std::string&), const std::string& text) {
  if (text::isValidUtf8(text)) return form(text);  // nearly always
  std::string result;
  size_t start = 0;
  for (size_t at = 0; at < text.size();) {
    if (const size_t length = characterAt(text, at).size(); length > 0) {
      at += length;
      continue;
    }
    result += form(text.substr(start, at - start)) + text[at];
    start = ++at;
  }
  return result + form(text.substr(start));
}

std::string folded(const std::string& text) { return inForm(foldedUtf8, text); }

/// Whether a Korean letter continues the syllable of \a before (The Unicode Standard, section 3.12): a vowel or final
/// consonant after any other letter of a syllable.
bool continuesSyllable(char32_t before, char32_t letter) {
  const bool isInSyllable = (before >= 0x1100 && before <= 0x11FF) || (before >= 0xA960 && before <= 0xA97C) ||
                            (before >= 0xD7B0 && before <= 0xD7FB);
  return isInSyllable && ((letter >= 0x1160 && letter <= 0x11FF) || (letter >= 0xD7B0 && letter <= 0xD7FB));
}

/// Whether a character of the text ends where its folded form, which begins with \a start, has the length of \a start.
bool endsCharacter(const std::string& text, std::string_view start) {
  size_t folding = 0;
  size_t at = 0;
  while (folding < start.size() && at < text.size()) {
    const size_t length = std::max<size_t>(characterAt(text, at).size(), 1);
    folding += folded(text.substr(at, length)).size();
    at += length;
  }
  if (folding != start.size()) return false;
  const std::string_view next = characterAt(text, at);
  if (next.empty()) return true;
  constexpr size_t kKoreanLetter = 3;  // bytes
  const std::string_view before = characterAt(start, std::max(start.size(), kKoreanLetter) - kKoreanLetter);
  return !isMark(numberOf(next)) &&
         (before.size() != kKoreanLetter || !continuesSyllable(numberOf(before), numberOf(next)));
}

}  // namespace

std::string lowercased(const std::string& text) { return inForm(lowercasedUtf8, text); }

bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix) {
  if (prefix.empty()) return false;
  const std::string start = folded(prefix);
  return folded(text).compare(0, start.size(), start) == 0 && endsCharacter(text, start);
}

bool equalIgnoringCase(const std::string& left, const std::string& right) { return folded(left) == folded(right); }

}  // namespace hotfix::platform
