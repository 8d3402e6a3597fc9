#include "Platform/PropertyList.h"

#include <utility>

#include "Platform/posix/TextConversion.h"
#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"

namespace hotfix::platform {

std::optional<PropertyListValue> parsePropertyList(const std::string& bytes) {
  return property_list::read(bytes, convertedToUtf8);
}

std::optional<PropertyListValue::Dictionary> readDictionary(const std::string& path, std::uint64_t mostBytes) {
  const OptionalString bytes = readFile(path, mostBytes);
  std::optional<PropertyListValue> list = bytes ? parsePropertyList(*bytes) : std::nullopt;
  if (!list || list->asDictionary() == nullptr) return std::nullopt;
  return std::move(*list->asDictionary());
}

bool writeDictionary(const std::string& path, const PropertyListValue::Dictionary& dictionary) {
  const OptionalString list = property_list::toXml(dictionary);
  return list && writeFileAtomically(path, *list);
}

}  // namespace hotfix::platform
