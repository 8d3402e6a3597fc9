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
    _internalProperties = Properties(onDisk(kInternalConfigurationFile), contents);
  } else if (isDistrusted) {
    platform::log(
        platform::LogLevel::Warning,
        "Ignored %s: it counts only as a plain file with one name that root or this user owns, that cannot be "
        "executed and that not everybody can write to.",
        kInternalConfigurationFile);
  } else if (!platform::isKnownMissing(onDisk(kInternalConfigurationFile))) {
    _internalProperties = Properties(onDisk(kInternalConfigurationFile), std::nullopt);
  }
}

bool Configuration::saveConfiguration() const {
  return _internalProperties.savePropertiesToTrustedFile(onDisk(kInternalConfigurationFile));
}

void Configuration::cleanupConfiguration() {
  const std::string file = onDisk(kInternalConfigurationFile);
  if (platform::exists(file)) (void)platform::removeItem(file);
  _internalProperties.removeAllProperties();
}

}  // namespace hotfix
