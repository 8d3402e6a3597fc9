// Lays out an instance from templates, installs a hotfix's records in it, and removes the hotfix again.
//
//     layout HOME DATA TEMPLATES
//
// HOME is a new home folder inside an application bundle. TEMPLATES holds what an installer ships: launcher.properties,
// agent.properties, jvm.properties, customization.ini, install.xml, uninstall.hotfix.xml and the launcher rcplauncher.

#include <iostream>
#include <string>

#include "MacInstaller/InstanceService.h"
#include "MacInstaller/hotifxUninstallLibrary.h"

int main(int argc, char* argv[]) {
  if (argc != 4) {
    std::cerr << "Usage: layout HOME DATA TEMPLATES\n";
    return 2;
  }
  const std::string home = argv[1];
  const std::string data = argv[2];
  const std::string templates = std::string(argv[3]) + "/";

  // Making the service makes the home folder.
  InstanceService instance(home, data);
  const bool isLaidOut = instance.generateRcplauncherPropertiesWithTemplate(templates + "launcher.properties", data) &&
                         instance.copyOgsiAgentProperties(templates + "agent.properties") &&
                         instance.generateJVMPropertiesWithTemplate(templates + "jvm.properties") &&
                         instance.mergePluginCustomizationWithRcphome(templates + "customization.ini") &&
                         instance.copyInstallManifest(templates + "install.xml", templates);
  if (!isLaidOut) {
    std::cerr << "The instance could not be laid out; see the system log.\n";
    return 1;
  }
  instance.setInstalledVersion("6.2.1");
  platform::copyItem(templates + "rcplauncher", home + "/rcplauncher");

  // What a hotfix installer leaves behind for its own removal. The platform may run while this hotfix is removed.
  instance.updateHotfixVersion("6.2.1.1");
  instance.saveHotfixBundleID("com.qor.rcp.hotfix");
  instance.saveHotfixSkipRunningCheckProperty(true);
  instance.copyHotfixUninstallManifest(templates + "uninstall.hotfix.xml");
  std::cout << "Hotfix " << instance.getCurrentHotfixVersion().value_or("(none)") << " is installed." << std::endl;

  const int32_t status = RCPUninstallHotfixEx(home.c_str(), data.c_str());
  std::cout << "Hotfix " << instance.getCurrentHotfixVersion().value_or("(none)") << " is installed." << std::endl;
  return status;
}
