#include "MacInstaller/HotfixUninstall.h"

#include <string>
#include <vector>

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceFiles.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/Reasons.h"
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
constexpr char kLauncher[] = "rcplauncher";

// Both mention the provisioning process although they report a missing manifest, and they differ in one word. Users
// search for both texts.
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
  if (!_instance->pathToRcphome()) _instance.reset();  // missing or inaccessible since the check
}

HotfixUninstall::~HotfixUninstall() = default;

bool HotfixUninstall::uninstallOldHotfix() {
  if (!_instance) {
    _failure = "the home folder went away, or cannot be reached any more";
    return false;
  }
  if (!progress::checked("uninstall manifest", copyUninstallManifest())) return false;
  _instance->backupInstallManifest();  // Not a fatal error: an instance without an install manifest has no backup.
  _instance->updateProvisionManifestVersion(InstallUtil::generateNewManifestVersion());
  startProvisioning();
  // Deliberately before the outcome is known, and even if it is a failure.
  _instance->updateHotfixVersion(std::nullopt);

  const OptionalString failure = _instance->provisioningFailure();
  if (!progress::checked("platform's result", !failure)) {
    if (_failure.empty()) _failure = *failure;
    // The result file is kept for the investigation of the failure.
    platform::log(LogLevel::Error, "%s", kUnexpectedResults);
    platform::printLine(kUnexpectedResults);
    return false;
  }
  _failure.clear();  // there is a result, even if the launcher could not be started once
  _instance->removeProvisionRCFile();
  platform::printLine(kCompleted);
  progress::run("Forgetting the installer's receipt", [this] { return removeHotfixReceipt(); });
  progress::run("Repairing the owner of the workspace",
                [this] { return repairResult(_instance->updatePermissions(/*treatHome=*/false, _pathToRcpData)); });
  _instance->removeHotfixSkipRunningCheckProperty();
  _instance->deleteInstalledHotfixBundleID();  // after the receipt, which needs it
  progress::hotfixRemoved();
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
    _failure = absenceReason(source, "there is no hotfix to remove, or an earlier run has consumed its manifest, as " +
                                         source + " is missing");
    return false;
  }
  // Without an installer root: the manifest of an uninstall does not name anything to install.
  platform::FileError error;
  if (!_instance->copyUpdateManifest(source, std::nullopt, &error)) {
    platform::log(LogLevel::Error, kManifestNotFound, kUpdateManifest);
    printMissing(kUpdateManifest);
    _failure = "the uninstall manifest could not be copied from " + source + ": " + systemReason(error);
    return false;
  }
  (void)platform::removeItem(source);  // Not a fatal error: the copy consumes it.
  return true;
}

void HotfixUninstall::startProvisioning() {
  _instance->removeProvisionRCFile();
  platform::log(LogLevel::Info, kLaunch);
  const std::string launcher = path::appending(_instance->pathToRcphome().value_or(""), kLauncher);
  const std::vector<std::string> arguments = InstanceService::provisioningArguments("update", _pathToRcpData);
  // Deliberately twice: the launcher's protocol requires it.
  for (const char* run :
       {"Running the platform to remove the hotfix, 1 of 2", "Running the platform to remove the hotfix, 2 of 2"}) {
    progress::run(run, [&] {
      const OptionalString error = platform::runAndWait(launcher, arguments);
      _failure = error ? launchReason(launcher, *error) : "";  // the last launch leaves the result
      return launchResult(launcher, error);
    });
  }
}

StepResult HotfixUninstall::removeHotfixReceipt() {
  return InstallUtil::removeReceipt(_instance->getInstalledHotfixBundleID());
}

}  // namespace hotfix
