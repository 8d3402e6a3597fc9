#include "Platform/posix/TextConversion.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

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

}  // namespace hotfix::platform
