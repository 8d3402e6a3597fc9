#include "Platform/darwin/CoreFoundationValue.h"

#include "Platform/PropertyList.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

static_assert(sizeof(UniChar) == sizeof(char16_t));

// Texts are converted through UTF-16, because CoreFoundation's own conversions stop at half a surrogate pair and lose a
// leading U+FEFF.

Scoped<CFStringRef> stringObject(const std::string& utf8) {
  if (!text::isValidUtf8(utf8)) return nullptr;
  const std::u16string units = text::utf16FromUtf8(utf8);
  return Scoped<CFStringRef>(CFStringCreateWithCharacters(
      kCFAllocatorDefault, reinterpret_cast<const UniChar*>(units.data()), static_cast<CFIndex>(units.size())));
}

std::string utf8From(CFStringRef string) {
  const CFIndex length = CFStringGetLength(string);
  std::u16string units(static_cast<size_t>(length), u'\0');
  CFStringGetCharacters(string, CFRangeMake(0, length), reinterpret_cast<UniChar*>(units.data()));
  return text::utf8FromUtf16(units);
}

OptionalString textFrom(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return std::nullopt;
  return utf8From(static_cast<CFStringRef>(object));
}

std::string bytesFrom(CFDataRef data) {
  const auto size = static_cast<size_t>(CFDataGetLength(data));
  return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), size);
}

std::optional<PropertyListValue> valueFrom(CFTypeRef object, std::uint64_t mostBytes) {
  if (object == nullptr) return std::nullopt;
  const Scoped<CFDataRef> list(
      CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  if (!list || static_cast<std::uint64_t>(CFDataGetLength(list.get())) > mostBytes) return std::nullopt;
  return parsePropertyList(bytesFrom(list.get()));
}

}  // namespace hotfix::platform
