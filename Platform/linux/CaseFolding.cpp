#include "Platform/CaseFolding.h"

#include <utf8proc.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "Platform/posix/CharacterEnd.h"

namespace hotfix::platform {

namespace {

using Characters = std::vector<utf8proc_int32_t>;

/// Represents a byte that is not part of well-formed UTF-8: greater than all characters, so that it has no case.
constexpr utf8proc_int32_t kStrayByte = 0x110000;

void appendDecomposed(std::string_view utf8, utf8proc_option_t options, Characters& characters) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(utf8.data());
  const auto size = static_cast<utf8proc_ssize_t>(utf8.size());
  const utf8proc_ssize_t count = utf8proc_decompose(bytes, size, nullptr, 0, options);
  if (count <= 0) return;
  const size_t before = characters.size();
  characters.resize(before + static_cast<size_t>(count));
  utf8proc_decompose(bytes, size, &characters[before], count, options);
}

/// The number of bytes of the character at a place of a text; none if they are not UTF-8.
size_t lengthOfCharacterAt(const std::string& text, size_t at, utf8proc_int32_t& character) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const utf8proc_ssize_t length =
      utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &character);
  return length > 0 ? static_cast<size_t>(length) : 0;
}

/// The characters of a text in canonical decomposition; bytes that are not UTF-8 stay unchanged.
Characters decomposed(const std::string& text, int moreOptions) {
  const auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE | moreOptions);
  Characters characters;
  size_t start = 0;
  for (size_t at = 0; at < text.size();) {
    utf8proc_int32_t character = 0;
    if (const size_t length = lengthOfCharacterAt(text, at, character); length > 0) {
      at += length;
      continue;
    }
    appendDecomposed(std::string_view(text).substr(start, at - start), options, characters);
    characters.push_back(kStrayByte + static_cast<unsigned char>(text[at]));
    start = ++at;
  }
  appendDecomposed(std::string_view(text).substr(start), options, characters);
  return characters;
}

std::string utf8(const Characters& characters) {
  std::string result;
  for (const utf8proc_int32_t character : characters) {
    if (character >= kStrayByte) {
      result += static_cast<char>(character - kStrayByte);
      continue;
    }
    utf8proc_uint8_t bytes[4];
    const utf8proc_ssize_t length = utf8proc_encode_char(character, bytes);
    result.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
  }
  return result;
}

bool isMark(utf8proc_int32_t character) {
  const utf8proc_category_t category = utf8proc_category(character);
  return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC || category == UTF8PROC_CATEGORY_ME;
}

bool isLetter(utf8proc_int32_t character) {
  const utf8proc_category_t category = utf8proc_category(character);
  return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO;
}

/// Whether the sigma at \a index ends a word (The Unicode Standard, section 3.13, "Final_Sigma").
bool isFinalSigma(const Characters& characters, size_t index) {
  size_t before = index;
  while (before > 0 && isMark(characters[before - 1])) --before;
  size_t after = index + 1;
  while (after < characters.size() && isMark(characters[after])) ++after;
  return before > 0 && isLetter(characters[before - 1]) && (after == characters.size() || !isLetter(characters[after]));
}

/// The common form of two texts that differ only in case.
Characters folded(const std::string& text) { return decomposed(text, UTF8PROC_CASEFOLD); }

/// Whether a character of the text ends where its folded form has so many characters.
bool endsCharacter(const std::string& text, const Characters& whole, size_t foldedLength) {
  size_t folding = 0;
  size_t at = 0;
  utf8proc_int32_t character = 0;
  while (folding < foldedLength) {
    const size_t length = std::max<size_t>(lengthOfCharacterAt(text, at, character), 1);
    folding += folded(text.substr(at, length)).size();
    at += length;
  }
  if (folding > foldedLength) return false;
  if (lengthOfCharacterAt(text, at, character) == 0) return true;  // the text's end, or a stray byte
  return !isMark(character) &&
         !continuesSyllable(static_cast<char32_t>(whole[foldedLength - 1]), static_cast<char32_t>(character));
}

}  // namespace

std::string lowercased(const std::string& text) {
  constexpr utf8proc_int32_t kSigma = 0x3A3;
  constexpr utf8proc_int32_t kFinalSigma = 0x3C2;
  const Characters characters = decomposed(text, 0);
  Characters lower = characters;
  for (size_t index = 0; index < lower.size(); ++index) {
    const utf8proc_int32_t character = characters[index];
    lower[index] = character == kSigma && isFinalSigma(characters, index) ? kFinalSigma : utf8proc_tolower(character);
  }
  return utf8(lower);
}

bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix) {
  if (prefix.empty()) return false;
  const Characters whole = folded(text);
  const Characters start = folded(prefix);
  if (start.size() > whole.size() || !std::equal(start.begin(), start.end(), whole.begin())) return false;
  return endsCharacter(text, whole, start.size());
}

bool equalIgnoringCase(const std::string& left, const std::string& right) { return folded(left) == folded(right); }

}  // namespace hotfix::platform
