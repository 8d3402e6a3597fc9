#ifndef TESTS_MAC_INSTALLER_PROPERTIES_HELPERS_H_
#define TESTS_MAC_INSTALLER_PROPERTIES_HELPERS_H_

#include <map>
#include <string>

#include "MacInstaller/JavaProperties.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"

/// For the tests of properties files and of property lists.
namespace hotfix {

/// All entries of a properties file.
inline std::map<std::string, std::string> entriesOf(const JavaProperties& properties) {
  std::map<std::string, std::string> entries;
  for (const std::string& key : properties.propertyNames()) {
    entries[key] = properties.getPropertyForKey(key).value_or("<none>");
  }
  return entries;
}

inline bool hasHome() { return platform::exists(platform::homeFolder().value_or("")); }

/// The same file by a path that begins with "~".
inline std::string throughHome(const std::string& absolutePath) {
  std::string path = "~";
  for (int level = 0; level < 32; ++level) path += "/..";
  return path + absolutePath;
}

}  // namespace hotfix

#endif
