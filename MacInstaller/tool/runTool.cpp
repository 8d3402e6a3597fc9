#include "MacInstaller/tool/runTool.h"

#include <unistd.h>

#include <exception>

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/Reasons.h"
#include "MacInstaller/hotifxUninstallLibrary.h"
#include "MacInstaller/tool/getArgValue.h"
#include "Platform/ChildProcess.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/TextEncoding.h"

namespace hotfix {

namespace {

constexpr char kNotRemoved[] = "The hotfix was not removed";
constexpr char kUsage[] = "Usage: [sudo hotfixUninstall -rcphome ${path to rcphome}] -rcpdata ${path to rcpdata}";

const char* textOrNullPointer(const OptionalString& text) { return text ? text->c_str() : nullptr; }

/// Runs the steps after every attempt, successful or not. None of them changes the exit status.
void runPasses(const OptionalString& rcphome, const OptionalString& rcpdata) {
  InstanceService instance(rcphome, rcpdata);
  OptionalString launcher;
  if (rcphome) launcher = path::appending(*rcphome, "rcplauncher");
  progress::run("Running the platform to clean up", [&] { return instance.startProvisioningWithCleanUp(launcher); });
  instance.updateInstallID(InstallUtil::generateNewManifestVersion());
  progress::run("Running the platform to update", [&] { return instance.startProvisioningWithUpdate(launcher); });
  progress::run("Repairing the owner of the workspace", [&] {
    return repairResult(instance.updatePermissions(/*treatHome=*/false, /*updateWorkspace=*/true));
  });
}

}  // namespace

std::string reasonOfFailure() {
  std::string reason(RCPUninstallHotfixReason(nullptr, 0) + 1, '\0');
  reason.resize(RCPUninstallHotfixReason(&reason[0], reason.size()));
  return reason;
}

const char* wordFor(StepResult::Kind kind) {
  switch (kind) {
    case StepResult::Kind::Done:
      return "done";
    case StepResult::Kind::NothingToDo:
      return "nothing to do";
    case StepResult::Kind::Incomplete:
      return "incomplete";
    case StepResult::Kind::Skipped:
      return "skipped";
    case StepResult::Kind::Refused:
      return "refused";
    case StepResult::Kind::Failed:
      break;
  }
  return "failed";
}

OptionalString noteOnSudo() {
  const OptionalString caller = platform::callerHiddenBySudo();
  if (!caller) return std::nullopt;
  const OptionalString user = platform::environmentVariable("USER");
  return "The workspace will belong to root, as USER is " + user.value_or("not set") + ". To give it to " + *caller +
         ": sudo USER=" + *caller + " hotfixUninstall ...";
}

std::int32_t runTool(const std::vector<std::string>& arguments, ToolListener& listener) {
  const platform::ScopedStandardDescriptors standardDescriptors;
  platform::ignoreTerminalStops();
  const int traceFile = InstallUtil::setupTraceOutput();

  OptionalString rcphome = getArgValue(arguments, "-rcphome");
  const OptionalString rcpdata = getArgValue(arguments, "-rcpdata");
  // Without a data folder, the given home is the parent of the platform's own folder "rcp".
  if (!rcpdata && rcphome) rcphome = path::appending(*rcphome, "rcp");

  listener.runBegins(rcphome);
  if (const OptionalString note = noteOnSudo()) listener.showNote(*note);

  const std::int32_t status = RCPUninstallHotfixEx(textOrNullPointer(rcphome), textOrNullPointer(rcpdata));
  // Even if the options were right and only the uninstall failed.
  if (status != 0) platform::printLine(kUsage);
  try {
    runPasses(rcphome, rcpdata);
  } catch (const std::exception&) {  // not enough memory; the status still shows the outcome of the uninstall
  }
  if (status != 0) {
    const std::string reason = reasonOfFailure();
    listener.showFailure(kNotRemoved + (reason.empty() ? std::string() : ": " + text::sanitized(reason)) + ".",
                         std::string("See ") + (traceFile != -1 ? platform::kTraceFile : "the system log") +
                             " for details, and man hotfixUninstall.");
  }

  if (InstallUtil::shouldWriteTraces() && traceFile != -1) {
    platform::removeLogFile(traceFile);
    close(traceFile);
  }
  return status;
}

}  // namespace hotfix
