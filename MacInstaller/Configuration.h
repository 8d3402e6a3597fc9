#ifndef MACINSTALLER_CONFIGURATION_H_
#define MACINSTALLER_CONFIGURATION_H_

#include <optional>

#include "MacInstaller/Properties.h"

namespace hotfix {

/// The internal configuration file, "/tmp/com.qor.rcp.platform.internal.configuration": settings that the platform's
/// installer leaves for the tools that it starts. A property list, despite its name.
///
/// Everybody can write to its folder, so the file is used only if it is trusted (see platform::readTrustedFile). A
/// missing file is an empty set of settings. Every object reads the file again.
class Configuration {
 public:
  /// Reads the file. An existing file that is not trusted is treated as missing and logged at level 4. A trusted file
  /// that cannot be read, or contains no dictionary, gives settings that accept no change and are never saved.
  Configuration();

  /// The value of a key, or none.
  std::optional<PropertyListValue> getPropertyValueForKey(const OptionalString& key) const {
    return _internalProperties.getPropertyForKey(key);
  }

  /// The value of a key when it is a text; none otherwise.
  OptionalString getTextForKey(const OptionalString& key) const { return _internalProperties.getTextForKey(key); }

  /// Sets a key in memory (an absent value removes it). Returns the result of Properties::setProperty.
  bool setProperty(const std::optional<PropertyListValue>& value, const OptionalString& forKey) {
    return _internalProperties.setProperty(value, forKey);
  }

  /// The same for a text; a null pointer is an absent value.
  bool setProperty(const char* value, const OptionalString& forKey) {
    return _internalProperties.setProperty(value, forKey);
  }

  /// Writes the settings to the internal configuration file, which is created when missing. A file that is not trusted
  /// at that moment is replaced, and nothing of it is kept. Returns the result of Properties::savePropertiesToFile: a
  /// failed write is not reported. False for a file that could not be read or contained no dictionary.
  bool saveConfiguration() const;

  /// Deletes the file if it exists, without reporting a failure, and empties the settings in memory.
  void cleanupConfiguration();

 private:
  Properties _internalProperties;
};

}  // namespace hotfix

#endif
