#include "MacInstaller/Properties.h"

#include <utility>

#include "MacInstaller/UnreadFile.h"
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
  const PropertyListValue* value = _dict && key ? valueFor(*_dict, *key) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

OptionalString Properties::getTextForKey(const OptionalString& key) const {
  return _dict && key ? textFor(*_dict, *key) : std::nullopt;
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
