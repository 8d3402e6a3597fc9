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

  void expectNoJava(const Outcome& outcome) {
    expectSucceeded(outcome);
    std::vector<CommandLine> children = allChildren();
    children.erase(children.begin() + 4);
    EXPECT_EQ(outcome.commandLines(), children);
    Lines collection = collected();
    collection.resize(3);
    collection.push_back(
        "<Notice>: Can't find java home, skip log collection for the HOTFIX_UNINSTALL operaton of Product project.");
    EXPECT_EQ(outcome.trace, joined({checked(), uninstalled(), collection, serviceMade()}));
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

TEST_F(ChildrenTest, MissingLauncherFailsTheUninstallWithALineForEachStart) {
  const std::string launcher = home + "/rcplauncher";
  unlink((files() / inside(launcher)).c_str());
  const Lines line = {cannotLaunch(launcher, "No such file or directory")};
  const Outcome outcome = run(uninstall());
  expectFailed(outcome, std::string(kUnexpected) + kUsage, (std::vector<CommandLine>{findJava(), collect(data)}));
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

TEST_F(ChildrenTest, ProgramOfTheWorkingFolderIsNotTakenForJava) {
  makeStandIn("/Users/bob/bin/java");
  makeStandIn("/Users/bob/jdk/bin/java");
  for (const char* line : {"", "jdk", "./jdk"}) {
    makeStandIn(kJavaHomeFinder, "echo " + std::string(line));
    Call call = uninstall();
    call.folder = "/Users/bob";
    expectNoJava(run(call));
    makeInstance(bundle, data);
  }
}

}  // namespace

}  // namespace hotfix
