#include "MacInstaller/tool/runTool.h"

#include <unistd.h>

#include <exception>

#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/hotifxUninstallLibrary.h"
#include "MacInstaller/tool/getArgValue.h"
#include "Platform/StandardStreams.h"
#include "Platform/SystemLog.h"
#include "Platform/SystemPaths.h"
#include "Support/Path.h"
#include "Support/Progress.h"

namespace hotfix {

namespace {

constexpr char kUsage[] = "Usage: [sudo hotfixUninstall -rcphome ${path to rcphome}] -rcpdata ${path to rcpdata}";

const char* textOrNullPointer(const OptionalString& text) { return text ? text->c_str() : nullptr; }

/// What follows every attempt, successful or not; none of it changes the exit status.
void runPasses(const OptionalString& rcphome, const OptionalString& rcpdata) {
  InstanceService instance(rcphome, rcpdata);
  OptionalString launcher;
  if (rcphome) launcher = path::appending(*rcphome, "rcplauncher");
  {
    const progress::Step step("Running the platform to clean up");
    instance.startProvisioningWithCleanUp(launcher);
  }
  instance.updateInstallID(InstallUtil::generateNewManifestVersion());
  {
    const progress::Step step("Running the platform to update");
    instance.startProvisioningWithUpdate(launcher);
  }
  const progress::Step step("Repairing the owner of the workspace");
  instance.updatePermissions(/*treatHome=*/false, /*updateWorkspace=*/true);
}

}  // namespace

std::int32_t runTool(const std::vector<std::string>& arguments,
                     const std::function<void(const OptionalString& trace)>& sayFailure) {
  const platform::ScopedStandardDescriptors standardDescriptors;
  int traceFile = -1;
  if (InstallUtil::shouldWriteTraces()) {
    traceFile = platform::openTraceFile(platform::onDisk(platform::kTraceFile));
    if (traceFile != -1) platform::addLogFile(traceFile);
  }

  OptionalString rcphome = getArgValue(arguments, "-rcphome");
  const OptionalString rcpdata = getArgValue(arguments, "-rcpdata");
  // Without a data folder the given home is taken to be the folder around the platform's own "rcp".
  if (!rcpdata && rcphome) rcphome = path::appending(*rcphome, "rcp");

  const std::int32_t status = RCPUninstallHotfixEx(textOrNullPointer(rcphome), textOrNullPointer(rcpdata));
  // Also when the options were right and only the uninstall failed.
  if (status != 0) platform::printLine(kUsage);
  try {
    runPasses(rcphome, rcpdata);
  } catch (const std::exception&) {  // out of memory; the status says how the uninstall ended
  }
  if (status != 0) sayFailure(traceFile != -1 ? OptionalString(platform::kTraceFile) : std::nullopt);

  if (InstallUtil::shouldWriteTraces() && traceFile != -1) {
    platform::removeLogFile(traceFile);
    close(traceFile);
  }
  return status;
}

}  // namespace hotfix
