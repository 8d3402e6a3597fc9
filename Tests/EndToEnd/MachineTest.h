#ifndef TESTS_END_TO_END_MACHINE_TEST_H_
#define TESTS_END_TO_END_MACHINE_TEST_H_

#include <gtest/gtest.h>
#include <sys/un.h>

#include <ctime>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "Tests/EndToEnd/Snapshot.h"
#include "Tests/EndToEnd/ThrowAwayRoot.h"

namespace hotfix {

using Lines = std::vector<std::string>;

/// Several lists, one after the other.
Lines joined(std::initializer_list<Lines> parts);

/// Arguments of a program, its own path first.
using CommandLine = std::vector<std::string>;

/// A text that a test is repeated for, with a name for the test.
struct NamedText {
  std::string name;
  std::string text;
};
using ForEachText = ::testing::WithParamInterface<NamedText>;
inline std::ostream& operator<<(std::ostream& stream, const NamedText& named) { return stream << named.name; }
inline std::string nameOf(const ::testing::TestParamInfo<NamedText>& instance) { return instance.param.name; }

/// A call of the tool.
struct Call {
  CommandLine commandLine;
  std::string program;  ///< what is run, normally as the command line calls it
  std::map<std::string, std::string> environment;
  std::string folder = "/";
  uid_t user = 0;
  /// Last changes in the process that becomes the tool: of descriptors, of signals.
  std::function<void()> prepare = [] {};
};

/// A child that was started, as the stand-in for its program noted it down.
struct Child {
  CommandLine commandLine;
  /// Folder with what the child found when it began, in the root's files: copies of the bundle, the data folder, the
  /// trace file and what the tool had printed ("output"), and its own "fd", "stat", "status", "environ" and "cwd".
  std::string seen;
};

/// All that came of a call.
struct Outcome {
  std::string ending;         ///< "exit 0", "signal 9", "hung"
  std::string output;         ///< standard output
  std::string standardError;  ///< all of it
  std::string errors;         ///< standard error, without the two closing lines
  std::string reason;         ///< of the closing lines: why the hotfix was not removed; empty without them
  std::vector<Child> children;
  Lines trace;          ///< "<Info>: text"; a line with anything wrong in front of that begins with "?"
  std::string process;  ///< the tool's process id, as the trace has it
  std::vector<CommandLine> commandLines() const;
};

/// A machine with an instance of the platform in it, and stand-ins for the programs around it:
///
///   /Applications/Product.app/Contents/Info.plist       CFBundleShortVersionString 6.2.1
///   /Applications/Product.app/Contents/MacOS/rcp        the home folder, with an installed hotfix 6.2.1.1
///   /Users/alice/Client Data                            the data folder
///   /usr/sbin/pkgutil, /usr/libexec/java_home           Java home: "/Library/Java/Home 1"
///
/// Every stand-in notes its command line and what it finds; the launcher then writes its result file, "rc=0".
class MachineTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  static constexpr char kUsage[] =
      "Usage: [sudo hotfixUninstall -rcphome ${path to rcphome}] -rcpdata ${path to rcpdata}\n";
  static constexpr char kSucceeded[] = "The provisioning operations have completed successfully.\n";
  static constexpr char kUnexpected[] =
      "Unexpected results have occurred during the provisioning operation. For additional information, please refer to "
      "the logs.\n";
  static constexpr char kNotRemoved[] = "The hotfix was not removed: ";
  static constexpr char kSeeTrace[] = "See /tmp/install_trace.log for details, and man hotfixUninstall.";
  static constexpr char kTraceFile[] = "/tmp/install_trace.log";
  static constexpr char kConfigurationFile[] = "/tmp/com.qor.rcp.platform.internal.configuration";
  static constexpr char kStagingFolder[] = "/tmp/zelcore2";
  static constexpr char kPkgutil[] = "/usr/sbin/pkgutil";
  static constexpr char kJavaHomeFinder[] = "/usr/libexec/java_home";
  static constexpr char kJavaHome[] = "/Library/Java/Home 1";
  static constexpr char kPackage[] = "com.qor.hotfix.pkg";
  static constexpr char kOldStamp[] = "0101010000";
  static constexpr char kUninstallManifest[] = "<install><old url=\"${installer.root}/x\"/></install>\n";
  static constexpr char kInstallManifest[] = "<install/>\n";

  // ----- The machine -----

  std::string bundle, home, data;  ///< of the instance that calls and expectations are about

