#ifndef MACINSTALLER_HOTFIX_UNINSTALL_H_
#define MACINSTALLER_HOTFIX_UNINSTALL_H_

#include <memory>
#include <string>

#include "Support/OptionalString.h"
#include "Support/StepResult.h"

namespace hotfix {

class InstanceService;

/// Removes the hotfix that is installed in one instance: made, used once, destroyed.
///
/// It deletes no file of the hotfix. It turns the uninstall manifest that the hotfix left behind into the instance's
/// update manifest, has the platform's own launcher apply it, and judges the outcome by the launcher's result file.
class HotfixUninstall {
 public:
  /// For the instance at \a pathToRcphome. An absent \a pathToRcpData means "systemdata" in the home folder; the data
  /// folder need not exist. When the home is absent or does not exist the object is empty, nothing is touched, and
  /// every uninstall with it answers false. Else an InstanceService is made, with its side effects.
  HotfixUninstall(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData);
  HotfixUninstall(const HotfixUninstall&) = delete;
  HotfixUninstall& operator=(const HotfixUninstall&) = delete;
  ~HotfixUninstall();

  /// Runs the whole sequence.
  ///
  /// Standard output says how it went; each failure also is a line at level 3. Nothing is rolled back: after a failed
  /// provisioning the backup, the new manifest version and the cleared hotfix version stay, and so does the launcher's
  /// result file.
  /// \return true when the hotfix was removed.
  bool uninstallOldHotfix();

  /// Why the hotfix was not removed, to follow "because"; empty as long as nothing has failed.
  const std::string& failure() const { return _failure; }

  /// Copies `deploy/uninstall.hotfix.xml` unchanged to `deploy/install.update.xml` and deletes it.
  ///
  /// Needs the folder `deploy`.
  /// \return true on success. False, with a line in the log and on standard output, when the manifest is missing, and
  ///     nothing is changed then, or cannot be copied. Must not be called on an empty object, like the next two.
  bool copyUninstallManifest();

  /// Deletes an old result file and starts the launcher in provisioning mode "update", twice, waiting for each. One
  /// that cannot be started is a line at level 3 each time, and a failure only if it leaves no result.
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
