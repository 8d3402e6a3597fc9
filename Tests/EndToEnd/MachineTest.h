#ifndef TESTS_END_TO_END_MACHINE_TEST_H_
#define TESTS_END_TO_END_MACHINE_TEST_H_

#include <sys/un.h>

#include <ctime>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <set>

#include "Tests/EndToEnd/Snapshot.h"
#include "Tests/EndToEnd/ThrowAwayRoot.h"
#include "Tests/Support/Instance.h"
#include "Tests/Support/Test.h"

namespace hotfix {

using Lines = std::vector<std::string>;

/// The concatenation of several lists.
Lines joined(std::initializer_list<Lines> parts);

/// The arguments of a program. The first is its path.
using CommandLine = std::vector<std::string>;

/// A text with which a test is repeated, and a name for the test.
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
  std::string program;  ///< the program to run, normally that of the command line
  std::map<std::string, std::string> environment;
  std::string folder = "/";
  uid_t user = 0;
  /// The last changes in the process before it executes the tool, for example of descriptors and signals.
  std::function<void()> prepare = [] {};
};

/// A child that was started, as noted by the stand-in for its program.
struct Child {
  CommandLine commandLine;
  /// The folder, in the root's files, with the state at the child's start: copies of the bundle, the data folder, the
  /// trace file and the tool's output so far ("output"), and its own "fd", "status" and "environ".
  std::string seen;
};

/// All results of a call.
struct Outcome {
  std::string ending;         ///< "exit 0", "signal 9", "hung"
  std::string output;         ///< standard output
  std::string standardError;  ///< all of it
  std::string errors;         ///< standard error, without the two closing lines
  std::string reason;         ///< from the closing lines: why the hotfix was not removed; empty without them
  std::vector<Child> children;
  Lines trace;          ///< "<Info>: text"; begins with "?" if the part before that is wrong
  std::string process;  ///< the tool's process ID, from the trace
  std::vector<CommandLine> commandLines() const;
};

/// A machine with the ordinary instance in it, /Applications/Product.app with the data folder /Users/alice/Client Data,
/// and stand-ins for the programs around it: /usr/sbin/pkgutil and /usr/libexec/java_home.
///
/// Every stand-in notes its command line and the state at its start. The launcher then writes its result file, "rc=0".
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
  static constexpr char kOldStamp[] = "0101260000";
  const std::string uninstallManifest = instance::inHome("deploy/uninstall.hotfix.xml");
  const std::string installManifest = instance::inHome("deploy/install.xml");

  // ----- The machine -----

  std::string bundle, home, data;  ///< of the instance to which calls and expectations refer

  bool notesCallsOnly = false;  ///< set before SetUp: the stand-ins copy no state, which may be endless

  /// Makes an instance; calls and expectations then refer to it. It differs from the ordinary one only in its paths,
  /// owners and modes, and in a file with logs in the data folder.
  void makeInstance(const std::string& bundlePath, const std::string& dataPath);

  /// The path of an entry of the root, for the file helpers of `files`.
  static std::string inside(const std::string& path) { return ThrowAwayRoot::inside(path); }
  ThrowAwayRoot& root() { return *_root; }
  const TemporaryFolder& files() { return _root->files(); }
  std::string inHome(const std::string& path) { return inside(home + "/" + path); }

  /// Makes an account the owner of an entry. A link is not followed.
  void giveTo(uid_t user, gid_t group, const std::string& path);

  /// Makes a program that notes its call and then runs the shell text.
  void makeStandIn(const std::string& path, const std::string& shellText = "");
  /// Makes a java that notes the state only after the trace reports its success. The tool logs that while java still
  /// runs.
  void makePatientJava();
  /// Starts a copy of a program that does nothing, at a path of the root, and waits until it runs there. Returns its
  /// process ID outside the root.
  pid_t startProgram(const std::string& path, uid_t user = 0);
  /// Whether the tool checks for leaks when it ends, which needs /proc.
#ifdef HOTFIX_SANITIZED
  static constexpr bool kNeedsProcesses = true;
#else
  static constexpr bool kNeedsProcesses = false;
#endif
  /// Sets the actions of the launcher at each start.
  void setLauncher(const std::string& shellText);
  /// The records of the instance, and the text of a file with only these.
  using Records = std::map<std::string, std::string>;
  void setRecords(const Records& records);
  static std::string recordsText(const Records& records) { return instance::recordsText(records); }

  /// Puts back the manifest and the records that an uninstall has consumed.
  void installHotfixAgain();

  /// All differences from the machine, without the notes of the stand-ins and the text of the trace. The version stamps
  /// of calls are shown as "<now>".
  Snapshot state();
  /// A text with the version stamps of calls replaced by "<now>".
  std::string withoutStamps(std::string text) const;
  /// Whether a text is the version stamp of a moment during a call.
  bool isStampOfNow(const std::string& text) const;

  /// A summary of the state at a child's start: records and files of the instance, the owner of the data, and the
  /// amount of output and trace so far.
  std::string found(const Child& child);
  Lines found(const Outcome& outcome);

  // ----- Calls -----

  /// `hotfixUninstall -rcphome <home> -rcpdata <data>`, run by root on behalf of alice.
  Call uninstall();
  /// The same with the library of Tests/Faults, which notes the calls in kNotedCalls. What happens at the call of this
  /// number is as failCalls.c tells.
  Call uninstallWithFault(const std::string& how, size_t number);
  static constexpr char kNotedCalls[] = "/stand-ins/calls.noted";
  /// The tool with any arguments.
  Call call(const CommandLine& arguments);
  Outcome run(const Call& call);

  /// Makes the socket of the system log, of a type. The caller owns it. systemLogAddress is its address outside the
  /// root.
  int makeSystemLog(int type);
  struct sockaddr_un systemLogAddress();

  /// Gives syslog a reader during a call, and collects the messages.
  void listenToSystemLog();
  Lines systemLog;

  // ----- What is expected -----

  CommandLine launch(const std::string& operation, const std::optional<std::string>& dataFolder,
                     const std::string& locale = "en_US") {
    return instance::launch(home, operation, dataFolder, locale);
  }
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
  /// Expect the output and the ending of a run after a success, or after a refusal or failure; and its children and its
  /// trace, if given.
  using Children = std::vector<CommandLine>;
  static void expectSucceeded(const Outcome& outcome, const std::optional<Children>& children = std::nullopt,
                              const std::optional<Lines>& trace = std::nullopt);
  static void expectFailed(const Outcome& outcome, const std::string& output = kUsage,
                           const std::optional<Children>& children = std::nullopt,
                           const std::optional<Lines>& trace = std::nullopt);

  /// Expects every part of the outcome of a successful run, including the changes on the machine.
  void expectSuccess(const Outcome& outcome, const Snapshot& before);
  /// Adds to a snapshot what every run changes: the trace file and the repaired data folder.
  void addTraceAndRepair(Snapshot& after);
  /// The changes of a successful run on the machine.
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
