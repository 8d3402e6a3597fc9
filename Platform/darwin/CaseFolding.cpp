#include "Platform/CaseFolding.h"

#include "Platform/darwin/CoreFoundationValue.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

/// A byte that is no part of UTF-8 stands in a string as half a surrogate pair, which has no case: this plus the byte.
constexpr char16_t kStrayByte = 0xDC00;

/// How many bytes a character takes by its first one; 1 also for a byte that begins none.
size_t lengthOfCharacter(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC2) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

std::u16string unitsFrom(const std::string& text) {
  std::u16string units;
  for (size_t at = 0; at < text.size();) {
    const std::string character = text.substr(at, lengthOfCharacter(text[at]));
    if (text::isValidUtf8(character)) {
      units += text::utf16FromUtf8(character);
      at += character.size();
    } else {
      units += static_cast<char16_t>(kStrayByte + static_cast<unsigned char>(text[at]));
      ++at;
    }
  }
  return units;
}

std::string textFrom(const std::u16string& units) {
  std::string text;
  for (size_t at = 0; at < units.size(); ++at) {
    const char16_t unit = units[at];
    const bool isFirstOfPair = unit >= 0xD800 && unit < 0xDC00;
    if (unit >= kStrayByte && unit <= kStrayByte + 0xFF) {
      text += static_cast<char>(unit - kStrayByte);
    } else {
      text += text::utf8FromUtf16(units.substr(at, isFirstOfPair ? 2 : 1));
      if (isFirstOfPair) ++at;
    }
  }
  return text;
}

Scoped<CFMutableStringRef> mutableString(const std::string& text) {
  const std::u16string units = unitsFrom(text);
  const Scoped<CFStringRef> string(CFStringCreateWithCharacters(
      kCFAllocatorDefault, reinterpret_cast<const UniChar*>(units.data()), static_cast<CFIndex>(units.size())));
  return Scoped<CFMutableStringRef>(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, string.get()));
}

std::u16string unitsOf(const Scoped<CFMutableStringRef>& string) {
  const CFIndex length = CFStringGetLength(string.get());
  std::u16string units(static_cast<size_t>(length), u'\0');
  CFStringGetCharacters(string.get(), CFRangeMake(0, length), reinterpret_cast<UniChar*>(units.data()));
  return units;
}

/// What two texts that differ in case only have in common.
std::u16string folded(const std::string& text) {
  const Scoped<CFMutableStringRef> string = mutableString(text);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  CFStringFold(string.get(), kCFCompareCaseInsensitive, nullptr);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  return unitsOf(string);
}

/// Whether an accent, or another mark that belongs to the letter before it, is at this place.
bool isMarkAt(const std::u16string& units, size_t at) {
  const char16_t unit = units[at];
  const bool isPair = unit >= 0xD800 && unit < 0xDC00 && at + 1 < units.size();
  const UTF32Char character =
      isPair ? 0x10000U + ((unit - 0xD800U) << 10U) + (units[at + 1] - 0xDC00U) : UTF32Char{unit};
  return CFCharacterSetIsLongCharacterMember(CFCharacterSetGetPredefined(kCFCharacterSetNonBase), character) != 0;
}

}  // namespace

std::string lowercased(const std::string& text) {
  const Scoped<CFMutableStringRef> string = mutableString(text);
  CFStringLowercase(string.get(), nullptr);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  return textFrom(unitsOf(string));
}

bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix) {
  if (prefix.empty()) return false;
  const std::u16string whole = folded(text);
  const std::u16string start = folded(prefix);
  if (whole.compare(0, start.size(), start) != 0) return false;
  return whole.size() == start.size() || !isMarkAt(whole, start.size());
}

bool equalIgnoringCase(const std::string& left, const std::string& right) { return folded(left) == folded(right); }

}  // namespace hotfix::platform
