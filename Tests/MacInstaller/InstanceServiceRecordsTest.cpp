#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "MacInstaller/InstanceService.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using ::testing::IsEmpty;

class InstanceServiceRecordsTest : public InstanceTest {
 protected:
  InstanceServiceRecordsTest() { clearLog(); }

  static constexpr char kInstallInfo[] = "installInfo.plist";

  void removeInstallInfo() const { EXPECT_EQ(unlink((folder / inHome(kInstallInfo)).c_str()), 0); }

  /// Compares the whole instance with what it was before, but for the text of installInfo.plist (none: missing).
  void expectInstallInfo(const OptionalString& text) const {
    Tree expected = _before;
    expected.erase(kInstallInfo);
    if (text) expected[kInstallInfo] = "file: " + *text;
    EXPECT_EQ(homeTree(), expected);
    EXPECT_THAT(log(), IsEmpty());
  }

  InstanceService instance{home(), data()};
  InstanceService homeless{kNone, kNone};

 private:
  Tree _before = homeTree();
};

// ----- Whether an instance is installed -----

TEST_F(InstanceServiceRecordsTest, InstanceIsInstalledWhenItsInstallManifestExists) {
  EXPECT_TRUE(instance.hasInstanceInstalled());
  ASSERT_EQ(unlink((home() + "/deploy/install.xml").c_str()), 0);
  EXPECT_FALSE(instance.hasInstanceInstalled()) << "whatever else exists";
  folder.makeFolder(inHome("deploy/install.xml"));
  EXPECT_TRUE(instance.hasInstanceInstalled()) << "a folder counts as well";
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, InstallManifestIsOnlyLookedForAndNotRead) {
  folder.makeFile(inHome("deploy/install.xml"), "no manifest");
  EXPECT_TRUE(instance.hasInstanceInstalled());
}

// ----- Base plug-in -----

class BaseVersionTest : public InstanceServiceRecordsTest {
 protected:
  BaseVersionTest() { EXPECT_EQ(rmdir((home() + "/eclipse/plugins/com.qor.rcp.base_6.2.1.20260101").c_str()), 0); }

  void addPlugins(const std::vector<std::string>& names) const {
    for (const std::string& name : names) folder.makeFolder(inHome("eclipse/plugins/" + name));
  }
};

