#include "Platform/posix/SystemTexts.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

namespace {

Scoped<CFMutableStringRef> mutableString(const std::string& text) {
  return Scoped<CFMutableStringRef>(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, stringObject(text).get()));
}

std::string decomposed(const Scoped<CFMutableStringRef>& string) {
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  return utf8From(string.get());
}

}  // namespace

OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding) {
  const Scoped<CFStringRef> name = stringObject(encoding);
  if (!name) return std::nullopt;
  const CFStringEncoding number = CFStringConvertIANACharSetNameToEncoding(name.get());
  if (number == kCFStringEncodingInvalidId) return std::nullopt;
  const Scoped<CFStringRef> text(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()), number,
      /*isExternalRepresentation=*/0));
  if (!text) return std::nullopt;
  return utf8From(text.get());
}

std::string lowercasedUtf8(const std::string& text) {
  const Scoped<CFMutableStringRef> string = mutableString(text);
  CFStringLowercase(string.get(), nullptr);
  return decomposed(string);
}

std::string foldedUtf8(const std::string& text) {
  const Scoped<CFMutableStringRef> string = mutableString(text);
  CFStringNormalize(string.get(), kCFStringNormalizationFormD);
  CFStringFold(string.get(), kCFCompareCaseInsensitive, nullptr);
  return decomposed(string);
}

bool isMark(char32_t character) {
  return CFCharacterSetIsLongCharacterMember(CFCharacterSetGetPredefined(kCFCharacterSetNonBase), character) != 0;
}

}  // namespace hotfix::platform
