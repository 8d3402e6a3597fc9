#include "Platform/CaseFolding.h"

#include "Platform/darwin/CoreFoundationValue.h"
#include "Platform/posix/CharacterEnd.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

/// A string represents a byte that is not part of UTF-8 as half a surrogate pair, which has no case: this value plus
/// the byte.
constexpr char16_t kStrayByte = 0xDC00;

/// The number of bytes of a character, from its first byte; 1 for a byte that begins no character.
size_t lengthOfCharacter(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC2) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

/// The character at a position of a text, or the single byte there that is not part of UTF-8.
std::string characterAt(const std::string& text, size_t at) {
  std::string character = text.substr(at, lengthOfCharacter(text[at]));
  return text::isValidUtf8(character) ? character : text.substr(at, 1);
}

std::u16string unitsFrom(const std::string& text) {
  std::u16string units;
  for (size_t at = 0; at < text.size();) {
    const std::string character = characterAt(text, at);
    if (text::isValidUtf8(character)) {
      units += text::utf16FromUtf8(character);
    } else {
      units += static_cast<char16_t>(kStrayByte + static_cast<unsigned char>(text[at]));
    }
    at += character.size();
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

/// The folded form of a text. Texts that differ only in case have the same folded form.
std::u16string folded(const std::string& text) {
  const Scoped<CFMutableStringRef> string = mutableString(text);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  CFStringFold(string.get(), kCFCompareCaseInsensitive, nullptr);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  return unitsOf(string);
}

/// Whether the character is a mark that belongs to the letter before it, such as an accent.
bool isMark(const std::u16string& character) {
  const char16_t unit = character[0];
  const UTF32Char number =
      character.size() > 1 ? 0x10000U + ((unit - 0xD800U) << 10U) + (character[1] - 0xDC00U) : UTF32Char{unit};
  return CFCharacterSetIsLongCharacterMember(CFCharacterSetGetPredefined(kCFCharacterSetNonBase), number) != 0;
}

/// Whether a character of the text ends after \a foldedLength units of the text's folded form.
bool endsCharacter(const std::string& text, const std::u16string& whole, size_t foldedLength) {
  size_t folding = 0;
  size_t at = 0;
  while (folding < foldedLength && at < text.size()) {
    const std::string character = characterAt(text, at);
    folding += folded(character).size();
    at += character.size();
  }
  if (folding != foldedLength) return false;
  if (at == text.size()) return true;
  const std::u16string next = unitsFrom(characterAt(text, at));
  return !isMark(next) && !continuesSyllable(whole[foldedLength - 1], next[0]);
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
  return endsCharacter(text, whole, start.size());
}

bool equalIgnoringCase(const std::string& left, const std::string& right) { return folded(left) == folded(right); }

}  // namespace hotfix::platform