TEST_F(BaseVersionTest, BaseVersionIsTheGreatestAsText) {
  addPlugins({"com.qor.rcp.base_6.2.0.a", "com.qor.rcp.base_6.10.0.a", "com.qor.rcp.base.ui_7.0"});
  EXPECT_EQ(instance.getBaseVersion(), "6.2.0.a");
  addPlugins({"com.qor.rcp.base_9.0", "com.qor.rcp.base_10.0"});
  EXPECT_EQ(instance.getBaseVersion(), "9.0");
  addPlugins({"com.qor.rcp.base_B", "com.qor.rcp.base_a"});
  EXPECT_EQ(instance.getBaseVersion(), "a") << "upper case sorts below lower case";
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(BaseVersionTest, BaseVersionDoesNotDependOnTheOrderOfTheFileSystem) {
  for (char letter = 'a'; letter <= 'y'; ++letter) {  // in some order, whichever the file system has
    addPlugins({std::string("com.qor.rcp.base_1.") + letter});
    EXPECT_EQ(instance.getBaseVersion(), std::string("1.") + letter);
  }
}

TEST_F(BaseVersionTest, BaseVersionEndsAtTheSecondUnderscore) {
  addPlugins({"com.qor.rcp.base_6.2.1_patch_9"});
  EXPECT_EQ(instance.getBaseVersion(), "6.2.1");
  addPlugins({"com.qor.rcp.base_6.2.1_zzz", "com.qor.rcp.base_6.2.0_zzzz"});
  EXPECT_EQ(instance.getBaseVersion(), "6.2.1");
}

TEST_F(BaseVersionTest, BaseVersionOfAFileKeepsItsSuffix) {
  folder.makeFile(inHome("eclipse/plugins/com.qor.rcp.base_6.2.1.jar"));
  EXPECT_EQ(instance.getBaseVersion(), "6.2.1.jar");
}

TEST_F(BaseVersionTest, BaseVersionMayBeEmpty) {
  addPlugins({"com.qor.rcp.base_"});
  EXPECT_EQ(instance.getBaseVersion(), "");
  addPlugins({"com.qor.rcp.base__9"});
  EXPECT_EQ(instance.getBaseVersion(), "");
  addPlugins({"com.qor.rcp.base_0"});
  EXPECT_EQ(instance.getBaseVersion(), "0");
}

TEST_F(BaseVersionTest, OtherPluginsHaveNoBaseVersion) {
  EXPECT_EQ(instance.getBaseVersion(), kNone);
  addPlugins({"com.qor.rcp.base", "com.qor.rcp.base.ui_7.0", "Com.qor.rcp.base_6.2", "com.qor.rcp.BASE_6.2",
              "x.com.qor.rcp.base_6.2", "com.qor.rcp.base-6.2"});
  EXPECT_EQ(instance.getBaseVersion(), kNone);
}

TEST_F(BaseVersionTest, BaseVersionNeedsThePluginsFolder) {
  ASSERT_EQ(rmdir((home() + "/eclipse/plugins").c_str()), 0);
  EXPECT_EQ(instance.getBaseVersion(), kNone);
  folder.makeFile(inHome("eclipse/plugins"));
  EXPECT_EQ(instance.getBaseVersion(), kNone);
  const InstanceService file(folder.makeFile("file"), kNone);
  EXPECT_EQ(file.getBaseVersion(), kNone);
}

// ----- Application bundle -----

TEST_F(InstanceServiceRecordsTest, TargetVersionIsThatOfTheBundle) {
  EXPECT_EQ(instance.getInstalledTargetVersion(), "6.2.1");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, TargetVersionIsThatOfTheInnermostBundle) {
  const std::string inner = std::string(kBundle) + "/Contents/MacOS/Inner.app";
  const InstanceService nested(folder.makeFolder(inner + "/Contents/MacOS/rcp"), kNone);
  EXPECT_EQ(nested.getInstalledTargetVersion(), kNone);
  folder.makeFile(inner + "/Contents/Info.plist", "{ CFBundleShortVersionString = inner; }");
  EXPECT_EQ(nested.getInstalledTargetVersion(), "inner");
}

TEST_F(InstanceServiceRecordsTest, TargetVersionNeedsABundle) {
  folder.makeFile("Contents/Info.plist", "{ CFBundleShortVersionString = 1; }");
  const InstanceService outsideBundle(folder.makeFolder("plain/Contents/MacOS/rcp"), kNone);
  EXPECT_EQ(outsideBundle.getInstalledTargetVersion(), kNone);
}

TEST_F(InstanceServiceRecordsTest, TargetVersionNeedsItsKeyInAReadableList) {
  const std::string list = std::string(kBundle) + "/Contents/Info.plist";
  folder.makeFile(list, "{ CFBundleVersion = 1; }");
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  folder.makeFile(list, "{ CFBundleShortVersionString = ( 6, 2 ); }");
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  folder.makeFile(list, "{ CFBundleShortVersionString = ");
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  ASSERT_EQ(unlink((folder / list).c_str()), 0);
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  folder.makeFolder(list);
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Reading records -----

TEST_F(InstanceServiceRecordsTest, RecordsAreRead) {
  EXPECT_EQ(instance.getInstalledVersion(), "6.2.1");
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Get installInfo: " + home() + "/installInfo.plist"}}));
  clearLog();
  EXPECT_TRUE(instance.isHotfixApplied());
  EXPECT_EQ(instance.getCurrentHotfixVersion(), "6.2.1.1");
  EXPECT_FALSE(instance.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), "com.qor.hotfix.pkg");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, RecordsOfAMissingFileAreNone) {
  removeInstallInfo();
  EXPECT_EQ(instance.getInstalledVersion(), kNone);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Get installInfo: " + home() + "/installInfo.plist"}}));
  clearLog();
  EXPECT_FALSE(instance.isHotfixApplied());
  EXPECT_EQ(instance.getCurrentHotfixVersion(), kNone);
  EXPECT_FALSE(instance.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), kNone);
  expectInstallInfo(kNone);
}

TEST_F(InstanceServiceRecordsTest, RecordsThatAreNotThereAreNoneAndTheRunningCheckIsSkipped) {
  writeInstallInfo({});
  EXPECT_EQ(instance.getInstalledVersion(), kNone);
  EXPECT_FALSE(instance.isHotfixApplied());
  EXPECT_EQ(instance.getCurrentHotfixVersion(), kNone);
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), kNone);
  writeInstallInfo({{"version", "6.2.1"}});
  EXPECT_FALSE(instance.isHotfixApplied());
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
}