  /// Makes an instance and is about it from now on. It differs from the one above in its place only.
  void makeInstance(const std::string& bundlePath, const std::string& dataPath);

  /// Path in the root, for the file helpers of `files`.
  static std::string inside(const std::string& path) { return ThrowAwayRoot::inside(path); }
  ThrowAwayRoot& root() { return *_root; }
  const TemporaryFolder& files() { return _root->files(); }
  std::string inHome(const std::string& path) { return inside(home + "/" + path); }

  /// Gives an entry (a link itself) to an account.
  void giveTo(uid_t user, gid_t group, const std::string& path);

  /// A program that notes its call and then does what the shell text says.
  void makeStandIn(const std::string& path, const std::string& shellText = "");
  /// A java that looks around only when the trace has told of its success, which happens while it already runs.
  void makePatientJava();
  /// Starts a copy of a program that does nothing, at a path of the root, and waits until it runs there. Answers its id
  /// outside.
  pid_t startProgram(const std::string& path, uid_t user = 0);
  /// Whether the tool looks for leaks when it ends, which takes a /proc.
#ifdef HOTFIX_SANITIZED
  static constexpr bool kNeedsProcesses = true;
#else
  static constexpr bool kNeedsProcesses = false;
#endif
  /// What the launcher does at each start.
  void setLauncher(const std::string& shellText);
  /// The records of the instance, and the file that holds just these.
  using Records = std::map<std::string, std::string>;
  void setRecords(const Records& records);
  static std::string recordsText(const Records& records);

  /// All that differs from the machine, the notes of the stand-ins and the text of the trace left out. The version
  /// stamps of calls show as "<now>".
  Snapshot state();
  /// A text with the version stamps of calls as "<now>".
  std::string withoutStamps(std::string text) const;
  /// Whether a text is the version stamp of a moment of a call.
  bool isStampOfNow(const std::string& text) const;

  /// What a child found when it began, in short: records and files of the instance, owner of the data, and how much
  /// had been printed and traced.
  std::string found(const Child& child);
  Lines found(const Outcome& outcome);

  // ----- Calls -----

  /// `hotfixUninstall -rcphome <home> -rcpdata <data>`, by root on behalf of alice.
  Call uninstall();
  /// The tool with any arguments.
  Call call(const CommandLine& arguments);
  Outcome run(const Call& call);

  /// The socket of the system log, of a type, and its address outside. Stays open, and the caller's.
  int makeSystemLog(int type);
  struct sockaddr_un systemLogAddress();

  /// Sees to it that syslog has a reader during a call, and collects the messages.
  void listenToSystemLog();
  Lines systemLog;

  // ----- What is expected -----

  CommandLine launch(const std::string& operation, const std::optional<std::string>& dataFolder,
                     const std::string& locale = "en_US");
  CommandLine uninstallLaunch() { return launch("update", data); }
  CommandLine forget() { return {kPkgutil, "--forget", kPackage}; }
  CommandLine findJava() { return {kJavaHomeFinder}; }
  CommandLine collect(const std::string& workspace, const std::string& javaHome = kJavaHome,
                      const std::string& version = "6.2.1");
  std::vector<CommandLine> allChildren();      ///< of a successful run
  std::vector<CommandLine> failedUninstall();  ///< two launches, log collection, two passes
  std::vector<CommandLine> refusal();          ///< log collection, two passes

  Lines checked();      ///< trace of all checks, with nothing running but the first process
  Lines uninstalled();  ///< trace of the uninstall sequence up to the launches
  Lines collected();    ///< trace of the log collection
  Lines serviceMade();  ///< trace of a new instance service
  static Lines serviceMade(const std::string& home);
  Lines allTrace();  ///< trace of a successful run
  static std::string cannotLaunch(const std::string& path, const std::string& reason) {
    return "<Error>: Failed to launch " + path + ": " + reason + ".";
  }

  /// Expects the outcome of a successful run in every point, what changed on the machine included.
  void expectSuccess(const Outcome& outcome, const Snapshot& before);
  /// What a successful run changes on the machine.
  Lines successChanges(const Snapshot& before);

 private:
  std::string waitFor(pid_t process);
  std::vector<Child> readChildren();
  static void splitErrors(Outcome& outcome);
  void readTrace(Outcome& outcome, const std::string& sender, std::time_t begin, std::time_t end);

  std::unique_ptr<ThrowAwayRoot> _root;
  std::set<std::string> _stamps;
  int _systemLogSocket = -1;
};

}  // namespace hotfix

#endif
