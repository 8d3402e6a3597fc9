#include "MacInstaller/Properties.h"

#include <utility>

#include "MacInstaller/UnreadFile.h"
#include "Platform/FileManager.h"
#include "Platform/PropertyList.h"
#include "Platform/UserIdentity.h"
#include "Support/PropertyListWriter.h"

namespace hotfix {

Properties::Properties(const OptionalString& file) {
  const OptionalString path = file ? OptionalString(platform::expandingTilde(*file)) : std::nullopt;
  if (!path || platform::isKnownMissing(*path)) return;  // deliberately inert: see the class
  _file = path;
  parse(platform::readFile(*path));
}

Properties::Properties(const std::string& file, const OptionalString& contents)
    : _file(platform::expandingTilde(file)) {
  parse(contents);
}

void Properties::parse(const OptionalString& contents) {
  if (!contents) return;
  std::optional<PropertyListValue> list = platform::parsePropertyList(*contents);
  if (list && list->asDictionary() != nullptr) _dict = std::move(*list->asDictionary());
}

std::optional<PropertyListValue> Properties::getPropertyForKey(const OptionalString& key) const {
  if (!_dict || !key) return std::nullopt;
  const auto entry = _dict->find(*key);
  if (entry == _dict->end()) return std::nullopt;
  return entry->second;
}

OptionalString Properties::getTextForKey(const OptionalString& key) const {
  const std::optional<PropertyListValue> value = getPropertyForKey(key);
  const std::string* text = value ? value->asString() : nullptr;
  return text != nullptr ? OptionalString(*text) : std::nullopt;
}

bool Properties::setProperty(const std::optional<PropertyListValue>& value, const OptionalString& forKey) {
  if (!_dict || !forKey) return false;
  if (value) {
    (*_dict)[*forKey] = *value;
  } else {
    _dict->erase(*forKey);
  }
  return true;
}

bool Properties::setProperty(const char* value, const OptionalString& forKey) {
  return setProperty(value != nullptr ? std::optional<PropertyListValue>(value) : std::nullopt, forKey);
}

void Properties::removePropertyForKey(const OptionalString& key) {
  if (_dict && key) _dict->erase(*key);
}

void Properties::removeAllProperties() {
  if (_dict) _dict->clear();
}

bool Properties::savePropertiesToFile(const OptionalString& path) const {
  const OptionalString target = path ? OptionalString(platform::expandingTilde(*path)) : _file;
  // A failed write is deliberately not reported.
  if (_dict && target && !unread_file::isAt(*target)) (void)platform::writeDictionary(*target, *_dict);
  return _dict.has_value();
}

bool Properties::savePropertiesToTrustedFile(const std::string& path) const {
  bool isDistrusted = false;
  // An untrusted file is replaced, whether it can be read or not.
  if (_dict && (platform::readTrustedFile(path, &isDistrusted) || isDistrusted || platform::isKnownMissing(path))) {
    if (const OptionalString list = property_list::toXml(*_dict)) (void)platform::writeTrustedFile(path, *list);
  }
  return _dict.has_value();
}

}  // namespace hotfix
