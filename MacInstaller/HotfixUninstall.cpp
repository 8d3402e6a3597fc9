#include "MacInstaller/HotfixUninstall.h"

#include <string>
#include <vector>

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/StringUtil.h"
#include "Platform/ChildProcess.h"
#include "Platform/FileManager.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Support/Path.h"
#include "Support/Progress.h"

namespace hotfix {

using platform::LogLevel;

namespace {

constexpr char kDefaultDataFolder[] = "systemdata";
constexpr char kUninstallManifest[] = "deploy/uninstall.hotfix.xml";
constexpr char kUpdateManifest[] = "install.update.xml";
constexpr char kLauncher[] = "rcplauncher";

// These two speak of the provisioning process although they report a missing manifest, and differ in one word. Both
// are known to those who search for them.
constexpr char kManifestWasNotFound[] =
    "File %s was not found. Provisioning process failed to launch or was terminated before status could be determined.";
constexpr char kManifestNotFound[] =
    "File %s not found. Provisioning process failed to launch or was terminated before status could be determined.";
constexpr char kLaunch[] = "Launch platform to uninstall provisioned features...";
constexpr char kUnexpectedResults[] =
    "Unexpected results have occurred during the provisioning operation. For additional information, please refer to "
    "the "
    "logs.";
constexpr char kCompleted[] = "The provisioning operations have completed successfully.";

}  // namespace

HotfixUninstall::HotfixUninstall(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData) {
  if (!pathToRcphome || !platform::exists(*pathToRcphome)) return;
  _pathToRcpHome = pathToRcphome;
  _pathToRcpData = pathToRcpData ? *pathToRcpData : path::appending(*pathToRcphome, kDefaultDataFolder);
  _instance = std::make_unique<InstanceService>(_pathToRcpHome, _pathToRcpData);
  if (!_instance->pathToRcphome()) _instance.reset();  // gone, or out of reach, since it was looked at
}

HotfixUninstall::~HotfixUninstall() = default;

bool HotfixUninstall::uninstallOldHotfix() {
  if (!_instance) {
    progress::fail("the home folder went away, or cannot be reached any more");
    return false;
  }
  if (!progress::checked("uninstall manifest", copyUninstallManifest())) return false;
  _instance->backupInstallManifest();  // Not a fatal error: an instance without an install manifest has no backup.
  _instance->updateProvisionManifestVersion(InstallUtil::generateNewManifestVersion());
  startProvisioning();
  // Before the outcome is known, and also when it is a failure: on purpose.
  _instance->updateHotfixVersion(std::nullopt);

  if (!progress::checked("platform's result", _instance->getProvisioningResult() == 0)) {
    // The result file stays, for whoever looks into the failure.
    platform::log(LogLevel::Error, "%s", kUnexpectedResults);
    platform::printLine(kUnexpectedResults);
    return false;
  }
  _instance->removeProvisionRCFile();
  platform::printLine(kCompleted);
  {
    const progress::Step step("Forgetting the installer's receipt");
    removeHotfixReceipt();
  }
  {
    const progress::Step step("Repairing the owner of the workspace");
    _instance->updatePermissions(/*treatHome=*/false, _pathToRcpData);
  }
  _instance->removeHotfixSkipRunningCheckProperty();
  _instance->deleteInstalledHotfixBundleID();  // after the receipt, which needs it
  return true;
}

bool HotfixUninstall::copyUninstallManifest() {
  const auto printMissing = [](const std::string& file) {
    platform::printLine(StringUtil::stringByReplacingOccurrencesOfString(kManifestWasNotFound, "%s", file));
  };
  const std::string source = path::appending(_instance->pathToRcphome().value_or(""), kUninstallManifest);
  if (!platform::exists(source)) {
    platform::log(LogLevel::Error, kManifestWasNotFound, source.c_str());
    printMissing(source);
    progress::fail("there is no hotfix to remove, or an earlier run has consumed its manifest, as " + source +
                   " is missing");
    return false;
  }
  // Without an installer root: the manifest of an uninstall names nothing to be installed.
  if (!_instance->copyUpdateManifest(source, std::nullopt)) {
    platform::log(LogLevel::Error, kManifestNotFound, kUpdateManifest);
    printMissing(kUpdateManifest);
    progress::fail("its uninstall manifest could not be copied from " + source);
    return false;
  }
  (void)platform::removeItem(source);  // Not a fatal error: it is consumed by the copy.
  return true;
}

void HotfixUninstall::startProvisioning() {
  _instance->removeProvisionRCFile();
  platform::log(LogLevel::Info, kLaunch);
  const std::string launcher = path::appending(_instance->pathToRcphome().value_or(""), kLauncher);
  const std::vector<std::string> arguments = InstanceService::provisioningArguments("update", _pathToRcpData);
  // Twice and alike, on purpose, whatever became of the first: it is how the platform's launcher is to be driven.
  for (const char* run :
       {"Running the platform to remove the hotfix, 1 of 2", "Running the platform to remove the hotfix, 2 of 2"}) {
    const progress::Step step(run);
    platform::runAndWait(launcher, arguments);
  }
}

void HotfixUninstall::removeHotfixReceipt() { InstallUtil::removeReceipt(_instance->getInstalledHotfixBundleID()); }

}  // namespace hotfix
