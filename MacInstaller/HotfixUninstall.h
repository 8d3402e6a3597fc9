#ifndef MACINSTALLER_HOTFIX_UNINSTALL_H_
#define MACINSTALLER_HOTFIX_UNINSTALL_H_

#include <memory>
#include <string>

#include "Support/OptionalString.h"
#include "Support/StepResult.h"

namespace hotfix {

class InstanceService;

/// Removes the hotfix that is installed in one instance. An object is used once.
///
/// It deletes no file of the hotfix. It makes the uninstall manifest of the hotfix the instance's update manifest, lets
/// the platform's launcher apply it, and reads the outcome from the launcher's result file.
class HotfixUninstall {
 public:
  /// For the instance at \a pathToRcphome. An absent \a pathToRcpData means "systemdata" in the home folder. The data
  /// folder does not have to exist. If the home is absent or does not exist, the object is empty, nothing is changed,
  /// and every uninstall with it returns false. Otherwise an InstanceService is constructed, with its side effects.
  HotfixUninstall(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData);
  HotfixUninstall(const HotfixUninstall&) = delete;
  HotfixUninstall& operator=(const HotfixUninstall&) = delete;
  ~HotfixUninstall();

  /// Runs the whole sequence.
  ///
  /// Prints the outcome to standard output. Each failure is also logged at level 3. Nothing is rolled back: after a
  /// failed provisioning the backup, the new manifest version, the cleared hotfix version and the launcher's result
  /// file remain.
  /// \return true when the hotfix was removed.
  bool uninstallOldHotfix();

  /// Why the hotfix was not removed, as a text that can follow "because"; empty if nothing has failed.
  const std::string& failure() const { return _failure; }

  /// Copies `deploy/uninstall.hotfix.xml` unchanged to `deploy/install.update.xml` and deletes it.
  ///
  /// Needs the folder `deploy`.
  /// \return true on success. False, with a line in the log and on standard output, if the manifest is missing or
  ///     cannot be copied; a missing manifest changes nothing. Must not be called on an empty object, like the next
  ///     two.
  bool copyUninstallManifest();

  /// Deletes an old result file and starts the launcher in provisioning mode "update" twice, and waits each time. If
  /// the launcher cannot be started, that is logged at level 3 each time, and is a failure only without a result.
  void startProvisioning();

  /// Makes the system forget the receipt of the hotfix's installer package, if one is recorded.
  /// \return as InstallUtil::removeReceipt.
  StepResult removeHotfixReceipt();

 private:
  std::unique_ptr<InstanceService> _instance;  // empty when the home folder was not usable
  OptionalString _pathToRcpHome;
  OptionalString _pathToRcpData;
  std::string _failure;
};

}  // namespace hotfix

#endif
