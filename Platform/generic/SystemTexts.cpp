#include "Platform/posix/SystemTexts.h"

#include <iconv.h>
#include <utf8proc.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

using Characters = std::vector<utf8proc_int32_t>;

Characters decomposed(const std::string& text, int moreOptions) {
  const auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE | moreOptions);
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto size = static_cast<utf8proc_ssize_t>(text.size());
  const utf8proc_ssize_t count = utf8proc_decompose(bytes, size, nullptr, 0, options);
  Characters characters(count > 0 ? static_cast<size_t>(count) : 0);
  if (count > 0) utf8proc_decompose(bytes, size, characters.data(), count, options);
  return characters;
}

std::string utf8(const Characters& characters) {
  std::string text;
  for (const utf8proc_int32_t character : characters) text::appendUtf8(static_cast<char32_t>(character), text);
  return text;
}

bool isLetter(utf8proc_int32_t character) {
  const utf8proc_category_t category = utf8proc_category(character);
  return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO;
}

/// Whether the sigma at \a index ends a word (The Unicode Standard, section 3.13, "Final_Sigma").
bool isFinalSigma(const Characters& characters, size_t index) {
  const auto isMarkAt = [&characters](size_t at) { return isMark(static_cast<char32_t>(characters[at])); };
  size_t before = index;
  while (before > 0 && isMarkAt(before - 1)) --before;
  size_t after = index + 1;
  while (after < characters.size() && isMarkAt(after)) ++after;
  return before > 0 && isLetter(characters[before - 1]) && (after == characters.size() || !isLetter(characters[after]));
}

}  // namespace

OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding) {
  if (encoding.find('/') != std::string::npos) return std::nullopt;  // would make iconv guess
  const iconv_t conversion = iconv_open("UTF-8", encoding.c_str());
  if (conversion == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  const auto close = [](void* opened) { iconv_close(static_cast<iconv_t>(opened)); };
  const std::unique_ptr<void, decltype(close)> owner(conversion, close);

  std::string utf8;
  char* input = const_cast<char*>(bytes.data());  // iconv does not write to it
  size_t inputLeft = bytes.size();
  bool isFlushed = false;
  while (!isFlushed) {
    char chunk[16384];
    char* output = chunk;
    size_t outputLeft = sizeof chunk;
    isFlushed = inputLeft == 0;  // a last call, without input, ends a sequence of shifts
    const size_t result = iconv(conversion, isFlushed ? nullptr : &input, &inputLeft, &output, &outputLeft);
    if (result == static_cast<size_t>(-1) && errno != E2BIG) return std::nullopt;
    utf8.append(chunk, sizeof chunk - outputLeft);
  }
  return utf8;
}

std::string lowercasedUtf8(const std::string& text) {
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

std::string foldedUtf8(const std::string& text) { return utf8(decomposed(text, UTF8PROC_CASEFOLD)); }

bool isMark(char32_t character) {
  const utf8proc_category_t category = utf8proc_category(static_cast<utf8proc_int32_t>(character));
  return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC || category == UTF8PROC_CATEGORY_ME;
}

}  // namespace hotfix::platform