TEST_F(InstanceServiceRecordsTest, RecordsOfADamagedFileAreNoneAndTheRunningCheckIsSkipped) {
  for (const char* damaged : {"", "<plist><dict><key>version", "( version, hotfixVersion )", "\x01\x02"}) {
    folder.makeFile(inHome(kInstallInfo), damaged);
    EXPECT_EQ(instance.getInstalledVersion(), kNone) << damaged;
    EXPECT_FALSE(instance.isHotfixApplied()) << damaged;
    EXPECT_EQ(instance.getCurrentHotfixVersion(), kNone) << damaged;
    EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck()) << damaged;
    EXPECT_EQ(instance.getInstalledHotfixBundleID(), kNone) << damaged;
  }
}

TEST_F(InstanceServiceRecordsTest, FolderInPlaceOfTheRecordsReadsAsDamagedFile) {
  removeInstallInfo();
  folder.makeFolder(inHome(kInstallInfo));
  EXPECT_EQ(instance.getInstalledVersion(), kNone);
  EXPECT_FALSE(instance.isHotfixApplied());
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), kNone);
}

TEST_F(InstanceServiceRecordsTest, HotfixIsAppliedWhateverItsVersionIs) {
  writeInstallInfo({{"hotfixVersion", ""}});
  EXPECT_TRUE(instance.isHotfixApplied());
  EXPECT_EQ(instance.getCurrentHotfixVersion(), "");
  folder.makeFile(inHome(kInstallInfo), "{ hotfixVersion = ( 1 ); }");
  EXPECT_TRUE(instance.isHotfixApplied());
}

TEST_F(InstanceServiceRecordsTest, RunningCheckIsSkippedForExactlyTrue) {
  writeInstallInfo({{"SKIPRUNNINGCHECK", "true"}});
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
  for (const char* other : {"false", "TRUE", "True", "yes", "YES", "1", "", " true", "true ", "truest"}) {
    writeInstallInfo({{"SKIPRUNNINGCHECK", other}});
    EXPECT_FALSE(instance.isHotfixInstallWithSkipRunningCheck()) << other;
  }
}

TEST_F(InstanceServiceRecordsTest, RecordIsReadAfreshEachTime) {
  EXPECT_EQ(instance.getCurrentHotfixVersion(), "6.2.1.1");
  InstanceService other(home(), data());
  other.updateHotfixVersion("7");
  EXPECT_EQ(instance.getCurrentHotfixVersion(), "7");
}

// ----- Changing records: the file exists -----

TEST_F(InstanceServiceRecordsTest, VersionIsRecordedAndTheOtherRecordsAreKept) {
  instance.setInstalledVersion("7.0 & <more>");
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "false"},
                                {"hotfixVersion", "6.2.1.1"},
                                {"installedHotfixBundleID", "com.qor.hotfix.pkg"},
                                {"version", "7.0 &amp; &lt;more&gt;"}}));
  EXPECT_EQ(instance.getInstalledVersion(), "7.0 & <more>");
}

TEST_F(InstanceServiceRecordsTest, AbsentVersionRecordsNothing) {
  const std::string before = folder.read(inHome(kInstallInfo));
  instance.setInstalledVersion(kNone);
  expectInstallInfo(before);
  removeInstallInfo();
  instance.setInstalledVersion(kNone);
  expectInstallInfo(kNone);
}

TEST_F(InstanceServiceRecordsTest, EmptyVersionIsRecorded) {
  instance.setInstalledVersion("");
  EXPECT_EQ(installRecord("version"), "");
}

TEST_F(InstanceServiceRecordsTest, HotfixVersionIsRecordedAndRemoved) {
  instance.updateHotfixVersion("6.2.1.2");
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "false"},
                                {"hotfixVersion", "6.2.1.2"},
                                {"installedHotfixBundleID", "com.qor.hotfix.pkg"},
                                {"version", "6.2.1"}}));
  instance.updateHotfixVersion(nullptr);
  expectInstallInfo(xmlRecords(
      {{"SKIPRUNNINGCHECK", "false"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}, {"version", "6.2.1"}}));
  EXPECT_FALSE(instance.isHotfixApplied());
  instance.updateHotfixVersion(kNone);
  expectInstallInfo(xmlRecords(
      {{"SKIPRUNNINGCHECK", "false"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}, {"version", "6.2.1"}}));
}

