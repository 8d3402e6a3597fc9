#include "MacInstaller/hotifxUninstallLibrary.h"

#include <exception>
#include <optional>

#include "MacInstaller/HotfixUninstall.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Support/OptionalString.h"

using platform::LogLevel;

namespace {

constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kFailure = 1;
constexpr char kAction[] = "HOTFIX_UNINSTALL";

OptionalString optionalText(const char* text) { return text != nullptr ? OptionalString(text) : std::nullopt; }

/// Makes the checks and removes the hotfix. A check says what it looks at and never why it failed.
///
/// \param[out] instance the service for the instance, made when the checks come to need it.
bool uninstallHotfix(const OptionalString& home, const OptionalString& data, std::optional<InstanceService>& instance) {
  if (!home || !platform::exists(*home)) return false;

  platform::log(LogLevel::Info, "Check whether the unsupported characters are contained.");
  if (InstallUtil::containUnSupportedCharacters(home)) return false;

  platform::log(LogLevel::Info, "Check whether the target platform is installed.");
  instance.emplace(home, data);
  if (!instance->hasInstanceInstalled()) return false;

  platform::log(LogLevel::Info, "Check whether platform is running.");
  const OptionalString bundle = InstallUtil::getBundlePath(home);
  if (!bundle) return false;
  if (!instance->isHotfixInstallWithSkipRunningCheck() && InstallUtil::checkBundleIsRunning(*bundle)) return false;

  platform::log(LogLevel::Info, "Remove hotfix.");
  return HotfixUninstall(home, data).uninstallOldHotfix();
}

std::int32_t uninstallAndCollectLogs(const OptionalString& home, const OptionalString& data) {
  platform::log(LogLevel::Info, "RCP Home : %s .", textOrNull(home));
  std::optional<InstanceService> instance;
  const bool isUninstalled = uninstallHotfix(home, data, instance);
  const std::string name = InstallUtil::getTargetNameBy(home);
  // A home that was refused before an instance was looked for has nothing to collect from.
  if (instance) instance->collectLogFiles(name, kAction, platform::kTraceFile);
  return isUninstalled ? kSuccess : kFailure;
}

}  // namespace

int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata) {
  try {
    const platform::ScopedStandardDescriptors standardDescriptors;
    return uninstallAndCollectLogs(optionalText(rcphome), optionalText(rcpdata));
  } catch (const std::exception&) {  // out of memory; it must not reach a caller in C
    return kFailure;
  }
}

int32_t RCPUninstallHotfix(const char* rcphome) { return RCPUninstallHotfixEx(rcphome, nullptr); }
