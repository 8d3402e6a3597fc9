// Lays out an instance from templates, installs a hotfix's records in it, and removes the hotfix again.
//
//     layout HOME DATA TEMPLATES
//
// HOME is a new home folder inside an application bundle, DATA its workspace. TEMPLATES contains the files of an
// installer: launcher.properties, agent.properties, jvm.properties, defaults.ini, site.ini, install.xml,
// uninstall.hotfix.xml and the launcher rcplauncher.

#include <cstdint>
#include <iostream>
#include <string>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "hotifxUninstallLibrary.h"

namespace {

/// If several templates have a value for the same preference, the last merged template wins. The JVM's properties come
/// before the manifest, because they create the folder `deploy` that the manifest needs.
bool layOut(hotfix::InstanceService& instance, const std::string& data, const std::string& templates) {
  return instance.generateRcplauncherPropertiesWithTemplate(templates + "/launcher.properties", data) &&
         instance.copyOgsiAgentProperties(templates + "/agent.properties") &&
         instance.generateJVMPropertiesWithTemplate(templates + "/jvm.properties") &&
         instance.mergePluginCustomizationWithRcphome(templates + "/defaults.ini") &&
         instance.mergePluginCustomizationWithRcphome(templates + "/site.ini") &&
         instance.copyInstallManifest(templates + "/install.xml", templates) &&
         hotfix::platform::copyItem(templates + "/rcplauncher", *instance.pathToRcphome() + "/rcplauncher");
}

/// The records that a hotfix's installer leaves for its removal. This hotfix may be removed while the platform runs.
bool recordHotfix(hotfix::InstanceService& instance, const std::string& templates) {
  instance.updateHotfixVersion("6.2.1.1");
  instance.saveHotfixBundleID("com.qor.rcp.hotfix");
  instance.saveHotfixSkipRunningCheckProperty(true);
  return instance.copyHotfixUninstallManifest(templates + "/uninstall.hotfix.xml");
}

void printHotfix(const hotfix::InstanceService& instance) {
  std::cout << "Installed hotfix: " << instance.getCurrentHotfixVersion().value_or("none") << std::endl;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 4) {
    std::cerr << "Usage: layout HOME DATA TEMPLATES\n";
    return 2;
  }
  const std::string home = argv[1], data = argv[2], templates = argv[3];

  hotfix::InstanceService instance(home, data);  // creates the home folder
  if (!layOut(instance, data, templates)) {
    std::cerr << "The instance could not be laid out; see the system log.\n";
    return 1;
  }
  instance.setInstalledVersion("6.2.1");

  if (!recordHotfix(instance, templates)) {
    std::cerr << "The hotfix could not be recorded.\n";
    return 1;
  }
  printHotfix(instance);
  const std::int32_t status = RCPUninstallHotfixEx(home.c_str(), data.c_str());
  printHotfix(instance);
  return status;
}
