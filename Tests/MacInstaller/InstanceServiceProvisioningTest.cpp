#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class InstanceServiceProvisioningTest : public InstanceTest {
 protected:
  InstanceServiceProvisioningTest() { clearLog(); }

  std::string launcher() const { return home() + "/rcplauncher"; }

  void removeFile(const std::string& relativePath) const {
    EXPECT_EQ(unlink((folder / relativePath).c_str()), 0) << relativePath;
  }

  InstanceService instance{home(), data()};
};

// ----- Passes -----

TEST_F(InstanceServiceProvisioningTest, CleanUpPassStartsTheLauncherOnceWithTheDataFolder) {
  instance.startProvisioningWithCleanUp(launcher());
  EXPECT_EQ(children(), (Children{launch("cleanup", data())}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, UpdatePassStartsTheLauncherOnceWithTheDataFolder) {
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(children(), (Children{launch("update", data())}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, PassesWithoutDataFolderHaveElevenArguments) {
  InstanceService dataless(home());
  dataless.startProvisioningWithCleanUp(launcher());
  dataless.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(children(), (Children{launch("cleanup", kNone), launch("update", kNone)}));
  ASSERT_FALSE(children().empty());
  EXPECT_EQ(children()[0].size(), 1U + 11U);
}

TEST_F(InstanceServiceProvisioningTest, PassesHandOnTheUsersLocale) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = \"pt_BR\"; }");
  instance.startProvisioningWithCleanUp(launcher());
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = \"ja_JP\"; }");
  instance.startProvisioningWithUpdate(launcher());
  ASSERT_EQ(children().size(), 2U);
  EXPECT_EQ(children()[0][7], "pt_BR");
  EXPECT_EQ(children()[1][7], "ja_JP");
}

TEST_F(InstanceServiceProvisioningTest, PassesStartTheProgramThatIsHandedIn) {
  const std::string other = makeNotingProgram("other launcher");
  instance.startProvisioningWithCleanUp(other);
  instance.startProvisioningWithUpdate(other);
  ASSERT_EQ(children().size(), 2U);
  EXPECT_EQ(children()[0][0], other);
  EXPECT_EQ(children()[1][0], other);
}

TEST_F(InstanceServiceProvisioningTest, PassesNeedNoHome) {
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.startProvisioningWithCleanUp(launcher());
  homeless.startProvisioningWithUpdate(launcher());
  ASSERT_EQ(children().size(), 2U);
  EXPECT_EQ(children()[0].size(), 12U) << "there is no data folder without a home";
  EXPECT_EQ(children()[1].size(), 12U);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, PassesWaitForTheLauncher) {
  makeNotingProgram(inHome("rcplauncher"), "sleep 0.3; echo done >> '" + (folder / "end") + "'");
  instance.startProvisioningWithCleanUp(launcher());
  EXPECT_EQ(folder.lines("end").size(), 1U);
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(folder.lines("end").size(), 2U);
}

TEST_F(InstanceServiceProvisioningTest, OutputAndExitStatusOfTheLauncherAreDropped) {
  makeNotingProgram(inHome("rcplauncher"), "echo out; echo err >&2; exit 9");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  instance.startProvisioningWithCleanUp(launcher());
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(children().size(), 2U);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, PassesNeitherRemoveNorReadTheResultFile) {
  setLauncherResult("");
  folder.makeFile(kResultFile, "rc=1\n");
  const Tree before = treeSnapshot(folder / "Apps");
  instance.startProvisioningWithCleanUp(launcher());
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(treeSnapshot(folder / "Apps"), before);
}

TEST_F(InstanceServiceProvisioningTest, LauncherThatCannotBeStartedIsOneErrorLine) {
  removeFile(inHome("rcplauncher"));
  instance.startProvisioningWithCleanUp(launcher());
  ASSERT_EQ(log().size(), 1U);
  EXPECT_EQ(log()[0].first, 3);
  EXPECT_THAT(log()[0].second, AllOf(HasSubstr(launcher()), HasSubstr(std::strerror(ENOENT))));

  clearLog();
  folder.makeFolder(inHome("rcplauncher"));
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_THAT(log(), ElementsAre(testing::Pair(3, HasSubstr(launcher()))));
  EXPECT_THAT(children(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, AbsentLauncherIsOneErrorLine) {
  instance.startProvisioningWithCleanUp(kNone);
  EXPECT_THAT(log(), ElementsAre(testing::Pair(3, HasSubstr("(null)"))));
  clearLog();
  instance.startProvisioningWithUpdate(kNone);
  EXPECT_THAT(log(), ElementsAre(testing::Pair(3, HasSubstr("(null)"))));
  EXPECT_THAT(children(), IsEmpty());
}

// ----- Result -----

struct Outcome {
  const char* name;
  const char* resultFile;
  std::int32_t result;
};

class ProvisioningResultTest : public InstanceServiceProvisioningTest, public testing::WithParamInterface<Outcome> {};

TEST_P(ProvisioningResultTest, ResultFileGivesResult) {
  folder.makeFile(kResultFile, GetParam().resultFile);
  const Tree before = treeSnapshot(folder / "Apps");
  EXPECT_EQ(instance.getProvisioningResult(), GetParam().result);
  EXPECT_EQ(treeSnapshot(folder / "Apps"), before);
  EXPECT_THAT(log(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, ProvisioningResultTest,
    testing::Values(Outcome{"Zero", "rc=0\n", 0}, Outcome{"Two", "rc=2\n", 0},
                    Outcome{"BlanksBeforeTwo", "rc =   2\n", 0}, Outcome{"NoBreakSpaceBeforeTwo", "rc=\xA0\x32\n", 0},
                    Outcome{"PlusTwo", "rc=+2\n", 0}, Outcome{"MinusZero", "rc=-0\n", 0},
                    Outcome{"LeadingZeros", "rc=002\n", 0}, Outcome{"TextAfterTwo", "rc=2nd\n", 0},
                    Outcome{"TextAfterZero", "rc=0x1\n", 0}, Outcome{"FractionAfterTwo", "rc=2.9\n", 0},
                    Outcome{"NoDigits", "rc=abc\n", 0}, Outcome{"DigitsAfterText", "rc=a1\n", 0},
                    Outcome{"SignOnly", "rc=-\n", 0}, Outcome{"EmptyValue", "rc=\n", 0}, Outcome{"KeyOnly", "rc", 0},
                    Outcome{"OtherKeysToo", "# note\nx=1\nrc=0\ny=1\n", 0}, Outcome{"One", "rc=1\n", -1},
                    Outcome{"MinusOne", "rc=-1\n", -1}, Outcome{"Three", "rc=3\n", -1},
                    Outcome{"MinusTwo", "rc=-2\n", -1}, Outcome{"Twenty", "rc=20\n", -1},
                    Outcome{"BlanksBeforeOne", "rc=   1\n", -1}, Outcome{"TextAfterOne", "rc=1 of 2\n", -1},
                    Outcome{"AboveThirtyTwoBits", "rc=4294967296\n", -1},
                    Outcome{"TwoAboveThirtyTwoBits", "rc=4294967298\n", -1},
                    Outcome{"AboveSixtyFourBits", "rc=18446744073709551618\n", -1},
                    Outcome{"BelowSixtyFourBits", "rc=-18446744073709551614\n", -1}, Outcome{"EmptyFile", "", -1},
                    Outcome{"NoKey", "x=0\n", -1}, Outcome{"KeyInOtherCase", "RC=0\n", -1},
                    Outcome{"CommentedKey", "#rc=0\n", -1}, Outcome{"Binary", "\xff\xfe\x01\n\n", -1}),
    [](const testing::TestParamInfo<Outcome>& tested) { return std::string(tested.param.name); });

TEST_F(InstanceServiceProvisioningTest, MissingResultFileGivesFailure) {
  folder.makeFile(inHome(".provisioning_rc"), "rc=0\n");  // it lies beside the home folder, not in it
  EXPECT_EQ(instance.getProvisioningResult(), -1);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, UnreadableResultFileGivesFailure) {
  folder.makeFolder(kResultFile);
  EXPECT_EQ(instance.getProvisioningResult(), -1);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, ResultFileOfAHomeWithASlashAtItsEndLiesBesideIt) {
  InstanceService slashed(home() + "/", data());
  clearLog();
  EXPECT_EQ(slashed.getProvisioningResult(), -1);
  folder.makeFile(kResultFile, "rc=0\n");
  EXPECT_EQ(slashed.getProvisioningResult(), 0);
  slashed.removeProvisionRCFile();
  EXPECT_FALSE(folder.has(kResultFile));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, ResultAndItsRemovalNeedAHome) {
  folder.makeFile(kResultFile, "rc=0\n");
  const ScopedWorkingFolder working(folder.makeFolder("empty"));
  folder.makeFile("empty/.provisioning_rc", "rc=0\n");
  InstanceService homeless(kNone, data());
  clearLog();
  EXPECT_EQ(homeless.getProvisioningResult(), -1);
  homeless.removeProvisionRCFile();
  EXPECT_TRUE(folder.has("empty/.provisioning_rc"));

  InstanceService gone(folder / "empty/gone", kNone);
  clearLog();
  EXPECT_EQ(gone.getProvisioningResult(), 0) << "as long as the home is there";
  ASSERT_EQ(rmdir((folder / "empty/gone").c_str()), 0);
  EXPECT_EQ(gone.getProvisioningResult(), -1);
  gone.removeProvisionRCFile();
  EXPECT_TRUE(folder.has("empty/.provisioning_rc"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, HomeIsLookedForWithTildeExpandedAndItsResultFileWithout) {
  if (!platform::exists(platform::expandingTilde("~/."))) GTEST_SKIP() << "the user has no home folder";
  const ScopedWorkingFolder working(folder.path());
  InstanceService tilde("~/.", kNone);
  ASSERT_EQ(tilde.pathToRcphome(), "~/.");
  EXPECT_EQ(tilde.getProvisioningResult(), -1);
  folder.makeFile("~/.provisioning_rc", "rc=2\n");
  tilde.removeProvisionRCFile();
  EXPECT_FALSE(folder.has("~/.provisioning_rc"));
}

TEST_F(InstanceServiceProvisioningTest, HomeThatIsMissingWithTildeExpandedGivesFailure) {
  const std::string home = "~/hotfixTest/of/a/home/that/nobody/has";
  ASSERT_FALSE(platform::exists(platform::expandingTilde(home)));
  const ScopedWorkingFolder working(folder.path());
  InstanceService tilde(home, kNone);
  ASSERT_EQ(tilde.pathToRcphome(), home) << "made where it literally is";
  folder.makeFile("~/hotfixTest/of/a/home/that/nobody/.provisioning_rc", "rc=0\n");
  EXPECT_EQ(tilde.getProvisioningResult(), -1);
  tilde.removeProvisionRCFile();
  EXPECT_TRUE(folder.has("~/hotfixTest/of/a/home/that/nobody/.provisioning_rc"));
}

TEST_F(InstanceServiceProvisioningTest, RemovalDeletesJustTheResultFile) {
  Tree expected = treeSnapshot(folder / "Apps");
  folder.makeFile(kResultFile, "rc=0\n");
  instance.removeProvisionRCFile();
  EXPECT_EQ(treeSnapshot(folder / "Apps"), expected);
  instance.removeProvisionRCFile();
  EXPECT_EQ(treeSnapshot(folder / "Apps"), expected);
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Manifest version and install id -----

TEST_F(InstanceServiceProvisioningTest, ManifestVersionIsSetAndTheOtherKeysAreKept) {
  const Tree dataBefore = treeSnapshot(data());
  Tree expected = homeTree();
  expected["rcplauncher.properties"] =
      "file: provisioning.manifest.version=1511262125\nrcp.data=${env.HOME}/workspace\nrcp.install.id=0101260000\n";
  instance.updateProvisionManifestVersion("1511262125");
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(data()), dataBefore);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, ManifestVersionIsAddedWhereThereWasNone) {
  folder.makeFile(inHome("rcplauncher.properties"), "# note\n\nz = 1\n");
  instance.updateProvisionManifestVersion("7");
  EXPECT_EQ(folder.read(inHome("rcplauncher.properties")), "provisioning.manifest.version=7\nz=1\n");
}

TEST_F(InstanceServiceProvisioningTest, ManifestVersionMayBeEmpty) {
  instance.updateProvisionManifestVersion("");
  EXPECT_THAT(
      propertiesLines("rcplauncher.properties"),
      ElementsAre("provisioning.manifest.version=", "rcp.data=${env.HOME}/workspace", "rcp.install.id=0101260000"));
}

TEST_F(InstanceServiceProvisioningTest, InstallIdIsSetInTheLauncherPropertiesOnly) {
  const Tree dataBefore = treeSnapshot(data());
  Tree expected = homeTree();
  expected["rcplauncher.properties"] =
      "file: provisioning.manifest.version=0101260000\nrcp.data=${env.HOME}/workspace\nrcp.install.id=1511262125\n";
  instance.updateInstallID("1511262125");
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(data()), dataBefore);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, RewriteKeepsTheModeOfTheProperties) {
  ASSERT_EQ(chmod((home() + "/rcplauncher.properties").c_str(), 0640), 0);
  instance.updateProvisionManifestVersion("1");
  EXPECT_EQ(folder.mode(inHome("rcplauncher.properties")), 0640U);
}

TEST_F(InstanceServiceProvisioningTest, MissingLauncherPropertiesAreNotCreated) {
  removeFile(inHome("rcplauncher.properties"));
  const Tree before = homeTree();
  const Tree dataBefore = treeSnapshot(data());
  instance.updateProvisionManifestVersion("1");
  instance.updateInstallID("1");
  instance.updateInstallIDWithProvManVer();
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(treeSnapshot(data()), dataBefore);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, LauncherPropertiesThatCannotBeReadStayAsTheyAre) {
  removeFile(inHome("rcplauncher.properties"));
  folder.makeFile(inHome("rcplauncher.properties/inner"), "kept");
  const Tree before = homeTree();
  instance.updateProvisionManifestVersion("1");
  instance.updateInstallID("1");
  EXPECT_EQ(homeTree(), before) << "no temporary file stays behind either";
  EXPECT_EQ(log(), (std::vector<LogLine>{notSaved("rcplauncher.properties"), notSaved("rcplauncher.properties")}));
}

TEST_F(InstanceServiceProvisioningTest, PropertiesAreNotTouchedWithoutAHome) {
  const ScopedWorkingFolder working(home());  // where relative paths would lead
  const Tree before = homeTree();
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.updateProvisionManifestVersion("1");
  homeless.updateInstallID("1");
  homeless.updateInstallIDWithProvManVer();
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(folder.read("data/.config/rcpinstall.properties"), "rcp.install.id=0101260000\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, ManifestVersionBecomesTheInstallIdInBothFiles) {
  folder.makeFile(inHome("rcplauncher.properties"),
                  "provisioning.manifest.version=1511262125\nrcp.install.id=1\nx=y\n");
  folder.makeFile("data/.config/rcpinstall.properties", "rcp.install.id=2\nother=kept\n");
  Tree expected = homeTree();
  expected["rcplauncher.properties"] =
      "file: provisioning.manifest.version=1511262125\nrcp.install.id=1511262125\nx=y\n";
  instance.updateInstallIDWithProvManVer();
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(data()),
            (Tree{{".config", "folder"},
                  {".config/rcpinstall.properties", "file: other=kept\nrcp.install.id=1511262125\n"}}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, InstallIdIsLeftAloneWithoutTheInstallProperties) {
  removeFile("data/.config/rcpinstall.properties");
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version=1511262125\nrcp.install.id=1\n");
  const Tree before = homeTree();
  instance.updateInstallIDWithProvManVer();
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(treeSnapshot(data()), (Tree{{".config", "folder"}}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, InstallIdIsLeftAloneWithoutADataFolder) {
  folder.makeFile(inHome("rcplauncher.properties"),
                  "provisioning.manifest.version=1511262125\nrcp.install.id=1\nrcp.data=" + data() + "\n");
  const ScopedWorkingFolder working(data());  // where an empty data folder would lead
  const Tree before = homeTree();
  InstanceService dataless(home());
  clearLog();
  dataless.updateInstallIDWithProvManVer();
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(folder.read("data/.config/rcpinstall.properties"), "rcp.install.id=0101260000\n");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, InstallPropertiesThatSomebodyHasPutThereByALinkAreMissing) {
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version=1511262125\nrcp.install.id=1\n");
  folder.makeFile("elsewhere/rcpinstall.properties", "secret=1\n", 0600);
  const auto expectLeftAlone = [&] {
    const Tree before = treeSnapshot(folder.path());
    instance.updateInstallIDWithProvManVer();
    EXPECT_EQ(treeSnapshot(folder.path()), before);
  };
  const std::string file = "data/.config/rcpinstall.properties";
  removeFile(file);
  folder.makeLink(file, folder / "elsewhere/rcpinstall.properties");
  expectLeftAlone();
  removeFile(file);
  ASSERT_EQ(link((folder / "elsewhere/rcpinstall.properties").c_str(), (folder / file).c_str()), 0);
  expectLeftAlone();
  removeFile(file);
  ASSERT_EQ(rmdir((folder / "data/.config").c_str()), 0);
  folder.makeLink("data/.config", folder / "elsewhere");
  expectLeftAlone();
}

TEST_F(InstanceServiceProvisioningTest, WithoutAManifestVersionBothFilesAreOnlyRewritten) {
  folder.makeFile(inHome("rcplauncher.properties"), "# note\nrcp.install.id = 1\n");
  folder.makeFile("data/.config/rcpinstall.properties", "# note\nrcp.install.id = 2\n");
  instance.updateInstallIDWithProvManVer();
  EXPECT_EQ(folder.read(inHome("rcplauncher.properties")), "rcp.install.id=1\n");
  EXPECT_EQ(folder.read("data/.config/rcpinstall.properties"), "rcp.install.id=2\n");
  ASSERT_EQ(log().size(), 2U);
  EXPECT_EQ(log()[0].first, 3);
  EXPECT_EQ(log()[1].first, 3);
}

}  // namespace

}  // namespace hotfix
