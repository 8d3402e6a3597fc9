#include "Platform/CaseFolding.h"

#include <utf8proc.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "Support/OptionalString.h"

namespace platform {

namespace {

using Characters = std::vector<utf8proc_int32_t>;

/// The characters of a text in canonical decomposition, or none when it is no UTF-8.
std::optional<Characters> decomposed(const std::string& text, int moreOptions) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto size = static_cast<utf8proc_ssize_t>(text.size());
  const auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE | moreOptions);
  Characters characters(text.size() + 1);
  utf8proc_ssize_t count =
      utf8proc_decompose(bytes, size, characters.data(), static_cast<utf8proc_ssize_t>(characters.size()), options);
  if (count > static_cast<utf8proc_ssize_t>(characters.size())) {
    characters.resize(static_cast<size_t>(count));
    count = utf8proc_decompose(bytes, size, characters.data(), count, options);
  }
  if (count < 0) return std::nullopt;
  characters.resize(static_cast<size_t>(count));
  return characters;
}

std::string utf8(const Characters& characters) {
  std::string result;
  for (const utf8proc_int32_t character : characters) {
    utf8proc_uint8_t bytes[4];
    const utf8proc_ssize_t length = utf8proc_encode_char(character, bytes);
    result.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
  }
  return result;
}

std::string asciiLowercased(const std::string& text) {
  std::string result = text;
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
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

/// What two texts that differ in case only have in common.
Characters folded(const std::string& text) {
  std::optional<Characters> characters = decomposed(text, UTF8PROC_CASEFOLD);
  if (characters) return *characters;
  const std::string lower = asciiLowercased(text);
  return Characters(lower.begin(), lower.end());
}

}  // namespace

std::string lowercased(const std::string& text) {
  constexpr utf8proc_int32_t kSigma = 0x3A3;
  constexpr utf8proc_int32_t kFinalSigma = 0x3C2;
  const std::optional<Characters> characters = decomposed(text, 0);
  if (!characters) return asciiLowercased(text);
  Characters lower = *characters;
  for (size_t index = 0; index < lower.size(); ++index) {
    const utf8proc_int32_t character = (*characters)[index];
    lower[index] = character == kSigma && isFinalSigma(*characters, index) ? kFinalSigma : utf8proc_tolower(character);
  }
  return utf8(lower);
}

bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix) {
  if (prefix.empty()) return false;
  const Characters whole = folded(text);
  const Characters start = folded(prefix);
  if (start.size() > whole.size() || !std::equal(start.begin(), start.end(), whole.begin())) return false;
  return start.size() == whole.size() || !isMark(whole[start.size()]);
}

bool equalIgnoringCase(const std::string& left, const std::string& right) { return folded(left) == folded(right); }

}  // namespace platform
