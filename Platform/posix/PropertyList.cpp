#include "Platform/PropertyList.h"

#include <utility>

#include "Platform/UserDefaults.h"
#include "Platform/posix/SystemTexts.h"
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

// ----- Settings -----

namespace {

/// The rule for a text: blanks, then the first letter of "yes" or "true", or a number that is not zero.
bool isTrueText(const std::string& text) {
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return false;
  if (std::string("YyTt").find(text[at]) != std::string::npos) return true;
  if (text[at] == '+' || text[at] == '-') ++at;
  at = text.find_first_not_of('0', at);
  return at != std::string::npos && text[at] >= '1' && text[at] <= '9';
}

}  // namespace

bool booleanValue(const std::optional<PropertyListValue>& value) {
  if (!value) return false;
  if (const bool* boolean = value->asBoolean()) return *boolean;
  if (const PropertyListValue::Integer* integer = value->asInteger()) return integer->bits != 0;
  if (const double* real = value->asReal()) return *real != 0;
  if (const std::string* text = value->asString()) return isTrueText(*text);
  return false;
}

}  // namespace hotfix::platform
