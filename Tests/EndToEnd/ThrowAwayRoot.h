#ifndef TESTS_END_TO_END_THROW_AWAY_ROOT_H_
#define TESTS_END_TO_END_THROW_AWAY_ROOT_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"

namespace hotfix {

/// A copy of the machine's root, to be changed as a test likes, with processes of its own.
///
/// It is an overlay of "/" whose changes lie in memory, with a fresh /tmp, /dev and /proc, and with the project's
/// folders visible where they are. What it shares with the machine is read only: the project, the devices, and /proc,
/// whose files have the same owner and mode in every place where it is mounted. The first object takes the test program
/// into a mount namespace of its own, so no other program sees any of it; it goes away with the object, at the latest
/// with the test program.
///
/// Accounts "alice" (home /Users/alice) and "bob" and a group "admin" are known in it.
class ThrowAwayRoot {
 public:
  ThrowAwayRoot();
  ThrowAwayRoot(const ThrowAwayRoot&) = delete;
  ThrowAwayRoot& operator=(const ThrowAwayRoot&) = delete;

  /// Kills all that runs in the root, then removes it.
  ~ThrowAwayRoot();

  /// Why the machine does not allow it; empty when it does. Nothing else may be called then.
  const std::string& obstacle() const { return _obstacle; }

  /// Whether files can belong to several accounts. An ordinary user has but one in a user namespace: alice, bob and
  /// root, admin and root's group are the same then.
  static bool hasAccounts();

  static uid_t alice() { return hasAccounts() ? 4711 : 0; }
  static uid_t bob() { return hasAccounts() ? 4712 : 0; }
  static gid_t admin() { return hasAccounts() ? 4780 : 0; }

  /// The helpers for the files in the root: `root.files().makeFile(root.inside("/etc/x"))`.
  const TemporaryFolder& files() const { return _folder; }
  static std::string inside(const std::string& path) { return "root" + path; }

  /// Folder with all entries that were added to the copy or changed in it, apart from those in /tmp and /dev and on
  /// mounts of the test's own.
  std::string changedEntries() const { return _folder / "upper"; }

  /// Mounts an empty file system in memory at a folder of the root.
  void mountMemory(const std::string& path, const std::string& options);

  /// Mounts a volume at a folder of the root whose server has gone: the folder cannot be looked at any more. False
  /// where the machine does not allow it.
  bool mountDeadVolume(const std::string& path);

  /// Makes all below a folder of the root impossible to change, for root too.
  void makeReadOnly(const std::string& path);

  /// A process of the root begins with \a program, which ends in exec. Answers its id outside.
  pid_t start(const std::function<void()>& program);

  /// The one process that is always there, and is the first in the process list.
  static constexpr char kFirstProcess[] = "/usr/sbin/firstProcess";

 private:
  void makeAccounts();
  void mountAll();
  void mountCopy();
  void mount(const char* type, const std::string& source, const std::string& path, unsigned long flags,
             const std::string& options = "");
  void showReadOnly(const std::string& folder);
  void bindReadOnly(const std::string& source, const std::string& path);
  void startFirstProcess();
  void noteObstacle(const std::string& what);

  TemporaryFolder _folder;
  std::string _obstacle;
  std::vector<pid_t> _processes;  // the first one ends all others with it
  int _processNamespace = -1;
};

}  // namespace hotfix

#endif
