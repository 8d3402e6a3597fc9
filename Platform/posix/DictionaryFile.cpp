#include "Platform/FileManager.h"
#include "Platform/PropertyList.h"

namespace platform {

std::optional<PropertyListValue::Dictionary> readDictionary(const std::string& path) {
  const OptionalString bytes = readFile(path);
  if (!bytes) return std::nullopt;
  std::optional<PropertyListValue> list = parsePropertyList(*bytes);
  if (!list || list->asDictionary() == nullptr) return std::nullopt;
  return std::move(*list->asDictionary());
}

bool writeDictionary(const std::string& path, const PropertyListValue::Dictionary& dictionary) {
  const OptionalString list = xmlPropertyList(PropertyListValue(dictionary));
  return list && writeFileAtomically(path, *list);
}

}  // namespace platform
