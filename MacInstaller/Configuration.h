#ifndef MACINSTALLER_CONFIGURATION_H_
#define MACINSTALLER_CONFIGURATION_H_

#include <optional>

#include "MacInstaller/Properties.h"

namespace hotfix {

/// The internal configuration file, "/tmp/com.qor.rcp.platform.internal.configuration": settings that the platform's
/// installer leaves for the tools that it starts. A property list, in spite of its name.
///
/// The file lies where everybody can write, so it counts only when it can be trusted (see platform::readTrustedFile).
/// A missing file is an empty set of settings. Every object reads the file anew.
class Configuration {
 public:
  /// Reads the file. One that is there but cannot be trusted counts as missing, with one line at level 4. One that is
  /// trusted but cannot be read, or holds no dictionary, gives settings that take no change and are never saved.
  Configuration();

  /// The value of a key, or none.
  std::optional<PropertyListValue> getPropertyValueForKey(const OptionalString& key) const;

  /// Sets a key in memory (an absent value removes it). The answer is that of Properties::setProperty.
  bool setProperty(const std::optional<PropertyListValue>& value, const OptionalString& forKey);

  /// The same for a text; a null pointer is an absent value.
  bool setProperty(const char* value, const OptionalString& forKey);

  /// Writes the settings to the internal configuration file, which is created when missing. One that cannot be trusted
  /// at that moment is replaced, with nothing taken over from it. The answer is that of
  /// Properties::savePropertiesToFile: a failed write is not told. False for a file that could not be read or held no
  /// dictionary.
  bool saveConfiguration() const;

  /// Deletes the file when it exists (whether that works is not told) and empties the settings in memory.
  void cleanupConfiguration();

 private:
  Properties _internalProperties;
};

}  // namespace hotfix

#endif
