#include <unistd.h>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// How an uninstall ends, by the files it finds and the result that the launcher leaves.
class ResultTest : public MachineTest {
 protected:
  void expectUninstallFailed(const Outcome& outcome, const Snapshot& before) {
    EXPECT_EQ(outcome.ending, "exit 1");
    EXPECT_EQ(outcome.output, std::string(kUnexpected) + kUsage);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.commandLines(), failedUninstall());
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
    EXPECT_EQ(outcome.ending, "exit 1");
    EXPECT_EQ(outcome.output, message + "\n" + kUsage);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.commandLines(), refusal());
    EXPECT_EQ(outcome.trace, joined({checked(),
                                     {"<Info>: Remove hotfix."},
                                     serviceMade(),
                                     {"<Error>: " + message},
                                     collected(),
                                     serviceMade()}));
  }

  /// A launcher that leaves just these bytes.
  void setResult(const std::string& text) {
    files().makeFile(inside("/stand-ins/result"), text);
    setLauncher("cp /stand-ins/result \"$result\"");
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

TEST_F(ResultTest, BrokenLinkAsUninstallManifestCountsAsMissing) {
  const std::string source = home + "/deploy/uninstall.hotfix.xml";
  unlink((files() / inside(source)).c_str());
  files().makeLink(inside(source), "/nowhere");
  expectManifestMissing(run(uninstall()), source);
}

TEST_F(ResultTest, SecondUninstallFindsTheManifestConsumed) {
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  // The first run removed the record with the others: its absence asks to skip the check.
  const Outcome second = run(uninstall());
  const std::string message =
      "File " + home +
      "/deploy/uninstall.hotfix.xml was not found. Provisioning process failed to launch or was terminated before "
      "status could be determined.";
  EXPECT_EQ(second.ending, "exit 1");
  EXPECT_EQ(second.output, message + "\n" + kUsage);
  EXPECT_EQ(second.commandLines(), refusal());
  Lines checks = checked();
  checks.pop_back();
  EXPECT_EQ(
      second.trace,
      joined({checks, {"<Info>: Remove hotfix."}, serviceMade(), {"<Error>: " + message}, collected(), serviceMade()}));
}

TEST_F(ResultTest, UpdateManifestThatCannotBeWrittenEndsTheUninstall) {
  root().makeReadOnly(home + "/deploy");
  const Outcome outcome = run(uninstall());
  const std::string rest =
      " Provisioning process failed to launch or was terminated before status could be determined.";
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(outcome.output, "File install.update.xml was not found." + rest + "\n" + kUsage);
  EXPECT_EQ(outcome.commandLines(), refusal());
  EXPECT_EQ(outcome.trace, joined({checked(),
                                   {"<Info>: Remove hotfix."},
                                   serviceMade(),
                                   {"<Info>: Copy install manifest to " + home + "/deploy/install.update.xml.",
                                    "<Error>: File install.update.xml not found." + rest},
                                   collected(),
                                   serviceMade()}));
  EXPECT_EQ(files().read(inHome("deploy/uninstall.hotfix.xml")), kUninstallManifest);
}

TEST_F(ResultTest, ResultFileOfAFailureIsLeftForInspection) {
  setResult("rc=1\n");
  const Outcome outcome = run(uninstall());
  ASSERT_EQ(outcome.commandLines(), failedUninstall());
  const Child& java = outcome.children[3];
  EXPECT_EQ(files().read(java.seen + "/Product.app/Contents/MacOS/.provisioning_rc"), "rc=1\n");
}

TEST_F(ResultTest, FailureClearsTheHotfixVersionAndNothingElse) {
  setResult("rc=1\n");
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

TEST_F(ResultTest, MissingResultFileIsAFailure) {
  setLauncher("");
  const Snapshot before = state();
  expectUninstallFailed(run(uninstall()), before);
}

TEST_F(ResultTest, FolderAsResultFileIsAFailure) {
  setLauncher("mkdir -p \"$result\"");
  const Snapshot before = state();
  expectUninstallFailed(run(uninstall()), before);
}

TEST_F(ResultTest, FifoAsResultFileIsAFailure) {
  setLauncher("mkfifo \"$result\"");
  const Snapshot before = state();
  expectUninstallFailed(run(uninstall()), before);
}

class GoodResultTest : public ResultTest, public ForEachText {};

TEST_P(GoodResultTest, IsASuccess) {
  setResult(GetParam().text);
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(files().read(inHome("installInfo.plist")), recordsText({{"version", "6.2.1"}}));
}

INSTANTIATE_TEST_SUITE_P(Texts, GoodResultTest,
                         ::testing::Values(NamedText{"Two", "rc=2\n"}, NamedText{"WithoutNewline", "rc=2"},
                                           NamedText{"Blanks", "rc =  2  \r\n"}, NamedText{"Colon", "rc:0"},
                                           NamedText{"AmongOthers", "# note\nx=1\nrc=2\n"},
                                           NamedText{"DigitsThenText", "rc=2x\n"}, NamedText{"Sign", "rc=+2\n"},
                                           NamedText{"TextWithoutDigits", "rc=abc\n"}, NamedText{"EmptyValue", "rc=\n"},
                                           NamedText{"KeyAlone", "rc"}, NamedText{"LastOfTwoCounts", "rc=1\nrc=0\n"},
                                           NamedText{"LeadingZeros", "rc=00002\n"}),
                         nameOf);

class BadResultTest : public ResultTest, public ForEachText {};

TEST_P(BadResultTest, IsAFailure) {
  setResult(GetParam().text);
  const Snapshot before = state();
  expectUninstallFailed(run(uninstall()), before);
}

INSTANTIATE_TEST_SUITE_P(Texts, BadResultTest,
                         ::testing::Values(NamedText{"One", "rc=1\n"}, NamedText{"MinusOne", "rc=-1\n"},
                                           NamedText{"Three", "rc=3\n"}, NamedText{"Twenty", "rc=20\n"},
                                           NamedText{"MinusTwo", "rc=-2\n"}, NamedText{"EmptyFile", ""},
                                           NamedText{"BlankLines", "\n\n"}, NamedText{"UpperCaseKey", "RC=0\n"},
                                           NamedText{"Comment", "#rc=0\n"}, NamedText{"OtherKey", "other=0\n"},
                                           NamedText{"BeyondThirtyTwoBits", "rc=4294967298\n"},
                                           NamedText{"BeyondSixtyFourBits", "rc=99999999999999999999\n"},
                                           NamedText{"Binary", "\x01\x02\xFF\xFE=rc"}),
                         nameOf);

}  // namespace

}  // namespace hotfix
