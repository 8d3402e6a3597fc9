#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// The check for a running platform, on real processes; and the passes, which follow whatever the checks say.
class ChecksTest : public MachineTest {
 protected:
  Lines running(const std::string& path) { return {"<Info>: >>>> current is " + path + "."}; }
};

TEST_F(ChecksTest, MissingHomeIsRefusedThenMade) {
  home = "/Applications/Other.app/Contents/MacOS/rcp";
  expectFailed(run(uninstall()));
  EXPECT_EQ(state().at(home), "0755 " + owners("root:root") + " folder");
}

TEST_F(ChecksTest, ProgramRunningFromTheBundleStopsTheUninstall) {
  const std::string program = bundle + "/Contents/MacOS/product";
  startProgram(program);
  const Snapshot before = state();
  expectFailed(run(uninstall()), kUsage, refusal(), joined({checked(), running(program), collected(), serviceMade()}));
  Snapshot after = before;  // with what the passes alone change
  after[home + "/rcplauncher.properties"] = "0664 " + owners("alice:admin") +
                                            " file: provisioning.manifest.version=" + kOldStamp +
                                            "\nrcp.data=${env.HOME}/workspace\nrcp.install.id=<now>\n";
  after[bundle + "/Contents/MacOS/.provisioning_rc"] = "0644 " + owners("root:root") + " file: rc=0\n";
  addTraceAndRepair(after);
  EXPECT_EQ(differences(before, state()), differences(before, after));
}

TEST_F(ChecksTest, ProgramElsewhereDoesNotMatter) {
  startProgram("/Applications/Product");
  startProgram("/Applications/Other.app/Contents/MacOS/other");
  const Outcome outcome = run(uninstall());
  expectSucceeded(
      outcome, allChildren(),
      joined({checked(), running("/Applications/Product"), running("/Applications/Other.app/Contents/MacOS/other"),
              uninstalled(), collected(), serviceMade()}));
}

TEST_F(ChecksTest, ToolInsideTheBundleDoesNotFindItself) {
  const std::string tool = bundle + "/Contents/MacOS/hotfixUninstall";
  files().makeFile(inside(tool), files().read(inside(HOTFIX_TOOL)), 0755);
  const Snapshot before = state();
  Call call = uninstall();
  call.program = call.commandLine.front() = tool;
  expectSuccess(run(call), before);
}

}  // namespace

}  // namespace hotfix
