#include "MacInstaller/Configuration.h"

#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"

namespace hotfix {

using platform::kInternalConfigurationFile;
using platform::onDisk;

Configuration::Configuration() {
  bool isDistrusted = false;
  const OptionalString contents = platform::readTrustedFile(onDisk(kInternalConfigurationFile), &isDistrusted);
  if (contents) {
    _internalProperties = Properties(onDisk(kInternalConfigurationFile), *contents);
  } else if (isDistrusted) {
    platform::log(platform::LogLevel::Warning,
                  "Ignored %s: it is not a file of root or of this user that only its owner can write.",
                  kInternalConfigurationFile);
  }
}

std::optional<PropertyListValue> Configuration::getPropertyValueForKey(const OptionalString& key) const {
  return _internalProperties.getPropertyForKey(key);
}

bool Configuration::setProperty(const std::optional<PropertyListValue>& value, const OptionalString& forKey) {
  return _internalProperties.setProperty(value, forKey);
}

bool Configuration::saveConfiguration() const {
  return _internalProperties.savePropertiesToTrustedFile(onDisk(kInternalConfigurationFile));
}
bool Configuration::setProperty(const char* value, const OptionalString& forKey) {
  return _internalProperties.setProperty(value, forKey);
}


void Configuration::cleanupConfiguration() {
  const std::string file = onDisk(kInternalConfigurationFile);
  if (platform::exists(file)) (void)platform::removeItem(file);
  _internalProperties.removeAllProperties();
}

}  // namespace hotfix
