#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// The checks before an uninstall. Whatever they say, the passes run.
class ChecksTest : public MachineTest {
 protected:
  Lines running(const std::string& path) { return {"<Info>: >>>> current is " + path + "."}; }

  /// What the passes alone change.
  Lines passChanges(const Snapshot& before) {
    Snapshot after = before;
    const std::string launcherProperties = home + "/rcplauncher.properties";
    after[launcherProperties] = "0664 " + owners("alice:admin") + " file: provisioning.manifest.version=" + kOldStamp +
                                "\nrcp.data=${env.HOME}/workspace\nrcp.install.id=<now>\nvm=/opt/java\n";
    after[bundle + "/Contents/MacOS/.provisioning_rc"] = "0644 " + owners("root:root") + " file: rc=0\n";
    for (const char* folder : {"/.config", "/logs"}) {
      after[data + folder] = "0775 " + owners("alice:admin") + " folder";
    }
    after[data + "/.config/rcpinstall.properties"] =
        "0775 " + owners("alice:admin") + " file: rcp.install.id=" + kOldStamp + "\n";
    after[data + "/logs/one.log"] = "0775 " + owners("alice:admin") + " file: one\n";
    after[kTraceFile] = "0644 " + owners("root:root") + " file:";
    return differences(before, after);
  }
};

TEST_F(ChecksTest, MissingHomeIsRefusedThenMade) {
  home = "/Applications/Other.app/Contents/MacOS/rcp";
  const Snapshot before = state();
  expectFailed(run(uninstall()), kUsage, {},
               joined({{"<Info>: RCP Home : " + home + " .",  //
                        "<Info>: pathToRCPHome is " + home + ".", "<Info>: targetName is Other."},
                       serviceMade(),
                       {cannotLaunch(home + "/rcplauncher", "No such file or directory"),
                        cannotLaunch(home + "/rcplauncher", "No such file or directory")}}));
  Snapshot after = before;
  std::string made = "/Applications/Other.app";
  for (const char* name : {"", "/Contents", "/MacOS", "/rcp"}) {
    after[made += name] = "0755 " + owners("root:root") + " folder";
  }
  for (const char* folder : {"/.config", "/logs"}) after[data + folder] = "0775 " + owners("alice:admin") + " folder";
  after[data + "/.config/rcpinstall.properties"] =
      "0775 " + owners("alice:admin") + " file: rcp.install.id=" + kOldStamp + "\n";
  after[data + "/logs/one.log"] = "0775 " + owners("alice:admin") + " file: one\n";
  after[kTraceFile] = "0644 " + owners("root:root") + " file:";
  EXPECT_EQ(differences(before, state()), differences(before, after));
}

TEST_F(ChecksTest, RefusedCharacterEndsTheUninstallBeforeAnythingIsTouched) {
  const std::string product = "Pro\"duct";
  makeInstance("/Applications/" + product + ".app", "/Users/alice/Client Data");
  const Snapshot before = state();
  // No instance service yet, so the log collection is left out.
  expectFailed(
      run(uninstall()), kUsage, {launch("cleanup", data), launch("update", data)},
      joined({{"<Info>: RCP Home : " + home + " .", "<Info>: Check whether the unsupported characters are contained.",
               "<Info>: pathToRCPHome is " + home + ".", "<Info>: targetName is " + product + "."},
              serviceMade()}));
  EXPECT_EQ(differences(before, state()), passChanges(before));
}

TEST_F(ChecksTest, HomeWithoutInstanceIsRefused) {
  unlink((files() / inHome("deploy/install.xml")).c_str());
  const Snapshot before = state();
  expectFailed(
      run(uninstall()), kUsage, refusal(),
      joined({{"<Info>: RCP Home : " + home + " .", "<Info>: Check whether the unsupported characters are contained.",
               "<Info>: Check whether the target platform is installed."},
              serviceMade(),
              collected(),
              serviceMade()}));
  EXPECT_EQ(differences(before, state()), passChanges(before));
}

TEST_F(ChecksTest, FolderInTheInstallManifestsPlaceIsAnInstance) {
  unlink((files() / inHome("deploy/install.xml")).c_str());
  files().makeFolder(inHome("deploy/install.xml"));
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
}

TEST_F(ChecksTest, HomeOutsideAnApplicationBundleIsRefused) {
  makeInstance("/Applications/product", data);
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  ASSERT_EQ(outcome.children.size(), 4U);
  const CommandLine& collection = outcome.children[1].commandLine;
  ASSERT_EQ(collection.size(), 14U);
  const std::string version = collection[6];  // no bundle, so no version of it: a stamp
  EXPECT_TRUE(isStampOfNow(version)) << version;
  CommandLine expected = collect(data, kJavaHome, version);
  expected[4] = "/";
  expectFailed(
      outcome, kUsage, {findJava(), expected, launch("cleanup", data), launch("update", data)},
      joined({{"<Info>: RCP Home : " + home + " .", "<Info>: Check whether the unsupported characters are contained.",
               "<Info>: Check whether the target platform is installed."},
              serviceMade(),
              {"<Info>: Check whether platform is running.",  //
               "<Info>: pathToRCPHome is " + home + ".",
               "<Error>: Error path value, please provide a valid path value for rcp home.",
               "<Notice>: Begin to call collection utility to gather log files for the HOTFIX_UNINSTALL "
               "operaton of / project.",
               "<Info>: _pathToRcphome is " + home + ".", "<Info>: productVersion is " + version + ".",
               "<Notice>: Successfully collect the log files and place them under " + home +
                   "/deploy/installHistory for the HOTFIX_UNINSTALL operaton of / project."},
              serviceMade()}));
  EXPECT_EQ(differences(before, state()), passChanges(before));
}

TEST_F(ChecksTest, ProgramRunningFromTheBundleStopsTheUninstall) {
  const std::string program = bundle + "/Contents/MacOS/product";
  startProgram(program);
  const Snapshot before = state();
  expectFailed(run(uninstall()), kUsage, refusal(), joined({checked(), running(program), collected(), serviceMade()}));
  EXPECT_EQ(differences(before, state()), passChanges(before));
}

TEST_F(ChecksTest, ProgramElsewhereDoesNotMatter) {
  startProgram("/Applications/Product");
  startProgram("/Applications/Other.app/Contents/MacOS/other");
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.trace, joined({checked(), running("/Applications/Product"),
                                   running("/Applications/Other.app/Contents/MacOS/other"), uninstalled(), collected(),
                                   serviceMade()}));
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

TEST_F(ChecksTest, ToolInsideTheBundleDoesNotFindItself) {
  const std::string tool = bundle + "/Contents/MacOS/hotfixUninstall";
  files().makeFile(inside(tool), files().read(inside(HOTFIX_TOOL)), 0755);
  const Snapshot before = state();
  Call call = uninstall();
  call.program = call.commandLine.front() = tool;
  expectSuccess(run(call), before);
}

TEST_F(ChecksTest, RecordedTrueSkipsTheCheck) {
  startProgram(bundle + "/Contents/MacOS/product");
  setRecords({{"SKIPRUNNINGCHECK", "true"},
              {"hotfixVersion", "6.2.1.1"},
              {"installedHotfixBundleID", kPackage},
              {"version", "6.2.1"}});
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  Lines checks = checked();
  checks.pop_back();
  EXPECT_EQ(outcome.trace, joined({checks, uninstalled(), collected(), serviceMade()}));
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

}  // namespace

}  // namespace hotfix
