#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// How an uninstall ends, by the files it finds and the result that the launcher leaves.
class ResultTest : public MachineTest {
 protected:
  void expectUninstallFailed(const Outcome& outcome, const Snapshot& before) {
    expectFailed(outcome, std::string(kUnexpected) + kUsage, failedUninstall());
    EXPECT_EQ(outcome.trace, joined({checked(),
                                     uninstalled(),
                                     {"<Error>: Unexpected results have occurred during the provisioning operation. "
                                      "For additional information, please refer to the logs."},
                                     collected(),
                                     serviceMade()}));
    // Nothing is rolled back; package and skip flag stay with the hotfix.
    Snapshot after = state();
    const std::string ofAlice = owners("alice:admin");
    EXPECT_EQ(before.count(home + "/deploy/uninstall.hotfix.xml"), 1U);
    EXPECT_EQ(after.count(home + "/deploy/uninstall.hotfix.xml"), 0U);
    EXPECT_EQ(after[home + "/deploy/install.update.xml"], "0660 " + ofAlice + " file: " + kUninstallManifest);
    EXPECT_EQ(after[home + "/deploy/install." + kOldStamp + ".xml"],
              "0644 " + owners("root:root") + " file: " + kInstallManifest);
    EXPECT_EQ(after[home + "/rcplauncher.properties"],
              "0664 " + ofAlice +
                  " file: provisioning.manifest.version=<now>\nrcp.data=${env.HOME}/workspace\nrcp.install.id=<now>\n"
                  "vm=/opt/java\n");
    EXPECT_EQ(
        after[home + "/installInfo.plist"],
        "0640 " + ofAlice + " file: " +
            recordsText({{"SKIPRUNNINGCHECK", "false"}, {"installedHotfixBundleID", kPackage}, {"version", "6.2.1"}}));
    // Permissions are repaired by the last step of the run, not before.
    EXPECT_EQ(after[data + "/logs/one.log"], "0775 " + ofAlice + " file: one\n");
  }

  void expectManifestMissing(const Outcome& outcome, const std::string& source) {
    const std::string message =
        "File " + source +
        " was not found. Provisioning process failed to launch or was terminated before status could be determined.";
    expectFailed(outcome, message + "\n" + kUsage, refusal());
    EXPECT_EQ(outcome.trace, joined({checked(),
                                     {"<Info>: Remove hotfix."},
                                     serviceMade(),
                                     {"<Error>: " + message},
                                     collected(),
                                     serviceMade()}));
  }
};

TEST_F(ResultTest, MissingUninstallManifestEndsTheUninstallAtOnce) {
  const std::string source = home + "/deploy/uninstall.hotfix.xml";
  unlink((files() / inside(source)).c_str());
  const Snapshot before = state();
  expectManifestMissing(run(uninstall()), source);
  const Snapshot after = state();
  EXPECT_EQ(after.at(home + "/installInfo.plist"), before.at(home + "/installInfo.plist"));
  EXPECT_EQ(files().names(inHome("deploy")), (Lines{"install.xml"}));
}

TEST_F(ResultTest, FailureClearsTheHotfixVersionAndNothingElse) {
  setLauncher("echo rc=1 > \"$result\"");
  const std::string plain = " data=0644 " + owners("root:root");
  const std::string prepared = "uninstall=no update=yes backup=yes";
  const std::string records = " package=com.qor.hotfix.pkg skip=false";
  const Lines seen = found(run(uninstall()));
  ASSERT_EQ(seen.size(), 6U);
  EXPECT_EQ(seen[0],
            prepared + " result=none version=now id=old hotfix=6.2.1.1" + records + plain + " printed=0 traced=14");
  EXPECT_EQ(seen[1],
            prepared + " result=rc=1 version=now id=old hotfix=6.2.1.1" + records + plain + " printed=0 traced=14");
  EXPECT_EQ(seen[2],
            prepared + " result=rc=1 version=now id=old hotfix=none" + records + plain + " printed=1 traced=18");
  // The usage line is printed before the passes begin.
  EXPECT_EQ(seen[4],
            prepared + " result=rc=1 version=now id=old hotfix=none" + records + plain + " printed=2 traced=24");
  EXPECT_EQ(seen[5],
            prepared + " result=rc=1 version=now id=now hotfix=none" + records + plain + " printed=2 traced=24");
}

TEST_F(ResultTest, OldResultFileIsNotBelieved) {
  files().makeFile(inside(bundle + "/Contents/MacOS/.provisioning_rc"), "rc=0\n");
  setLauncher("");
  const Snapshot before = state();
  expectUninstallFailed(run(uninstall()), before);
}

}  // namespace

}  // namespace hotfix
