#include "MacInstaller/InstanceService.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

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

  /// Expects that the file has no record that can be read.
  static void expectNoRecords(const InstanceService& service, bool isRunningCheckSkipped) {
    EXPECT_EQ(service.getInstalledVersion(), kNone);
    EXPECT_FALSE(service.isHotfixApplied());
    EXPECT_EQ(service.getCurrentHotfixVersion(), kNone);
    EXPECT_EQ(service.isHotfixInstallWithSkipRunningCheck(), isRunningCheckSkipped);
    EXPECT_EQ(service.getInstalledHotfixBundleID(), kNone);
  }

  /// Makes every change of a record.
  static void changeAll(InstanceService& service) {
    service.setInstalledVersion("7");
    service.updateHotfixVersion("7");
    service.updateHotfixVersion(kNone);
    service.saveHotfixSkipRunningCheckProperty(true);
    service.removeHotfixSkipRunningCheckProperty();
    service.saveHotfixBundleID("com.qor.other");
    service.saveHotfixBundleID(kNone);
    service.deleteInstalledHotfixBundleID();
  }

  InstanceService instance{home(), data()};
  InstanceService homeless{kNone, kNone};

 private:
  Tree _before = homeTree();
};

// ----- Whether an instance is installed -----

TEST_F(InstanceServiceRecordsTest, InstanceIsInstalledWhenItsInstallManifestExists) {
  folder.makeFile(inHome("deploy/install.xml"), "no manifest");
  EXPECT_TRUE(instance.hasInstanceInstalled()) << "it is not read";
  ASSERT_EQ(unlink((home() + "/deploy/install.xml").c_str()), 0);
  EXPECT_FALSE(instance.hasInstanceInstalled()) << "whatever else exists";
  folder.makeFolder(inHome("deploy/install.xml"));
  EXPECT_TRUE(instance.hasInstanceInstalled()) << "a folder counts as well";
  EXPECT_THAT(log(), IsEmpty());
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

TEST_F(InstanceServiceRecordsTest, TargetVersionIsThatOfTheInnermostBundle) {
  EXPECT_EQ(instance.getInstalledTargetVersion(), "6.2.1");
  EXPECT_THAT(log(), IsEmpty());
  const std::string inner = std::string(kBundle) + "/Contents/MacOS/Inner.app";
  const InstanceService nested(folder.makeFolder(inner + "/Contents/MacOS/rcp"), kNone);
  EXPECT_EQ(nested.getInstalledTargetVersion(), kNone);
  folder.makeFile(inner + "/Contents/Info.plist", "{ CFBundleShortVersionString = inner; }");
  EXPECT_EQ(nested.getInstalledTargetVersion(), "inner");
  folder.makeFile("Contents/Info.plist", "{ CFBundleShortVersionString = 1; }");
  const InstanceService outsideBundle(folder.makeFolder("plain/Contents/MacOS/rcp"), kNone);
  EXPECT_EQ(outsideBundle.getInstalledTargetVersion(), kNone);
}

TEST_F(InstanceServiceRecordsTest, TargetVersionNeedsItsKeyInAReadableList) {
  const std::string list = std::string(kBundle) + "/Contents/Info.plist";
  for (const char* contents :
       {"{ CFBundleVersion = 1; }", "{ CFBundleShortVersionString = ( 6, 2 ); }", "{ CFBundleShortVersionString = "}) {
    folder.makeFile(list, contents);
    EXPECT_EQ(instance.getInstalledTargetVersion(), kNone) << contents;
  }
  ASSERT_EQ(unlink((folder / list).c_str()), 0);
  EXPECT_EQ(instance.getInstalledTargetVersion(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Reading records -----

TEST_F(InstanceServiceRecordsTest, RecordsAreRead) {
  EXPECT_EQ(instance.getInstalledVersion(), "6.2.1");
  EXPECT_EQ(log(), (LogLines{{6, "Get installInfo: " + home() + "/installInfo.plist"}}));
  clearLog();
  EXPECT_TRUE(instance.isHotfixApplied());
  EXPECT_EQ(instance.getCurrentHotfixVersion(), "6.2.1.1");
  EXPECT_FALSE(instance.isHotfixInstallWithSkipRunningCheck());
  EXPECT_EQ(instance.getInstalledHotfixBundleID(), "com.qor.hotfix.pkg");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceRecordsTest, RecordsOfAMissingFileAreNone) {
  removeInstallInfo();
  expectNoRecords(instance, /*isRunningCheckSkipped=*/false);
  EXPECT_EQ(log(), (LogLines{{6, "Get installInfo: " + home() + "/installInfo.plist"}}));
  clearLog();
  expectInstallInfo(kNone);
}

TEST_F(InstanceServiceRecordsTest, RecordsThatAreNotThereAreNoneAndTheRunningCheckIsSkipped) {
  for (const char* contents :
       {"{ other = 1; }", "", "<plist><dict><key>version", "( version, hotfixVersion )", "\x01\x02"}) {
    SCOPED_TRACE(contents);
    folder.makeFile(inHome(kInstallInfo), contents);
    expectNoRecords(instance, /*isRunningCheckSkipped=*/true);
  }
  removeInstallInfo();
  folder.makeFolder(inHome(kInstallInfo));
  expectNoRecords(instance, /*isRunningCheckSkipped=*/true);
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

// ----- Changing records: the file is missing -----

TEST_F(InstanceServiceRecordsTest, OnlyTheVersionsAndTheSkipMakeANewFile) {
  const struct {
    const char* name;
    std::function<void()> change;
    OptionalString records;
  } rows[] = {
      {"version", [this] { instance.setInstalledVersion(""); }, xmlRecords({{"version", ""}})},
      {"absent version", [this] { instance.setInstalledVersion(kNone); }, kNone},
      {"hotfix version", [this] { instance.updateHotfixVersion("7"); }, xmlRecords({{"hotfixVersion", "7"}})},
      {"absent hotfix version", [this] { instance.updateHotfixVersion(kNone); }, xmlRecords({})},
      {"no skip", [this] { instance.saveHotfixSkipRunningCheckProperty(false); },
       xmlRecords({{"SKIPRUNNINGCHECK", "false"}})},
      {"skip", [this] { instance.saveHotfixSkipRunningCheckProperty(true); },
       xmlRecords({{"SKIPRUNNINGCHECK", "true"}})},
      {"removed skip", [this] { instance.removeHotfixSkipRunningCheckProperty(); }, kNone},
      {"bundle id", [this] { instance.saveHotfixBundleID("com.qor.other"); }, kNone},
      {"absent bundle id", [this] { instance.saveHotfixBundleID(kNone); }, kNone},
      {"removed bundle id", [this] { instance.deleteInstalledHotfixBundleID(); }, kNone},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    (void)unlink((folder / inHome(kInstallInfo)).c_str());
    row.change();
    expectInstallInfo(row.records);
  }
}

// ----- Changing records: the file cannot be used -----

TEST_F(InstanceServiceRecordsTest, NothingTouchesADamagedFile) {
  for (const std::string damaged : {"", "<plist><dict><key>version", "( version, hotfixVersion )"}) {
    folder.makeFile(inHome(kInstallInfo), damaged);
    changeAll(instance);
    expectInstallInfo(damaged);
  }
}

TEST_F(InstanceServiceRecordsTest, RecordsThatCannotBeReadAreNeverSavedOver) {
  removeInstallInfo();
  folder.makeFifo(inHome(kInstallInfo));  // there, but nothing to read from
  const Tree withFifo = homeTree();
  changeAll(instance);
  expectHome(withFifo);
  EXPECT_EQ(instance.getCurrentHotfixVersion(), kNone);

  removeInstallInfo();
  folder.makeFile(inHome(std::string(kInstallInfo) + "/inner"), "kept");
  const Tree withFolder = homeTree();
  changeAll(instance);
  expectHome(withFolder);
}

TEST_F(InstanceServiceRecordsTest, NewFileThatCannotBeMadeIsNotTold) {
  GoneHome gone(folder);
  clearLog();
  changeAll(gone);
  EXPECT_FALSE(folder.has("gone"));
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Without a home -----

TEST_F(InstanceServiceRecordsTest, NothingIsInstalledOrRecordedWithoutAHome) {
  const ScopedWorkingFolder working(home());  // where relative paths would lead
  const Tree before = everything();
  EXPECT_FALSE(homeless.hasInstanceInstalled());
  EXPECT_EQ(homeless.getBaseVersion(), kNone);
  EXPECT_EQ(homeless.getInstalledTargetVersion(), kNone);
  expectNoRecords(homeless, /*isRunningCheckSkipped=*/false);
  changeAll(homeless);
  expectEverything(before);
}

}  // namespace

}  // namespace hotfix
