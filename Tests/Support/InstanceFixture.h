#ifndef TESTS_SUPPORT_INSTANCE_FIXTURE_H_
#define TESTS_SUPPORT_INSTANCE_FIXTURE_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "MacInstaller/InstanceService.h"
#include "Support/OptionalString.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/Instance.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

/// An absent argument.
inline const OptionalString kNone;

using Tree = std::map<std::string, std::string>;         // as treeSnapshot returns it
using Children = std::vector<std::vector<std::string>>;  // as InstanceTest::children returns them

/// Changes the working folder of the process during the lifetime of the object.
class ScopedWorkingFolder {
 public:
  explicit ScopedWorkingFolder(const std::string& path);
  ScopedWorkingFolder(const ScopedWorkingFolder&) = delete;
  ScopedWorkingFolder& operator=(const ScopedWorkingFolder&) = delete;
  ~ScopedWorkingFolder();

 private:
  std::string _before;
};

/// The ordinary instance in the test's folder, and stand-ins for the programs around it:
///
/// - Apps/Product.app, with an empty folder eclipse/plugins/com.qor.rcp.base_6.2.1.20260101 in the home folder, and the
///   launcher, a noting program that writes the result file with the code 0
/// - data/, the data folder
///
/// pkgutil and java_home are at their fixed paths. pkgutil is a noting program; java_home names a runtime whose
/// bin/java is also one.
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

  /// The content of deploy/uninstall.hotfix.xml.
  static const std::string& uninstallManifest();

  /// A home folder that cannot be made, because its parent is a file.
  std::string impossibleHome() const { return folder.makeFile("plain file") + "/rcp"; }

  // ----- Instance services -----

  /// The service of the instance. Its own lines are removed from the log.
  class QuietInstance : public InstanceService {
   public:
    explicit QuietInstance(const InstanceTest& test) : InstanceService(test.home(), test.data()) { clearLog(); }
  };

  /// A service whose home folder has been removed since.
  class GoneHome : public InstanceService {
   public:
    explicit GoneHome(const TemporaryFolder& folder);
  };

  /// A service whose home folder is a plain file.
  InstanceService fileHome() const { return InstanceService(folder.makeFile("file home", "text"), std::nullopt); }

  /// Expects an operation to return false, and to change and log nothing, if there is no home folder: it was never
  /// known, it is a plain file, or it has been removed.
  void expectRefusedWithoutHome(const std::function<bool(InstanceService&)>& operation) const;

  /// The lines that each creation of an instance service for \a home logs if no new install location is set.
  static LogLines creationLines(const std::string& home);

  /// The line that a save logs if it would replace a file that cannot be read.
  LogLine notSaved(const std::string& pathInHome) const {
    return {3, "Not saved: " + home() + "/" + pathInHome + " exists, but cannot be read."};
  }

  // ----- Noting programs -----

  /// Makes a program that notes its start for the functions below, then runs \a shellText.
  std::string makeNotingProgram(const std::string& relativePath, const std::string& shellText = "") const;

  /// Makes the launcher write "rc=<code>" at each start. With an empty code it writes no result file.
  void setLauncherResult(const std::string& code) const;

  /// All starts of noting programs so far, in order: the path of the program, then its arguments.
  Children children() const;

  /// The command line of a provisioning run of the launcher in the home folder.
  std::vector<std::string> launch(const std::string& operation, const OptionalString& dataFolder,
                                  const std::string& locale = "en_US") const {
    return instance::launch(home(), operation, dataFolder, locale);
  }

  /// The path of the copy of an entry in Apps or data, made when the child of this number (from 0) started. It is
  /// relative to the test's folder, like \a path.
  static std::string atStart(size_t child, const std::string& path) {
    return "at start/" + std::to_string(child) + "/" + path;
  }

  /// The events in order: log lines as "Info: text", starts of noting programs as "started <name>", and, during the
  /// lifetime of a PrintsToHistory, printed lines as "printed <line>".
  std::vector<std::string> history() const;

  /// Adds standard output to the history during the lifetime of the object.
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
  /// The present home folder, except for one entry.
  Tree homeWith(const std::string& pathInHome, const std::string& entry) const;
  /// The whole test folder, except for the fixture's own history of log lines.
  Tree everything() const;
  /// Expects the home folder, or the whole test folder, to be equal to \a expected, and no line in the log.
  void expectHome(const Tree& expected) const;
  void expectEverything(const Tree& expected) const;
  Tree homeTreeAtStart(size_t child) const { return treeSnapshot(folder / atStart(child, kHome)); }

  /// The sorted lines of the properties file at a path relative to the home folder.
  std::vector<std::string> propertiesLines(const std::string& pathInHome) const;

  /// The text of a record of an installInfo.plist, by default that of the instance; "<none>" when there is no such
  /// record,
  /// "<no dictionary>" when the file has no dictionary.
  std::string installRecord(const std::string& key, const std::string& file = inHome("installInfo.plist")) const;

  /// Replaces installInfo.plist with a file that contains only these texts.
  void writeInstallInfo(const std::vector<std::pair<std::string, std::string>>& records) const;

  /// The text of a property list that contains only these texts, as the system writes it.
  static std::string xmlRecords(const std::vector<std::pair<std::string, std::string>>& records) {
    return instance::recordsText({records.begin(), records.end()});
  }

 private:
  int _historyFile;
};

}  // namespace hotfix

#endif