TEST_F(InstanceServiceRecordsTest, SkipOfTheRunningCheckIsRecordedAsTextAndRemoved) {
  instance.saveHotfixSkipRunningCheckProperty(true);
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "true"},
                                {"hotfixVersion", "6.2.1.1"},
                                {"installedHotfixBundleID", "com.qor.hotfix.pkg"},
                                {"version", "6.2.1"}}));
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
  instance.saveHotfixSkipRunningCheckProperty(false);
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "false"},
                                {"hotfixVersion", "6.2.1.1"},
                                {"installedHotfixBundleID", "com.qor.hotfix.pkg"},
                                {"version", "6.2.1"}}));
  EXPECT_FALSE(instance.isHotfixInstallWithSkipRunningCheck());
  instance.removeHotfixSkipRunningCheckProperty();
  expectInstallInfo(xmlRecords(
      {{"hotfixVersion", "6.2.1.1"}, {"installedHotfixBundleID", "com.qor.hotfix.pkg"}, {"version", "6.2.1"}}));
  EXPECT_TRUE(instance.isHotfixInstallWithSkipRunningCheck());
}

TEST_F(InstanceServiceRecordsTest, BundleIdIsRecordedAndRemoved) {
  instance.saveHotfixBundleID("com.qor.other");
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "false"},
                                {"hotfixVersion", "6.2.1.1"},
                                {"installedHotfixBundleID", "com.qor.other"},
                                {"version", "6.2.1"}}));
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), "com.qor.other");
  const std::string without =
      xmlRecords({{"SKIPRUNNINGCHECK", "false"}, {"hotfixVersion", "6.2.1.1"}, {"version", "6.2.1"}});
  instance.saveHotfixBundleID(kNone);
  expectInstallInfo(without);
  instance.saveHotfixBundleID("again");
  instance.deleteInstalledHotfixBundleID();
  expectInstallInfo(without);
}

TEST_F(InstanceServiceRecordsTest, RecordsOfEveryTypeAreCarriedThrough) {
  const std::string before =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n"
      "<dict>\n"
      "\t<key>array</key>\n"
      "\t<array>\n"
      "\t\t<integer>-3</integer>\n"
      "\t\t<real>0.5</real>\n"
      "\t</array>\n"
      "\t<key>data</key>\n"
      "\t<data>\n"
      "\tAQID\n"
      "\t</data>\n"
      "\t<key>date</key>\n"
      "\t<date>2026-11-15T21:25:07Z</date>\n"
      "\t<key>dictionary</key>\n"
      "\t<dict>\n"
      "\t\t<key>true</key>\n"
      "\t\t<true/>\n"
      "\t</dict>\n"
      "\t<key>number</key>\n"
      "\t<integer>7</integer>\n"
      "\t<key>text</key>\n"
      "\t<string>\xC3\xA4</string>\n"
      "</dict>\n"
      "</plist>\n";
  folder.makeFile(inHome(kInstallInfo), before);
  instance.updateHotfixVersion(kNone);
  expectInstallInfo(before);
}

TEST_F(InstanceServiceRecordsTest, RewriteKeepsTheModeOfTheRecords) {
  ASSERT_EQ(chmod((home() + "/installInfo.plist").c_str(), 0664), 0);
  instance.updateHotfixVersion(kNone);
  EXPECT_EQ(folder.mode(inHome(kInstallInfo)), 0664U);
}

// ----- Changing records: the file is missing -----

TEST_F(InstanceServiceRecordsTest, VersionIsRecordedInANewFile) {
  removeInstallInfo();
  instance.setInstalledVersion("7");
  expectInstallInfo(xmlRecords({{"version", "7"}}));
}

TEST_F(InstanceServiceRecordsTest, HotfixVersionIsRecordedInANewFile) {
  removeInstallInfo();
  instance.updateHotfixVersion("7");
  expectInstallInfo(xmlRecords({{"hotfixVersion", "7"}}));
}

TEST_F(InstanceServiceRecordsTest, AbsentHotfixVersionMakesAFileWithoutRecords) {
  removeInstallInfo();
  instance.updateHotfixVersion(kNone);
  expectInstallInfo(xmlRecords({}));
}

TEST_F(InstanceServiceRecordsTest, SkipOfTheRunningCheckIsRecordedInANewFile) {
  removeInstallInfo();
  instance.saveHotfixSkipRunningCheckProperty(false);
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "false"}}));
  removeInstallInfo();
  instance.saveHotfixSkipRunningCheckProperty(true);
  expectInstallInfo(xmlRecords({{"SKIPRUNNINGCHECK", "true"}}));
}

