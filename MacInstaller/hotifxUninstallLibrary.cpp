#include "MacInstaller/hotifxUninstallLibrary.h"

#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "MacInstaller/HotfixUninstall.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/Reasons.h"
#include "Platform/FileManager.h"
#include "Platform/ProcessList.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Support/OptionalString.h"
#include "Support/Path.h"
#include "Support/Progress.h"

namespace hotfix {

using platform::LogLevel;

namespace {

constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kFailure = 1;
constexpr char kAction[] = "HOTFIX_UNINSTALL";
constexpr char kRunningCheck[] = "not running";

/// Why this thread's last call failed; empty after a success.
thread_local std::string lastReason;

/// Serialises the calls, because they switch the effective user of the process. It outlives threads that still run when
/// the process ends.
std::mutex& callMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

// ----- Why a check failed: the log says only what is checked -----

/// The sentence with the first refused character of a path and its position. The path must have one.
std::string refusedCharacter(const std::string& path) {
  size_t place = 1;  // in characters: continuation bytes are not counted
  std::string refused;
  for (const char c : path) {
    refused = std::string(1, c);
    if (InstallUtil::containUnSupportedCharacters(refused)) break;
    if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80) ++place;
  }
  return "the path " + path + " has the refused character " + refused + " at position " + std::to_string(place);
}

std::string runningProcess(const std::string& program) {
  const auto process =
      platform::findProcess([&program](const std::string& executable) { return executable == program; });
  std::string who;  // empty if it has ended since
  if (process) {
    who = "process " + std::to_string(process->id) + (process->user.empty() ? "" : " of the user " + process->user) +
          ", ";
  }
  return "the platform is running: " + who + program;
}

// ----- The checks -----
// They log the checks but never the reason of a failure. Each returns that reason, or none when all its checks passed.

OptionalString failureOfHome(const OptionalString& home) {
  using progress::checked;
  if (!checked("home given", home && !home->empty())) return "no home folder was given";
  if (!checked("home exists", platform::exists(*home))) return absenceReason(*home, "there is no " + *home);

  platform::log(LogLevel::Info, "Check whether the unsupported characters are contained.");
  if (!checked("allowed characters", !InstallUtil::containUnSupportedCharacters(home))) return refusedCharacter(*home);
  return std::nullopt;
}

OptionalString failureOfInstance(const InstanceService& instance, const std::string& home) {
  using progress::checked;
  if (!checked("instance installed", instance.hasInstanceInstalled())) {
    return absenceReason(path::appending(home, "deploy/install.xml"),
                         "no instance is installed in " + home + ", as it has no deploy/install.xml");
  }

  platform::log(LogLevel::Info, "Check whether platform is running.");
  const OptionalString bundle = InstallUtil::getBundlePath(home);
  if (!checked("in a bundle", bundle.has_value())) {
    return home + " is not inside an application bundle (NAME.app/Contents/MacOS)";
  }
  if (instance.isHotfixInstallWithSkipRunningCheck()) {
    (void)checked(kRunningCheck, progress::CheckOutcome::Skipped);
    return std::nullopt;
  }
  std::string program;
  if (!checked(kRunningCheck, !InstallUtil::checkBundleIsRunning(*bundle, &program))) return runningProcess(program);
  return std::nullopt;
}

OptionalString failureOfUninstall(const OptionalString& home, const OptionalString& data) {
  platform::log(LogLevel::Info, "Remove hotfix.");
  HotfixUninstall uninstall(home, data);
  return uninstall.uninstallOldHotfix() ? std::nullopt : OptionalString(uninstall.failure());
}

/// \return why the hotfix was not removed; none when it was.
OptionalString uninstallAndCollectLogs(const OptionalString& home, const OptionalString& data) {
  platform::log(LogLevel::Info, "RCP Home : %s .", textOrNull(home));
  OptionalString failure;
  std::optional<InstanceService> instance;
  {
    progress::Step step("Checking the instance");
    failure = failureOfHome(home);
    if (!failure) {
      platform::log(LogLevel::Info, "Check whether the target platform is installed.");
      instance.emplace(home, data);
      failure = failureOfInstance(*instance, *home);
    }
    if (!failure) step.end();
  }
  if (!failure) failure = failureOfUninstall(home, data);
  const std::string name = InstallUtil::getTargetNameBy(home);
  // If the home was refused before the check for an instance, there is nothing to collect.
  if (instance) {
    progress::run("Collecting the log files",
                  [&] { return instance->collectLogFiles(name, kAction, platform::kTraceFile); });
  }
  return failure;
}

/// The length of the part of a text that fits into so many bytes and ends with a whole character.
size_t wholeCharacters(const std::string& text, size_t size) {
  if (text.size() <= size) return text.size();
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) --size;
  return size;
}

}  // namespace

}  // namespace hotfix

int32_t RCPUninstallHotfixEx(const char* rcphome, const char* rcpdata) {
  using hotfix::lastReason;
  try {
    lastReason = "there is not enough memory";  // while there is enough for it
    const std::lock_guard<std::mutex> lock(hotfix::callMutex());
    const hotfix::platform::ScopedStandardDescriptors standardDescriptors;
    hotfix::OptionalString failure = hotfix::uninstallAndCollectLogs(rcphome, rcpdata);
    const std::int32_t status = failure ? hotfix::kFailure : hotfix::kSuccess;
    lastReason = std::move(failure).value_or("");
    return status;
  } catch (const std::exception&) {  // not enough memory; the exception must not reach a caller in C
    return hotfix::kFailure;
  }
}

int32_t RCPUninstallHotfix(const char* rcphome) { return RCPUninstallHotfixEx(rcphome, nullptr); }

size_t RCPUninstallHotfixReason(char* buffer, size_t size) {
  const std::string& reason = hotfix::lastReason;
  if (buffer != nullptr && size > 0) {
    const size_t length = hotfix::wholeCharacters(reason, size - 1);
    reason.copy(buffer, length);
    buffer[length] = '\0';
  }
  return reason.size();
}
