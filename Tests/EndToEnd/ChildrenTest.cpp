#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <sstream>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// What the children are given, and children that are not as they should be.
class ChildrenTest : public MachineTest {
 protected:
  /// A field of the "status" or "stat" that a child found of itself.
  std::string statusField(const Child& child, const std::string& name) {
    for (const std::string& line : files().lines(child.seen + "/status")) {
      if (line.compare(0, name.size() + 1, name + ":") == 0)
        return line.substr(line.find_first_not_of("\t ", name.size() + 1));
    }
    return "none";
  }
  std::string processGroup(const Child& child) {
    const std::string stat = files().read(child.seen + "/stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string state, parent, group;
    fields >> state >> parent >> group;
    return group;
  }
  /// Open descriptors, without those of the shell that runs the stand-in.
  Lines descriptors(const Child& child) {
    Lines result;
    for (const std::string& name : files().names(child.seen + "/fd")) {
      const std::string target = linkTarget(child.seen + "/fd/" + name);
      if (target == child.commandLine.front() || target == "/stand-ins/note") continue;
      result.push_back(name + " " + (target.compare(0, 5, "pipe:") == 0 ? "pipe" : target));
    }
    return result;
  }
  std::string linkTarget(const std::string& relativePath) {
    char target[4096];
    const ssize_t length = readlink((files() / relativePath).c_str(), target, sizeof target);
    return std::string(target, length > 0 ? static_cast<size_t>(length) : 0);
  }

  void expectSuccessWith(const Outcome& outcome, const std::vector<CommandLine>& children, const Lines& trace) {
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.output, kSucceeded);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.commandLines(), children);
    EXPECT_EQ(outcome.trace, trace);
  }

  std::vector<CommandLine> without(const std::vector<CommandLine>& all, const std::string& path) {
    std::vector<CommandLine> result;
    for (const CommandLine& line : all) {
      if (line.front() != path) result.push_back(line);
    }
    return result;
  }
};

TEST_F(ChildrenTest, InheritStandardDescriptorsOnly) {
  Call call = uninstall();
  call.prepare = [] {
    // Descriptors of the caller that must not go further.
    dup2(open("/etc/passwd", O_RDONLY), 7);
    dup2(open("/tmp", O_RDONLY | O_DIRECTORY), 100);
  };
  const Outcome outcome = run(call);
  ASSERT_EQ(outcome.commandLines(), allChildren());
  for (const Child& child : outcome.children) {
    const bool isRead = child.commandLine.front() == kJavaHomeFinder;
    EXPECT_EQ(descriptors(child), (Lines{"0 /dev/null", isRead ? "1 pipe" : "1 /dev/null", "2 /dev/null"}))
        << child.commandLine.front();
  }
}

TEST_F(ChildrenTest, StandardInputIsTheCallers) {
  Call call = uninstall();
  call.prepare = [] { dup2(open("/etc/passwd", O_RDONLY), STDIN_FILENO); };
  const Outcome outcome = run(call);
  ASSERT_EQ(outcome.commandLines(), allChildren());
  for (const Child& child : outcome.children) EXPECT_EQ(linkTarget(child.seen + "/fd/0"), "/etc/passwd");
}

TEST_F(ChildrenTest, LeadTheirOwnProcessGroups) {
  const Outcome outcome = run(uninstall());
  ASSERT_EQ(outcome.commandLines(), allChildren());
  ASSERT_NE(outcome.process, "");
  for (const Child& child : outcome.children) {
    if (child.commandLine.front() == kJavaHomeFinder) {  // started by a shell, which shares the tool's
      EXPECT_EQ(processGroup(child), outcome.process);
      continue;
    }
    EXPECT_EQ(processGroup(child), statusField(child, "Pid")) << child.commandLine.front();
    EXPECT_EQ(statusField(child, "PPid"), outcome.process) << child.commandLine.front();
  }
}

