#ifndef MACINSTALLER_INSPECT_FACTS_H_
#define MACINSTALLER_INSPECT_FACTS_H_

#include <string>
#include <vector>

#include "Platform/ProcessList.h"
#include "Support/OptionalString.h"
#include "Support/Path.h"

namespace hotfix {

/// The facts about one instance, read from the machine, without conclusions.
struct Facts {
  struct Feature {
    std::string folder;
    bool isPresent;
  };

  std::string home;
  OptionalString data;
  OptionalString bundle;
  std::string deploy;
  std::string recordsFile;
  std::string resultFile;  ///< of the platform
  std::string traceFile;
  std::string historyFolder;

  std::vector<std::string> outOfReach;  ///< one sentence for each entry that cannot be examined or read

  bool hasHome = false;
  bool hasInstallManifest = false;
  bool hasUninstallManifest = false;
  bool hasUpdateManifest = false;
  bool isUpdateOnly = false;      ///< the update manifest names features, but none to be uninstalled
  std::vector<Feature> features;  ///< removed by the uninstall manifest, or by the update manifest made of it

  bool hasRecords = false;
  bool areRecordsDamaged = false;
  OptionalString installedVersion;
  OptionalString hotfixVersion;
  OptionalString skipRunningCheck;
  OptionalString bundleId;
  OptionalString bundleVersion;

  OptionalString manifestVersion;
  OptionalString installId;
  bool isIdOfLastRun = false;  ///< the ID is not older than the manifest's version

  OptionalString resultCode;
  bool isGoodResult = false;
  std::optional<bool> isReceiptKnown;  ///< none: no receipt is recorded, or the system cannot answer
  std::vector<platform::RunningProcess> processes;
  std::vector<std::string> temporaryFiles;  ///< left by a run that was killed

  std::string inDeploy(const std::string& name) const { return path::appending(deploy, name); }
};

/// Whether the system knows a package; none when the system cannot answer, or the name is not that of a package.
std::optional<bool> isReceiptKnown(const std::string& package);

Facts readFacts(const std::string& home, const OptionalString& data);

}  // namespace hotfix

#endif
