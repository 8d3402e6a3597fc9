#ifndef MACINSTALLER_INSPECT_FACTS_H_
#define MACINSTALLER_INSPECT_FACTS_H_

#include <string>
#include <vector>

#include "Platform/ProcessList.h"
#include "Support/OptionalString.h"
#include "Support/Path.h"

namespace hotfix {

/// What is known of one instance: read afresh, nothing concluded.
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
  std::string resultFile;  ///< the platform's
  std::string traceFile;
  std::string historyFolder;

  std::vector<std::string> outOfReach;  ///< what cannot be looked at or read, a sentence each

  bool hasHome = false;
  bool hasInstallManifest = false;
  bool hasUninstallManifest = false;
  bool hasUpdateManifest = false;
  bool isUpdateOnly = false;      ///< the update manifest names features, and none to be uninstalled
  std::vector<Feature> features;  ///< that the uninstall manifest removes, or the update manifest made of it

  bool hasRecords = false;
  bool areRecordsDamaged = false;
  OptionalString installedVersion;
  OptionalString hotfixVersion;
  OptionalString skipRunningCheck;
  OptionalString bundleId;
  OptionalString bundleVersion;

  OptionalString manifestVersion;
  OptionalString installId;
  bool isIdOfLastRun = false;  ///< the ID is as young as the manifest's version

  OptionalString resultCode;
  bool isGoodResult = false;
  std::optional<bool> isReceiptKnown;  ///< none: there is none to ask for, or nobody to ask
  std::vector<platform::RunningProcess> processes;
  std::vector<std::string> temporaryFiles;  ///< that a run which was killed has left

  std::string inDeploy(const std::string& name) const { return path::appending(deploy, name); }
};

/// Whether the system knows a package; none when there is nobody to ask, or it is no name of a package.
std::optional<bool> isReceiptKnown(const std::string& package);

Facts readFacts(const std::string& home, const OptionalString& data);

}  // namespace hotfix

#endif