TEST_F(InstanceServiceRecordsTest, RemovalsAndTheBundleIdMakeNoNewFile) {
  removeInstallInfo();
  instance.removeHotfixSkipRunningCheckProperty();
  expectInstallInfo(kNone);
  instance.saveHotfixBundleID("com.qor.other");
  expectInstallInfo(kNone);
  instance.saveHotfixBundleID(kNone);
  expectInstallInfo(kNone);
  instance.deleteInstalledHotfixBundleID();
  expectInstallInfo(kNone);
}

// ----- Changing records: the file cannot be used -----

TEST_F(InstanceServiceRecordsTest, NoWriterTouchesADamagedFile) {
  for (const std::string damaged : {"", "<plist><dict><key>version", "( version, hotfixVersion )"}) {
    folder.makeFile(inHome(kInstallInfo), damaged);
    instance.setInstalledVersion("7");
    instance.updateHotfixVersion("7");
    instance.updateHotfixVersion(kNone);
    instance.saveHotfixSkipRunningCheckProperty(true);
    instance.removeHotfixSkipRunningCheckProperty();
    instance.saveHotfixBundleID("com.qor.other");
    instance.saveHotfixBundleID(kNone);
    instance.deleteInstalledHotfixBundleID();
    expectInstallInfo(damaged);
  }
}

TEST_F(InstanceServiceRecordsTest, FolderInPlaceOfTheRecordsStays) {
  removeInstallInfo();
  folder.makeFile(inHome(std::string(kInstallInfo) + "/inner"), "kept");
  const Tree before = homeTree();
  instance.setInstalledVersion("7");
  instance.updateHotfixVersion("7");
  instance.updateHotfixVersion(kNone);
  instance.saveHotfixSkipRunningCheckProperty(true);
  instance.removeHotfixSkipRunningCheckProperty();
  instance.saveHotfixBundleID("com.qor.other");
  instance.deleteInstalledHotfixBundleID();
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, NewFileThatCannotBeMadeIsNotTold) {
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  clearLog();
  gone.setInstalledVersion("7");
  gone.updateHotfixVersion(kNone);
  gone.saveHotfixSkipRunningCheckProperty(true);
  EXPECT_FALSE(folder.has("gone"));
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Without a home -----

TEST_F(InstanceServiceRecordsTest, NothingIsInstalledWithoutAHome) {
  EXPECT_FALSE(homeless.hasInstanceInstalled());
  EXPECT_EQ(homeless.getBaseVersion(), kNone);
  EXPECT_EQ(homeless.getInstalledTargetVersion(), kNone);
  EXPECT_EQ(homeless.getInstalledVersion(), kNone);
  EXPECT_FALSE(homeless.isHotfixApplied());
  EXPECT_EQ(homeless.getCurrentHotfixVersion(), kNone);
  EXPECT_FALSE(homeless.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(homeless.getInstalledHotfixBundleID(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, NothingIsRecordedWithoutAHome) {
  const ScopedWorkingFolder working(folder.path());  // where relative paths would lead
  const Tree before = treeSnapshot(folder.path());
  homeless.setInstalledVersion("7");
  homeless.updateHotfixVersion("7");
  homeless.updateHotfixVersion(kNone);
  homeless.saveHotfixSkipRunningCheckProperty(true);
  homeless.removeHotfixSkipRunningCheckProperty();
  homeless.saveHotfixBundleID("com.qor.other");
  homeless.deleteInstalledHotfixBundleID();
  EXPECT_EQ(treeSnapshot(folder.path()), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, RecordsThatCannotBeReadAreNeverSavedOver) {
  removeInstallInfo();
  folder.makeFifo(inHome(kInstallInfo));  // there, but nothing to read from
  const std::vector<std::function<void()>> changes = {[&] { instance.setInstalledVersion("7"); },
                                                      [&] { instance.updateHotfixVersion("7"); },
                                                      [&] { instance.updateHotfixVersion(kNone); },
                                                      [&] { instance.saveHotfixSkipRunningCheckProperty(true); },
                                                      [&] { instance.removeHotfixSkipRunningCheckProperty(); },
                                                      [&] { instance.saveHotfixBundleID("id"); },
                                                      [&] { instance.deleteInstalledHotfixBundleID(); }};
  clearLog();
  for (const auto& change : changes) change();
  EXPECT_TRUE(S_ISFIFO(folder.attributes(inHome(kInstallInfo)).st_mode));
  EXPECT_EQ(instance.getCurrentHotfixVersion(), kNone);
  EXPECT_FALSE(instance.isHotfixApplied());
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace

}  // namespace hotfix
