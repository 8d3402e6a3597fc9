#include "Platform/PropertyList.h"

#include <new>

#include "Platform/darwin/CoreFoundationValue.h"
#include "Platform/darwin/TextNesting.h"

namespace platform {

std::optional<PropertyListValue> parsePropertyList(const std::string& bytes) try {
  // Of a binary list CoreFoundation itself refuses cycles and too deep a nesting.
  const bool isBinary = bytes.compare(0, 7, "bplist0") == 0;
  if (bytes.empty() || (!isBinary && !isShallowPropertyListText(bytes))) return std::nullopt;
  const Scoped<CFTypeRef> list(CFPropertyListCreateWithData(kCFAllocatorDefault, dataObjectOver(bytes).get(),
                                                            kCFPropertyListImmutable, nullptr, nullptr));
  return valueFrom(list.get(), bytes.size());
} catch (const std::bad_alloc&) {
  return std::nullopt;  // more than this machine can hold
}

OptionalString xmlPropertyList(const PropertyListValue& value) {
  const Scoped<CFTypeRef> list = objectFrom(value);
  if (!list) return std::nullopt;
  const Scoped<CFDataRef> text(
      CFPropertyListCreateData(kCFAllocatorDefault, list.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!text) return std::nullopt;
  return bytesFrom(text.get());
}

}  // namespace platform
