#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

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

TEST_F(InstanceServiceProvisioningTest, PassesStartTheLauncherOnceWithTheDataFolderAndTheUsersLocale) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = \"ja_JP\"; }");
  instance.startProvisioningWithCleanUp(launcher());
  instance.startProvisioningWithUpdate(launcher());
  EXPECT_EQ(children(), (Children{launch("cleanup", data(), "ja_JP"), launch("update", data(), "ja_JP")}));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceProvisioningTest, PassesWithoutDataFolderOrHomeHaveElevenArguments) {
  InstanceService dataless(home());
  InstanceService homeless(kNone, data());
  clearLog();
  for (InstanceService* each : {&dataless, &homeless}) {
    each->startProvisioningWithCleanUp(launcher());
    each->startProvisioningWithUpdate(launcher());
  }
  EXPECT_EQ(children(), (Children{launch("cleanup", kNone), launch("update", kNone), launch("cleanup", kNone),
                                  launch("update", kNone)}));
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
  for (const OptionalString& program : {OptionalString(folder / "other launcher"), kNone}) {
    clearLog();
    instance.startProvisioningWithCleanUp(program);
    instance.startProvisioningWithUpdate(program);
    const auto line = Pair(3, HasSubstr(textOrNull(program)));
    EXPECT_THAT(log(), ElementsAre(line, line));
  }
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
    testing::Values(
        Outcome{"Zero", "rc=0\n", 0}, Outcome{"Two", "rc=2\n", 0}, Outcome{"BlanksBeforeTwo", "rc =   2\n", 0},
        Outcome{"NoBreakSpaceBeforeTwo", "rc=\xA0\x32\n", 0}, Outcome{"PlusTwo", "rc=+2\n", 0},
        Outcome{"MinusZero", "rc=-0\n", 0}, Outcome{"LeadingZeros", "rc=002\n", 0},
        Outcome{"TextAfterTwo", "rc=2nd\n", 0}, Outcome{"TextAfterZero", "rc=0x1\n", 0},
        Outcome{"FractionAfterTwo", "rc=2.9\n", 0}, Outcome{"NoDigits", "rc=abc\n", 0},
        Outcome{"DigitsAfterText", "rc=a1\n", 0}, Outcome{"SignOnly", "rc=-\n", 0}, Outcome{"EmptyValue", "rc=\n", 0},
        Outcome{"KeyOnly", "rc", 0}, Outcome{"OtherKeysToo", "# note\nx=1\nrc=0\ny=1\n", 0},
        Outcome{"Colon", "rc:0", 0}, Outcome{"LastOfTwoCounts", "rc=1\nrc=0\n", 0}, Outcome{"One", "rc=1\n", -1},
        Outcome{"MinusOne", "rc=-1\n", -1}, Outcome{"Three", "rc=3\n", -1}, Outcome{"MinusTwo", "rc=-2\n", -1},
        Outcome{"Twenty", "rc=20\n", -1}, Outcome{"BlanksBeforeOne", "rc=   1\n", -1},
        Outcome{"TextAfterOne", "rc=1 of 2\n", -1}, Outcome{"LargestOfThirtyTwoBits", "rc=2147483647\n", -1},
        Outcome{"BelowThirtyTwoBits", "rc=-4294967294\n", -1}, Outcome{"AboveThirtyTwoBits", "rc=4294967296\n", -1},
        Outcome{"TwoAboveThirtyTwoBits", "rc=4294967298\n", -1},
        Outcome{"AboveSixtyFourBits", "rc=18446744073709551618\n", -1},
        Outcome{"BelowSixtyFourBits", "rc=-18446744073709551614\n", -1}, Outcome{"EmptyFile", "", -1},
        Outcome{"NoKey", "x=0\n", -1}, Outcome{"KeyInOtherCase", "RC=0\n", -1}, Outcome{"CommentedKey", "#rc=0\n", -1},
        Outcome{"Binary", "\xff\xfe\x01\n\n", -1}),
    [](const testing::TestParamInfo<Outcome>& tested) { return std::string(tested.param.name); });

TEST_F(InstanceServiceProvisioningTest, MissingOrUnreadableResultFileGivesFailure) {
  folder.makeFile(inHome(".provisioning_rc"), "rc=0\n");  // it lies beside the home folder, not in it
  EXPECT_EQ(instance.getProvisioningResult(), -1);
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

TEST_F(InstanceServiceProvisioningTest, ManifestVersionAndInstallIdAreSetInTheLauncherPropertiesOnly) {
  folder.makeFile(inHome("rcplauncher.properties"), "rcp.install.id=0101260000\nother=kept\n");
  Tree expected = everything();
  const std::string file = inHome("rcplauncher.properties");
  expected[file] = "file: other=kept\nprovisioning.manifest.version=1511262125\nrcp.install.id=0101260000\n";
  instance.updateProvisionManifestVersion("1511262125");
  expectEverything(expected);
  expected[file] = "file: other=kept\nprovisioning.manifest.version=1511262125\nrcp.install.id=\n";
  instance.updateInstallID("");
  expectEverything(expected);
}

TEST_F(InstanceServiceProvisioningTest, MissingLauncherPropertiesAreNotCreated) {
  removeFile(inHome("rcplauncher.properties"));
  const Tree before = everything();
  instance.updateProvisionManifestVersion("1");
  instance.updateInstallID("1");
  instance.updateInstallIDWithProvManVer();
  expectEverything(before);
}

TEST_F(InstanceServiceProvisioningTest, LauncherPropertiesThatCannotBeReadStayAsTheyAre) {
  removeFile(inHome("rcplauncher.properties"));
  folder.makeFile(inHome("rcplauncher.properties/inner"), "kept");
  const Tree before = homeTree();
  instance.updateProvisionManifestVersion("1");
  instance.updateInstallID("1");
  EXPECT_EQ(homeTree(), before) << "no temporary file stays behind either";
  EXPECT_EQ(log(), (LogLines{notSaved("rcplauncher.properties"), notSaved("rcplauncher.properties")}));
}

TEST_F(InstanceServiceProvisioningTest, PropertiesAreNotTouchedWithoutAHome) {
  const ScopedWorkingFolder working(home());  // where relative paths would lead
  const Tree before = everything();
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.updateProvisionManifestVersion("1");
  homeless.updateInstallID("1");
  homeless.updateInstallIDWithProvManVer();
  expectEverything(before);
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

TEST_F(InstanceServiceProvisioningTest, InstallIdIsLeftAloneWithoutTheInstallPropertiesOrADataFolder) {
  folder.makeFile(inHome("rcplauncher.properties"),
                  "provisioning.manifest.version=1511262125\nrcp.install.id=1\nrcp.data=" + data() + "\n");
  const ScopedWorkingFolder working(data());  // where an empty data folder would lead
  const Tree before = everything();
  InstanceService dataless(home());
  clearLog();
  dataless.updateInstallIDWithProvManVer();
  expectEverything(before);
  removeFile("data/.config/rcpinstall.properties");
  const Tree withoutFile = everything();
  instance.updateInstallIDWithProvManVer();
  expectEverything(withoutFile);
}

TEST_F(InstanceServiceProvisioningTest, InstallPropertiesThatSomebodyHasPutThereByALinkAreMissing) {
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version=1511262125\nrcp.install.id=1\n");
  folder.makeFile("elsewhere/rcpinstall.properties", "secret=1\n", 0600);
  const auto expectLeftAlone = [&] {
    const Tree before = everything();
    instance.updateInstallIDWithProvManVer();
    expectEverything(before);
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
