#ifndef TESTS_SUPPORT_INSTANCE_FIXTURE_H_
#define TESTS_SUPPORT_INSTANCE_FIXTURE_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Support/OptionalString.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

/// What stands for an absent argument.
inline const OptionalString kNone;

using Tree = std::map<std::string, std::string>;         // as treeSnapshot answers it
using Children = std::vector<std::vector<std::string>>;  // as InstanceTest::children answers them

/// While it lives, the process works in another folder, which relative paths then start from.
class ScopedWorkingFolder {
 public:
  explicit ScopedWorkingFolder(const std::string& path);
  ScopedWorkingFolder(const ScopedWorkingFolder&) = delete;
  ScopedWorkingFolder& operator=(const ScopedWorkingFolder&) = delete;
  ~ScopedWorkingFolder();

 private:
  std::string _before;
};

/// A small instance in the test's folder, with an installed hotfix, and stand-ins for the programs around it.
///
/// - Apps/Product.app/Contents/Info.plist: CFBundleShortVersionString 6.2.1
/// - Apps/Product.app/Contents/MacOS/rcp/, the home folder:
///   - rcplauncher: a noting program, writes the result file with the code 0
///   - rcplauncher.properties: provisioning.manifest.version and rcp.install.id 0101260000, rcp.data
///   - installInfo.plist: version, hotfixVersion, SKIPRUNNINGCHECK false, installedHotfixBundleID
///   - collectionutility.jar: empty
///   - deploy/install.xml, deploy/uninstall.hotfix.xml
///   - eclipse/plugins/com.qor.rcp.base_6.2.1.20260101/
/// - data/, the data folder: .config/rcpinstall.properties
///
/// pkgutil and java_home stand at their fixed paths, pkgutil a noting program; java_home names a runtime whose bin/java
/// is one too.
class InstanceTest : public FakeHostTest {
 protected:
  InstanceTest();
  ~InstanceTest() override;

  /// Paths relative to the test's folder, for its helpers, and absolute.
  static constexpr char kBundle[] = "Apps/Product.app";
  static constexpr char kHome[] = "Apps/Product.app/Contents/MacOS/rcp";
  static constexpr char kResultFile[] = "Apps/Product.app/Contents/MacOS/.provisioning_rc";
  static constexpr char kData[] = "data";
  std::string home() const { return folder / kHome; }
  std::string data() const { return folder / kData; }
  static std::string inHome(const std::string& path) { return std::string(kHome) + "/" + path; }

  /// Contents of deploy/uninstall.hotfix.xml.
  static const std::string& uninstallManifest();

  /// A home folder that nobody can make: it would lie in a file.
  std::string impossibleHome() const { return folder.makeFile("plain file") + "/rcp"; }

  /// What every making of an instance service for \a home logs, as nobody set a new install location.
  static std::vector<LogLine> creationLines(const std::string& home);

  /// What a save logs that would replace a file that cannot be read.
  LogLine notSaved(const std::string& pathInHome) const {
    return {3, "Not saved: " + home() + "/" + pathInHome + " exists, but cannot be read."};
  }

  // ----- Noting programs -----

  /// A program that notes its start for the functions below, then runs \a shellText.
  std::string makeNotingProgram(const std::string& relativePath, const std::string& shellText = "") const;

  /// Makes each launch of the launcher write "rc=<code>"; an empty code means that it writes no result file.
  void setLauncherResult(const std::string& code) const;

  /// Every noting program started so far, in order: the path it was started by, then its arguments.
  Children children() const;

  /// What a provisioning run of the launcher in the home folder is started with.
  std::vector<std::string> launch(const std::string& operation, const OptionalString& dataFolder,
                                  const std::string& locale = "en_US") const;

  /// Where the copy of something that lies in Apps or data is, made when the child of this number (from 0) started.
  /// Relative to the test's folder, like \a path.
  static std::string atStart(size_t child, const std::string& path) {
    return "at start/" + std::to_string(child) + "/" + path;
  }

  /// What happened, in order: log lines as "Info: text", starts of noting programs as "started <name>", and, while a
  /// PrintsToHistory lives, what was printed as "printed <line>".
  std::vector<std::string> history() const;

  /// While it lives, standard output goes to the history.
  class PrintsToHistory {
   public:
    explicit PrintsToHistory(const InstanceTest& test);
    PrintsToHistory(const PrintsToHistory&) = delete;
    PrintsToHistory& operator=(const PrintsToHistory&) = delete;
    ~PrintsToHistory();

   private:
    int _before;
  };

  // ----- Files of the instance -----

  Tree homeTree() const { return treeSnapshot(home()); }
  Tree homeTreeAtStart(size_t child) const { return treeSnapshot(folder / atStart(child, kHome)); }

  /// The properties file at a path relative to the home folder, sorted lines.
  std::vector<std::string> propertiesLines(const std::string& pathInHome) const;

  /// The text of a record of an installInfo.plist, by default that of the instance; "<none>" when there is none,
  /// "<no dictionary>" when the file has none.
  std::string installRecord(const std::string& key, const std::string& file = inHome("installInfo.plist")) const;

  /// Replaces installInfo.plist by one that holds just these texts.
  void writeInstallInfo(const std::vector<std::pair<std::string, std::string>>& records) const;

  /// The text of a property list of just these texts, as it is written by the system; keys must be sorted.
  static std::string xmlRecords(const std::vector<std::pair<std::string, std::string>>& records);

 private:
  int _historyFile;
};

}  // namespace hotfix

#endif
