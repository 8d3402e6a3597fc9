#ifndef TESTS_END_TO_END_THROW_AWAY_ROOT_H_
#define TESTS_END_TO_END_THROW_AWAY_ROOT_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"

namespace hotfix {

/// A copy of the machine's root that a test can change freely, with processes of its own.
///
/// It is an overlay of "/" whose changes are in memory, with a new /tmp, /dev and /proc. The project's folders are
/// visible at their paths. The parts that it shares with the machine are read-only: the project, the devices, and
/// /proc, whose files have the same owner and mode wherever it is mounted. The first object moves the test program into
/// a mount namespace of its own, so that no other program sees any of it. The copy is removed with the object, at the
/// latest with the test program.
///
/// Accounts "alice" (home /Users/alice) and "bob" and a group "admin" are known in it.
class ThrowAwayRoot {
 public:
  ThrowAwayRoot();
  ThrowAwayRoot(const ThrowAwayRoot&) = delete;
  ThrowAwayRoot& operator=(const ThrowAwayRoot&) = delete;

  /// Kills all processes in the root, then removes it.
  ~ThrowAwayRoot();

  /// Why the machine does not allow such a root; empty when it does. If it is not empty, nothing else may be called.
  const std::string& obstacle() const { return _obstacle; }

  /// Whether files can belong to several accounts. An ordinary user has only one account in a user namespace: then
  /// alice, bob and root are the same, and so are admin and root's group.
  static bool hasAccounts();

  static uid_t alice() { return hasAccounts() ? 4711 : 0; }
  static uid_t bob() { return hasAccounts() ? 4712 : 0; }
  static gid_t admin() { return hasAccounts() ? 4780 : 0; }

  /// The helpers for the files in the root: `root.files().makeFile(root.inside("/etc/x"))`.
  const TemporaryFolder& files() const { return _folder; }
  static std::string inside(const std::string& path) { return "root" + path; }

  /// The folder with all entries that were added to the copy or changed in it, except for those in /tmp and /dev and on
  /// the test's own mounts.
  std::string changedEntries() const { return _folder / "upper"; }

  /// Mounts an empty file system in memory at a folder of the root.
  void mountMemory(const std::string& path, const std::string& options);

  /// Mounts a volume whose server has died at a folder of the root, so that the folder can no longer be examined.
  /// Returns false if the machine does not allow it.
  bool mountDeadVolume(const std::string& path);

  /// Makes everything below a folder of the root read-only, also for root.
  void makeReadOnly(const std::string& path);

  /// Starts a process in the root with \a program, which must end with exec. Returns its process ID outside the root.
  pid_t start(const std::function<void()>& program);

  /// The only process that always runs. It is the first one in the process list.
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
  std::vector<pid_t> _processes;  // the end of the first one ends all others
  int _processNamespace = -1;
};

}  // namespace hotfix

#endif
