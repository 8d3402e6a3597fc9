#include "Platform/PropertyList.h"

#include "Platform/darwin/CoreFoundationValue.h"
#include "Platform/posix/PropertyListLibrary.h"

namespace hotfix::platform {

namespace {

/// \param keys what the numbers stand for that the list has as its keys; null when they stand for themselves.
std::optional<PropertyListValue> readByCoreFoundation(const std::string& list, const std::vector<std::string>* keys) {
  const Scoped<CFTypeRef> object(CFPropertyListCreateWithData(kCFAllocatorDefault, dataObjectOver(list).get(),
                                                              kCFPropertyListImmutable, nullptr, nullptr));
  return valueFrom(object.get(), keys);
}

OptionalString xmlOf(const Scoped<CFTypeRef>& list) {
  if (!list) return std::nullopt;
  const Scoped<CFDataRef> text(
      CFPropertyListCreateData(kCFAllocatorDefault, list.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!text) return std::nullopt;
  return bytesFrom(text.get());
}

}  // namespace

std::optional<PropertyListValue> readSafeBinaryList(const std::string& bytes) {
  return readByCoreFoundation(bytes, nullptr);
}

std::optional<PropertyListValue> readPlainXmlList(const PlainXmlPropertyList& list) {
  return readByCoreFoundation(list.text, &list.keys);
}

OptionalString xmlPropertyList(const PropertyListValue& value) { return xmlOf(objectFrom(value)); }

OptionalString xmlPropertyList(const PropertyListValue::Dictionary& dictionary) {
  return xmlOf(objectFrom(dictionary));
}

}  // namespace hotfix::platform