TEST_F(ChildrenTest, StartWithPlainSignals) {
  Call call = uninstall();
  call.prepare = [] {
    signal(SIGCHLD, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGCHLD);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
  };
  const Outcome outcome = run(call);
  ASSERT_EQ(outcome.commandLines(), allChildren());
  for (const Child& child : outcome.children) {
    EXPECT_EQ(statusField(child, "SigBlk"), "0000000000000000") << child.commandLine.front();
    const unsigned long long ignored = std::stoull(statusField(child, "SigIgn"), nullptr, 16);
    EXPECT_EQ(ignored & (1ULL << (SIGCHLD - 1)), 0U) << child.commandLine.front();
    EXPECT_EQ(ignored & (1ULL << (SIGPIPE - 1)), 0U) << child.commandLine.front();
  }
}

TEST_F(ChildrenTest, EnvironmentFolderAndUserAreTheCallers) {
  Call call = uninstall();
  call.environment = {{"USER", "alice"}, {"HOTFIX_ODD", "a=b c\n\xE9"}, {"EMPTY", ""}};
  for (const auto& [name, value] : this->call({}).environment) call.environment.emplace(name, value);
  call.folder = "/Users/alice";
  const Outcome outcome = run(call);
  ASSERT_EQ(outcome.commandLines(), allChildren());
  for (const Child& child : outcome.children) {
    std::map<std::string, std::string> environment;
    std::string entry;
    for (const char c : files().read(child.seen + "/environ")) {
      if (c != '\0') {
        entry += c;
        continue;
      }
      environment[entry.substr(0, entry.find('='))] = entry.substr(entry.find('=') + 1);
      entry.clear();
    }
    if (child.commandLine.front() == kJavaHomeFinder) {
      for (const char* ofTheShell : {"PWD", "OLDPWD", "SHLVL", "_"}) environment.erase(ofTheShell);
    }
    EXPECT_EQ(environment, call.environment) << child.commandLine.front();
    EXPECT_EQ(linkTarget(child.seen + "/cwd"), "/Users/alice");
    EXPECT_EQ(statusField(child, "Uid"), "0\t0\t0\t0");
  }
}

