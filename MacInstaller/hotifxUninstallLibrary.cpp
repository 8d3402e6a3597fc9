#include "MacInstaller/hotifxUninstallLibrary.h"

#include <exception>
#include <optional>
#include <string>

#include "MacInstaller/HotfixUninstall.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "Platform/CaseFolding.h"
#include "Platform/FileManager.h"
#include "Platform/ProcessList.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Support/OptionalString.h"
#include "Support/Progress.h"

namespace hotfix {

using platform::LogLevel;

namespace {

constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kFailure = 1;
constexpr char kAction[] = "HOTFIX_UNINSTALL";
constexpr char kRunningCheck[] = "not running";

OptionalString optionalText(const char* text) { return text != nullptr ? OptionalString(text) : std::nullopt; }

// ----- Why a check failed: for a person who watches only, as the log never says it -----

/// The first refused character of a path that has one, and where it is.
std::string refusedCharacter(const std::string& path) {
  size_t place = 1;  // counted in characters: bytes that go on with one do not count
  for (const char c : path) {
    if (InstallUtil::containUnSupportedCharacters(std::string(1, c))) {
      return "the path " + path + " has the refused character " + c + " at position " + std::to_string(place);
    }
    if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80) ++place;
  }
  return "the path " + path + " has a refused character";
}

std::string runningProcess(const std::string& bundle) {
  const std::string prefix = platform::lowercased(bundle);
  const auto process = platform::findProcess(
      [&prefix](const std::string& executable) { return platform::lowercased(executable).rfind(prefix, 0) == 0; });
  if (!process) return "the platform was running from " + bundle;  // and has ended since
  return "the platform is running: process " + std::to_string(process->id) +
         (process->user.empty() ? "" : " of the user " + process->user) + ", " + process->executable;
}

bool failed(const std::string& reason) {
  progress::fail(reason);
  return false;
}

// ----- The checks -----

/// A check says in the log what it looks at and never why it failed.
///
/// \param[out] instance the service for the instance, made when the checks come to need it.
bool passesChecks(const OptionalString& home, const OptionalString& data, std::optional<InstanceService>& instance) {
  const progress::Step step("Checking the instance");
  if (!progress::checked("home given", home && !home->empty())) return failed("no home folder was given");
  if (!progress::checked("home exists", platform::exists(*home))) return failed("there is no " + *home);

  platform::log(LogLevel::Info, "Check whether the unsupported characters are contained.");
  if (!progress::checked("allowed characters", !InstallUtil::containUnSupportedCharacters(home))) {
    return failed(refusedCharacter(*home));
  }

  platform::log(LogLevel::Info, "Check whether the target platform is installed.");
  instance.emplace(home, data);
  if (!progress::checked("instance installed", instance->hasInstanceInstalled())) {
    return failed("no instance is installed in " + *home + ", as it has no deploy/install.xml");
  }

  platform::log(LogLevel::Info, "Check whether platform is running.");
  const OptionalString bundle = InstallUtil::getBundlePath(home);
  if (!progress::checked("in a bundle", bundle.has_value())) {
    return failed(*home + " lies in no application bundle (NAME.app/Contents/MacOS)");
  }
  if (instance->isHotfixInstallWithSkipRunningCheck()) {
    return progress::checked(kRunningCheck, progress::CheckOutcome::Skipped);
  }
  if (!progress::checked(kRunningCheck, !InstallUtil::checkBundleIsRunning(*bundle))) {
    return failed(progress::isHeard() ? runningProcess(*bundle) : "");
  }
  return true;
}

bool uninstallHotfix(const OptionalString& home, const OptionalString& data, std::optional<InstanceService>& instance) {
  if (!passesChecks(home, data, instance)) return false;
  platform::log(LogLevel::Info, "Remove hotfix.");
  return HotfixUninstall(home, data).uninstallOldHotfix();
}

std::int32_t uninstallAndCollectLogs(const OptionalString& home, const OptionalString& data) {
  platform::log(LogLevel::Info, "RCP Home : %s .", textOrNull(home));
  std::optional<InstanceService> instance;
  const bool isUninstalled = uninstallHotfix(home, data, instance);
  const std::string name = InstallUtil::getTargetNameBy(home);
  // A home that was refused before an instance was looked for has nothing to collect from.
  if (instance) {
    const progress::Step step("Collecting the log files");
    instance->collectLogFiles(name, kAction, platform::kTraceFile);
  }
  return isUninstalled ? kSuccess : kFailure;
}

}  // namespace

}  // namespace hotfix

int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata) {
  try {
    const hotfix::platform::ScopedStandardDescriptors standardDescriptors;
    return hotfix::uninstallAndCollectLogs(hotfix::optionalText(rcphome), hotfix::optionalText(rcpdata));
  } catch (const std::exception&) {  // out of memory; it must not reach a caller in C
    hotfix::progress::fail("there is not enough memory");
    return hotfix::kFailure;
  }
}

int32_t RCPUninstallHotfix(const char* rcphome) { return RCPUninstallHotfixEx(rcphome, nullptr); }