TEST_F(ChildrenTest, OutputIsThrownAwayHoweverMuch) {
  const std::string megabyte = "head -c 1000000 /dev/zero; head -c 1000000 /dev/zero >&2\n";
  setLauncher(megabyte + "echo rc=0 > \"$result\"");
  makeStandIn(kPkgutil, megabyte);
  makeStandIn(std::string(kJavaHome) + "/bin/java", megabyte);
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

TEST_F(ChildrenTest, EndingsAreNotExamined) {
  setLauncher("echo rc=0 > \"$result\"\nkill -9 $$");
  makeStandIn(kPkgutil, "kill -SEGV $$");
  makeStandIn(kJavaHomeFinder, "echo '" + std::string(kJavaHome) + "'; exit 3");
  makeStandIn(std::string(kJavaHome) + "/bin/java", "exit 1");
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

TEST_F(ChildrenTest, ChildThatLeavesAProcessBehindIsNotWaitedForAnyLonger) {
  setLauncher("echo rc=0 > \"$result\"\nsleep 1000 &");
  makeStandIn(kJavaHomeFinder, "echo '" + std::string(kJavaHome) + "'; sleep 1000 &");
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

/// A program that cannot be started, and why.
struct Unusable {
  const char* name;
  const char* reason;
  void (*make)(const TemporaryFolder& files, const std::string& path);
};

std::ostream& operator<<(std::ostream& stream, const Unusable& unusable) { return stream << unusable.name; }

const Unusable kUnusables[] = {
    {"Missing", "No such file or directory", [](const TemporaryFolder&, const std::string&) {}},
    {"NotExecutable", "Permission denied",
     [](const TemporaryFolder& files, const std::string& path) { files.makeFile(path, "#!/bin/sh\n"); }},
    {"Folder", "Permission denied",
     [](const TemporaryFolder& files, const std::string& path) { files.makeFolder(path); }},
    {"ScriptWithoutInterpreterLine", "Exec format error",
     [](const TemporaryFolder& files, const std::string& path) { files.makeFile(path, "touch /started\n", 0755); }},
    {"MissingInterpreter", "No such file or directory",
     [](const TemporaryFolder& files, const std::string& path) { files.makeFile(path, "#!/nowhere\n", 0755); }},
    {"BrokenLink", "No such file or directory",
     [](const TemporaryFolder& files, const std::string& path) { files.makeLink(path, "/nowhere"); }},
};

class UnusableProgramTest : public ChildrenTest, public ::testing::WithParamInterface<Unusable> {
 protected:
  void spoil(const std::string& path) {
    unlink((files() / inside(path)).c_str());
    GetParam().make(files(), inside(path));
  }
  void TearDown() override {
    EXPECT_FALSE(files().has(inside("/started")));
    ChildrenTest::TearDown();
  }
};

TEST_P(UnusableProgramTest, LauncherFailsTheUninstallWithALineForEachStart) {
  const std::string launcher = home + "/rcplauncher";
  spoil(launcher);
  const Lines line = {cannotLaunch(launcher, GetParam().reason)};
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(outcome.output, std::string(kUnexpected) + kUsage);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.commandLines(), (std::vector<CommandLine>{findJava(), collect(data)}));
  EXPECT_EQ(outcome.trace, joined({checked(),
                                   uninstalled(),
                                   line,
                                   line,
                                   {"<Error>: Unexpected results have occurred during the provisioning operation. For "
                                    "additional information, please refer to the logs."},
                                   collected(),
                                   serviceMade(),
                                   line,
                                   line}));
}

TEST_P(UnusableProgramTest, PkgutilDoesNotStopTheUninstall) {
  spoil(kPkgutil);
  const Snapshot before = state();
  expectSuccessWith(
      run(uninstall()), without(allChildren(), kPkgutil),
      joined({checked(), uninstalled(), {cannotLaunch(kPkgutil, GetParam().reason)}, collected(), serviceMade()}));
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

TEST_P(UnusableProgramTest, JavaDoesNotStopTheUninstall) {
  const std::string java = std::string(kJavaHome) + "/bin/java";
  spoil(java);
  Lines collection = collected();
  collection.insert(collection.end() - 1, cannotLaunch(java, GetParam().reason));
  expectSuccessWith(run(uninstall()), without(allChildren(), java),
                    joined({checked(), uninstalled(), collection, serviceMade()}));
}

INSTANTIATE_TEST_SUITE_P(Programs, UnusableProgramTest, ::testing::ValuesIn(kUnusables),
                         [](const auto& instance) { return std::string(instance.param.name); });

class JavaHomeTest : public ChildrenTest {
 protected:
  void expectNoJava(const Outcome& outcome, const std::vector<CommandLine>& finder) {
    std::vector<CommandLine> children = {uninstallLaunch(), uninstallLaunch(), forget()};
    children.insert(children.end(), finder.begin(), finder.end());
    children.push_back(launch("cleanup", data));
    children.push_back(launch("update", data));
    Lines collection = collected();
    collection.resize(3);
    collection.push_back(
        "<Notice>: Can't find java home, skip log collection for the HOTFIX_UNINSTALL operaton of Product project.");
    expectSuccessWith(outcome, children, joined({checked(), uninstalled(), collection, serviceMade()}));
  }

  /// Expects the utility to be run by the Java of this home.
  void expectJavaOf(const std::string& javaHome, const Outcome& outcome, bool found = true) {
    std::vector<CommandLine> children = allChildren();
    children[4] = collect(data, javaHome);
    if (!found) children.erase(children.begin() + 3);
    expectSuccessWith(outcome, children, allTrace());
  }
};

TEST_F(JavaHomeTest, MissingFinderSkipsTheCollection) {
  unlink((files() / inside(kJavaHomeFinder)).c_str());
  expectNoJava(run(uninstall()), {});
}

TEST_F(JavaHomeTest, FinderThatIsNotExecutableSkipsTheCollection) {
  files().makeFile(inside(kJavaHomeFinder), "#!/bin/sh\n", 0644);
  expectNoJava(run(uninstall()), {});
}

TEST_F(JavaHomeTest, FinderThatPrintsNothingSkipsTheCollection) {
  makeStandIn(kJavaHomeFinder, "echo 'no Java here' >&2; exit 1");
  expectNoJava(run(uninstall()), {findJava()});
}

TEST_F(JavaHomeTest, ProgramOfTheWorkingFolderIsNotTakenForJava) {
  makeStandIn("/Users/bob/bin/java");
  makeStandIn("/Users/bob/jdk/bin/java");
  for (const char* line : {"", "jdk", "./jdk"}) {
    makeStandIn(kJavaHomeFinder, "echo " + std::string(line));
    Call call = uninstall();
    call.folder = "/Users/bob";
    expectNoJava(run(call), {findJava()});
    makeInstance(bundle, data);
  }
}

TEST_F(JavaHomeTest, FirstLineCounts) {
  makeStandIn(kJavaHomeFinder, "echo '" + std::string(kJavaHome) + "'; echo /other");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaHomeTest, LineWithoutNewlineCounts) {
  makeStandIn(kJavaHomeFinder, "printf '%s' '" + std::string(kJavaHome) + "'");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaHomeTest, LineInPiecesIsPutTogether) {
  makeStandIn(kJavaHomeFinder, "printf /Library/Java; sleep 0.1; printf '/Home 1\\n'");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaHomeTest, EndlessOutputIsCutOff) {
  makeStandIn(kJavaHomeFinder, "echo '" + std::string(kJavaHome) + "'; exec yes");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaHomeTest, LongLineIsCutAfter1022Characters) {
  std::string javaHome = "/Library";
  while (javaHome.size() < 1022 - 202) javaHome += "/" + std::string(200, 'j');
  javaHome += "/" + std::string(1022 - javaHome.size() - 1, 'k');
  ASSERT_EQ(javaHome.size(), 1022U);
  makeStandIn(javaHome + "/bin/java");
  makeStandIn(kJavaHomeFinder, "echo '" + javaHome + "and more'");
  expectJavaOf(javaHome, run(uninstall()));
}

class JavaPluginTest : public JavaHomeTest {
 protected:
  static constexpr char kPlugin[] = "/Library/Internet Plug-Ins/JavaAppletPlugin.plugin";
  static constexpr char kPluginHome[] = "/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Home";

  void makePlugin(const std::string& propertyList) {
    files().makeFile(inside(std::string(kPlugin) + "/Contents/Info.plist"), propertyList);
    makeStandIn(std::string(kPluginHome) + "/bin/java");
  }
};

TEST_F(JavaPluginTest, IsTakenWithoutAskingTheFinder) {
  makePlugin("{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugin\"; }");
  expectJavaOf(kPluginHome, run(uninstall()), false);
}

TEST_F(JavaPluginTest, IsTakenWithItsIdentifierInOtherLetterCase) {
  makePlugin(
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key>"
      "<string>COM.Oracle.JAVA.javaappletplugin</string></dict></plist>");
  expectJavaOf(kPluginHome, run(uninstall()), false);
}

TEST_F(JavaPluginTest, OfAnotherIdentifierIsNotTaken) {
  makePlugin("{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugin2\"; }");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaPluginTest, WithoutIdentifierIsNotTaken) {
  makePlugin("{ CFBundleName = Java; }");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaPluginTest, ThatIsAFileIsNotTaken) {
  files().makeFile(inside(kPlugin), "{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugin\"; }");
  expectJavaOf(kJavaHome, run(uninstall()));
}

TEST_F(JavaHomeTest, InstanceWithoutUtilityCollectsNothing) {
  unlink((files() / inHome("collectionutility.jar")).c_str());
  Lines collection = collected();
  collection.resize(4);
  collection.push_back("<Info>: No log files are gathered as there is no collectionutility.jar under " + home + ". ");
  const std::string java = std::string(kJavaHome) + "/bin/java";
  expectSuccessWith(run(uninstall()), without(allChildren(), java),
                    joined({checked(), uninstalled(), collection, serviceMade()}));
}

TEST_F(JavaHomeTest, BundleWithoutVersionGivesAStamp) {
  files().makeFile(inside(bundle + "/Contents/Info.plist"), "{ CFBundleIdentifier = \"com.qor.product\"; }");
  const Outcome outcome = run(uninstall());
  ASSERT_EQ(outcome.children.size(), 7U);
  const CommandLine& collection = outcome.children[4].commandLine;
  ASSERT_EQ(collection.size(), 14U);
  EXPECT_TRUE(isStampOfNow(collection[6])) << collection[6];
  EXPECT_EQ(collection, collect(data, kJavaHome, collection[6]));
}

}  // namespace

}  // namespace hotfix
