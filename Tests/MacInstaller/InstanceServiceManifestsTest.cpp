#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

// The fixture's manifest with its reference rewritten, as it is printed.
std::string rewrittenManifest(const std::string& root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
         "<install>\n"
         "    <domain-object>\n"
         "        <object-data>\n"
         "            <install>\n"
         "                <installfeature>\n"
         "                    <requirements>\n"
         "                        <feature id=\"com.qor.hotfix\" version=\"1.0.0\" action=\"uninstall\" url=\"file:" +
         root +
         "/features\"></feature>\n"
         "                    </requirements>\n"
         "                </installfeature>\n"
         "            </install>\n"
         "        </object-data>\n"
         "    </domain-object>\n"
         "</install>";
}

class InstanceServiceManifestsTest : public InstanceTest {
 protected:
  InstanceServiceManifestsTest() { platform::setCopyPolicy(nullptr); }  // as in a process that made no instance yet

  void setConfiguration(const std::string& propertyList) const {
    folder.makeFile(outside(platform::kInternalConfigurationFile), propertyList);
  }

  void setNewInstallLocation(const std::string& path) const {
    setConfiguration("{ newInstallLocation = \"" + path + "\"; }");
  }

  std::string makeStagedFile(const std::string& name, const std::string& contents) const {
    return folder.makeFile(outside(platform::kStagingFolder) + name, contents);
  }

  /// Expects every copy of a manifest to fail while nothing can be deleted from the folder of the manifests.
  void expectNoCopies(InstanceService& instance, const std::string& source) const {
    folder.makeFolder(inHome("deploy"), 0555);
    asUnprivileged([&] {
      EXPECT_FALSE(instance.copyInstallManifest(source, kNone));
      EXPECT_FALSE(instance.copyUpdateManifest(source, kNone));
      EXPECT_FALSE(instance.copyHotfixUninstallManifest(source));
    });
    folder.makeFolder(inHome("deploy"), 0755);
  }

  std::string inDeploy(const std::string& name) const { return folder / inHome("deploy/" + name); }
  std::string defaultHome() const { return folder / outside(platform::kDefaultHome); }
};

// ----- Making an instance service -----

TEST_F(InstanceServiceManifestsTest, CreationKeepsBothPathsLogsItsStepsAndChangesNothing) {
  const Tree before = everything();
  const mode_t mode = folder.mode(kHome);
  const InstanceService instance(home(), folder / "missing");
  EXPECT_EQ(instance.pathToRcphome(), home());
  EXPECT_EQ(instance.getWorkspace(), folder / "missing");
  EXPECT_EQ(log(), creationLines(home()));
  EXPECT_EQ(everything(), before);
  EXPECT_EQ(folder.mode(kHome), mode);
}

TEST_F(InstanceServiceManifestsTest, CreationWithoutDataFolderHoldsNone) {
  folder.makeFile(inHome("rcplauncher.properties"));  // names no workspace
  const InstanceService absent(home(), kNone);
  EXPECT_EQ(absent.getWorkspace(), kNone);
  EXPECT_EQ(log(), creationLines(home()));
  clearLog();
  const InstanceService shorter(home());
  EXPECT_EQ(shorter.pathToRcphome(), home());
  EXPECT_EQ(shorter.getWorkspace(), kNone);
  EXPECT_EQ(log(), creationLines(home()));
}

TEST_F(InstanceServiceManifestsTest, CreationMakesMissingHomeWithItsParentsLiterally) {
  const std::string missing = folder / "~/parents/rcp";
  const mode_t before = umask(027);
  const InstanceService instance(missing, data());
  umask(before);
  EXPECT_EQ(instance.pathToRcphome(), missing);
  EXPECT_EQ(instance.getWorkspace(), data());
  EXPECT_EQ(treeSnapshot(folder / "~"), (Tree{{"parents", "folder"}, {"parents/rcp", "folder"}}));
  EXPECT_EQ(folder.mode("~/parents"), 0750U);
  EXPECT_EQ(folder.mode("~/parents/rcp"), 0750U);
  EXPECT_EQ(log(), creationLines(missing));
}

TEST_F(InstanceServiceManifestsTest, CreationWhereHomeIsAbsentOrCannotBeMadeKeepsNeitherPath) {
  for (const OptionalString& path : {kNone, OptionalString(""), OptionalString(impossibleHome())}) {
    clearLog();
    const InstanceService instance(path, data());
    EXPECT_EQ(instance.pathToRcphome(), kNone);
    EXPECT_EQ(instance.getWorkspace(), kNone);
    LogLines expected = creationLines(path.value_or("(null)"));
    expected.emplace_back(3, "No file at: " + path.value_or("(null)") + "!");
    EXPECT_EQ(log(), expected);
  }
}

TEST_F(InstanceServiceManifestsTest, CreationKeepsAHomeThatIsAFile) {
  const std::string file = folder.makeFile("file", "contents");
  const InstanceService instance(file, data());
  EXPECT_EQ(instance.pathToRcphome(), file);
  EXPECT_EQ(instance.getWorkspace(), data());
  EXPECT_EQ(log(), creationLines(file));
  EXPECT_EQ(folder.read("file"), "contents");
}

TEST_F(InstanceServiceManifestsTest, CreationCopiesStagingFolderToNewInstallLocation) {
  makeStagedFile("top", "1");
  makeStagedFile("sub/deep", "2");
  setNewInstallLocation(folder / "target");
  const Tree staged = treeSnapshot(folder / outside(platform::kStagingFolder));
  const InstanceService instance(home(), data());
  EXPECT_EQ(treeSnapshot(folder / "target"), staged);
  EXPECT_EQ(treeSnapshot(folder / outside(platform::kStagingFolder)), staged);
  EXPECT_EQ(log(), (LogLines{{6, "The pathToRcphome is: " + home() + "."},
                             {6, "newInstallLocation : " + (folder / "target") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, FirstCreationAlreadyPassesOverItemsThatExist) {
  makeStagedFile("kept", "staged");
  makeStagedFile("new", "staged");
  folder.makeFile("target/kept", "older");
  setNewInstallLocation(folder / "target");
  const InstanceService instance(home(), data());
  EXPECT_EQ(treeSnapshot(folder / "target"), (Tree{{"kept", "file: older"}, {"new", "file: staged"}}));
  EXPECT_THAT(log(platform::LogLevel::Error), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, EveryCreationReadsTheConfigurationAndCopiesStagingFolderAgain) {
  makeStagedFile("first", "1");
  const InstanceService without(home(), data());
  EXPECT_FALSE(folder.has("target"));
  setNewInstallLocation(folder / "target");
  const InstanceService first(home(), data());
  makeStagedFile("first", "changed");
  makeStagedFile("second", "2");
  const InstanceService second(home(), data());
  EXPECT_EQ(treeSnapshot(folder / "target"), (Tree{{"first", "file: 1"}, {"second", "file: 2"}}));
  EXPECT_THAT(log(platform::LogLevel::Error), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, CreationMakesHomeBeforeItCopiesStagingFolder) {
  makeStagedFile("item", "1");
  setNewInstallLocation(folder / "new/rcp/target");
  const InstanceService instance(folder / "new/rcp", kNone);
  EXPECT_TRUE(folder.has("new/rcp/target/item"));
}

TEST_F(InstanceServiceManifestsTest, CreationCopiesStagingFolderAlsoWithoutAHome) {
  makeStagedFile("item", "1");
  setNewInstallLocation(folder / "target");
  const InstanceService instance(kNone, kNone);
  EXPECT_TRUE(folder.has("target/item"));
  EXPECT_EQ(log(), (LogLines{{6, "The pathToRcphome is: (null)."},
                             {6, "newInstallLocation : " + (folder / "target") + "."},
                             {3, "No file at: (null)!"}}));
}

TEST_F(InstanceServiceManifestsTest, CreationLogsAFailedCopyOfStagingFolder) {
  makeStagedFile("item", "1");
  const std::string target = folder.makeFile("plain file") + "/target";
  setNewInstallLocation(target);
  const InstanceService instance(home(), data());
  ASSERT_EQ(log().size(), 3U);
  EXPECT_EQ(log()[2].first, 3);
  EXPECT_THAT(log()[2].second, StartsWith("Error copying files: "));
  EXPECT_THAT(log()[2].second, HasSubstr(target));
  EXPECT_THAT(log()[2].second, EndsWith("."));
  EXPECT_EQ(instance.pathToRcphome(), home());
}

TEST_F(InstanceServiceManifestsTest, MissingStagingFolderIsLogged) {
  setNewInstallLocation(folder / "target");
  const InstanceService instance(home(), data());
  EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(StartsWith("Error copying files: ")));
  EXPECT_FALSE(folder.has("target"));
  EXPECT_EQ(instance.pathToRcphome(), home());
}

// FileManagerTest has the other folders that are not trusted.
TEST_F(InstanceServiceManifestsTest, StagingFolderBehindALinkCountsAsMissing) {
  folder.makeFile("elsewhere/item");
  folder.makeLink(outside("/tmp/zelcore2"), folder / "elsewhere");
  setNewInstallLocation(folder / "target");
  const InstanceService instance(home(), data());
  EXPECT_EQ(log(platform::LogLevel::Warning).size(), 1U);
  EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(StartsWith("Error copying files: ")));
  EXPECT_FALSE(folder.has("target"));
}

TEST_F(InstanceServiceManifestsTest, ConfigurationThatEverybodyCanWriteCountsAsMissing) {
  makeStagedFile("item", "1");
  folder.makeFile(outside(platform::kInternalConfigurationFile),
                  "{ newInstallLocation = \"" + (folder / "target") + "\"; }", 0666);
  const InstanceService instance(home(), data());
  EXPECT_FALSE(folder.has("target"));
  EXPECT_THAT(log(platform::LogLevel::Info),
              ElementsAre("The pathToRcphome is: " + home() + ".", "newInstallLocation : (null)."));
  EXPECT_THAT(log(platform::LogLevel::Warning), ElementsAre(HasSubstr(platform::kInternalConfigurationFile),
                                                            "Can not copy to newInstallLocation because its nil!"));
}

TEST_F(InstanceServiceManifestsTest, NewInstallLocationThatIsNoTextOrCannotBeReadCountsAsNone) {
  for (const char* list : {"{ newInstallLocation = ( one, two ); }", "<plist><dict><key>newInstallLocation"}) {
    setConfiguration(list);
    clearLog();
    const InstanceService instance(home(), data());
    EXPECT_EQ(log(), creationLines(home())) << list;
  }
}

// ----- The copy policy -----

TEST_F(InstanceServiceManifestsTest, PolicyGoesOnExactlyPastItemsThatExist) {
  EXPECT_TRUE(InstanceService::fileManagerShouldProceedAfterError({516, "exists", ""}, "/source", "/target"));
  for (const int code : {0, 1, -516, 4, 256, 257, 260, 512, 513, 514, 515, 517, 640, 642, 516 + 256, 516 + 65536}) {
    EXPECT_FALSE(InstanceService::fileManagerShouldProceedAfterError({code, "516", ""}, "/source", "/target")) << code;
  }
}

TEST_F(InstanceServiceManifestsTest, PolicyHoldsForEveryCopyInTheProcessOnceAnInstanceWasMade) {
  const std::string source = folder.makeFile("source", "new");
  const std::string target = folder.makeFile("target", "old");
  EXPECT_FALSE(platform::copyItem(source, target));
  { const InstanceService instance(kNone, kNone); }
  EXPECT_TRUE(platform::copyItem(source, target));
  EXPECT_EQ(folder.read("target"), "old");
}

// ----- Copying manifests -----

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutRootReplacesTheTargetUnchanged) {
  QuietInstance instance(*this);
  const std::string source = folder.makeFile("package/new.xml", uninstallManifest());
  const Tree expected = homeWith("deploy/install.xml", "file: " + uninstallManifest());
  EXPECT_TRUE(instance.copyInstallManifest(source, "install.xml", kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/new.xml"), uninstallManifest());
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("install.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyReplacesWhatHasThatNameAndNoTargetOfALink) {
  InstanceService instance(home(), data());
  folder.makeFile("elsewhere", "kept");
  folder.makeFile(inHome("deploy/folder/inner"));
  folder.makeLink(inHome("deploy/link"), folder / "elsewhere");
  folder.makeLink(inHome("deploy/link to nothing"), folder / "missing");
  for (const std::string name : {"folder", "link", "link to nothing"}) {
    EXPECT_TRUE(instance.copyInstallManifest(inDeploy("install.xml"), name, kNone));
    EXPECT_EQ(homeTree()["deploy/" + name], "file: <install/>\n") << name;
  }
  EXPECT_EQ(folder.read("elsewhere"), "kept");
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopiesAnswerNoWhereTheOldTargetCannotBeDeleted) {
  InstanceService instance(home(), data());
  const std::string source = folder.makeFile("package/new.xml", "new");
  const std::vector<std::string> names = {"install.xml", "install.update.xml", "uninstall.hotfix.xml"};
  for (const std::string& name : names) folder.makeFile(inHome("deploy/" + name), "older");
  const Tree withFiles = everything();
  expectNoCopies(instance, source);
  EXPECT_EQ(everything(), withFiles);

  for (const std::string& name : names) {
    ASSERT_EQ(unlink(inDeploy(name).c_str()), 0);
    folder.makeLink(inHome("deploy/" + name), folder / "missing");
  }
  const Tree withLinksToNothing = everything();
  expectNoCopies(instance, source);
  EXPECT_EQ(everything(), withLinksToNothing);
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithAbsentOrMissingSourceLosesTheOldTarget) {
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected.erase("deploy/install.xml");
  for (const OptionalString& source : {kNone, OptionalString(folder / "missing.xml")}) {
    folder.makeFile(inHome("deploy/install.xml"), "older");
    clearLog();
    EXPECT_FALSE(instance.copyInstallManifest(source, "install.xml", folder.path()));
    EXPECT_EQ(homeTree(), expected);
    EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("install.xml") + "."}}));
  }
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyNeedsTheDeployFolder) {
  const std::string bare = folder.makeFolder("bare");
  InstanceService instance(bare, kNone);
  clearLog();
  EXPECT_FALSE(instance.copyInstallManifest(inDeploy("install.xml"), "install.xml", kNone));
  EXPECT_EQ(treeSnapshot(bare), Tree());
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + bare + "/deploy/install.xml."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithRootRewritesItsReferences) {
  QuietInstance instance(*this);
  const std::string root = folder.makeFolder("Volumes/Disk/pkg");
  const Tree expected = homeWith("deploy/some.xml", "file: " + rewrittenManifest(root));
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", root));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
                             {6, "Update ${installer.root}."},
                             {6, "Get ${installer.root} : file:" + root + "."},
                             {6, "Save install manifest."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyPutsTheRootInExactlyAsItIs) {
  InstanceService instance(home(), data());
  const std::string file = folder.makeFile("a file & more");
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", file));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), rewrittenManifest(folder / "a file &amp; more"));
  const std::string slash = folder.makeFolder("root") + "/";
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", slash));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), rewrittenManifest(slash));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithRootThatDoesNotExistLeavesTheCopyUnchanged) {
  QuietInstance instance(*this);
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", folder / "missing"));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), uninstallManifest());
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("some.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyThatIsNoXmlStaysAndAnswersNo) {
  QuietInstance instance(*this);
  const std::string source = folder.makeFile("broken.xml", "<install><domain-object></install>");
  EXPECT_FALSE(instance.copyInstallManifest(source, "some.xml", folder.path()));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), "<install><domain-object></install>");
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
                             {6, "Update ${installer.root}."},
                             {6, "Get ${installer.root} : file:" + folder.path() + "."},
                             {6, "Save install manifest."}}));
  EXPECT_TRUE(instance.copyInstallManifest(source, "some.xml", kNone)) << "a plain copy is not looked into";
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutFeaturesIsSavedAllTheSame) {
  QuietInstance instance(*this);
  EXPECT_TRUE(instance.copyInstallManifest(folder.makeFile("bare.xml", "<m/>"), "some.xml", folder.path()));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<m></m>");
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
                             {6, "Update ${installer.root}."},
                             {6, "Get ${installer.root} : file:" + folder.path() + "."},
                             {3, "Not able to get domain-object element"},
                             {6, "Save install manifest."}}));
}

TEST_F(InstanceServiceManifestsTest, ShorthandsCopyToTheirOwnNames) {
  InstanceService instance(home(), data());
  const std::string root = folder.makeFolder("root");
  const std::string source = inDeploy("uninstall.hotfix.xml");
  Tree expected = homeTree();
  for (const OptionalString& each : {kNone, OptionalString(root)}) {
    const std::string copy = "file: " + (each ? rewrittenManifest(root) : uninstallManifest());
    EXPECT_TRUE(instance.copyInstallManifest(source, each));
    expected["deploy/install.xml"] = copy;
    EXPECT_EQ(homeTree(), expected);
    EXPECT_TRUE(instance.copyUpdateManifest(source, each));
    expected["deploy/install.update.xml"] = copy;
    EXPECT_EQ(homeTree(), expected);
  }
  EXPECT_FALSE(instance.copyInstallManifest(kNone, kNone));
  EXPECT_FALSE(instance.copyUpdateManifest(folder / "missing", root));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutHomeAdoptsTheDefaultHome) {
  InstanceService instance(kNone, kNone);
  clearLog();
  folder.makeFolder(outside(platform::kDefaultHome) + "/deploy");
  EXPECT_FALSE(instance.hasInstanceInstalled());
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("install.xml"), kNone));
  EXPECT_EQ(treeSnapshot(defaultHome()), (Tree{{"deploy", "folder"}, {"deploy/install.xml", "file: <install/>\n"}}));
  EXPECT_EQ(log(), (LogLines{{3, "The _pathToRcphome is nil, manually setting rcpHome!"},
                             {3, "The productName is nil!"},
                             {6, "Copy install manifest to " + defaultHome() + "/deploy/install.xml."}}));
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());
  EXPECT_TRUE(instance.hasInstanceInstalled());

  clearLog();
  EXPECT_TRUE(instance.copyUpdateManifest(inDeploy("install.xml"), kNone));
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + defaultHome() + "/deploy/install.update.xml."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutHomeOnlyLogsTheProductName) {
  InstanceService instance(impossibleHome(), kNone);
  setConfiguration("{ productName = Other; }");
  clearLog();
  EXPECT_FALSE(instance.copyUpdateManifest(inDeploy("install.xml"), kNone)) << "the default home does not exist";
  EXPECT_EQ(log(), (LogLines{{3, "The _pathToRcphome is nil, manually setting rcpHome!"},
                             {6, "The product name is: Other."},
                             {6, "Copy install manifest to " + defaultHome() + "/deploy/install.update.xml."}}));
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());
  EXPECT_FALSE(folder.has(outside("/Applications")));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyIntoAHomeThatHasGoneKeepsThatHome) {
  const std::string gone = folder / "gone";
  InstanceService instance(gone, kNone);
  ASSERT_EQ(rmdir(gone.c_str()), 0);
  clearLog();
  EXPECT_FALSE(instance.copyInstallManifest(inDeploy("install.xml"), kNone));
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + gone + "/deploy/install.xml."}}));
  EXPECT_EQ(instance.pathToRcphome(), gone);
  EXPECT_FALSE(folder.has("gone"));
}

// ----- Copies under their own or the uninstall name -----

TEST_F(InstanceServiceManifestsTest, NamedCopyKeepsTheNameAndTheContents) {
  QuietInstance instance(*this);
  const std::string source = folder.makeFile("package/addon.xml", uninstallManifest());
  folder.makeFile(inHome("deploy/addon.xml"), "older");
  const Tree expected = homeWith("deploy/addon.xml", "file: " + uninstallManifest());
  EXPECT_TRUE(instance.copyManifest(source));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (LogLines{{6, "Copy install manifest to " + inDeploy("addon.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, NamedCopyRefusesWhatIsAbsentOrMissing) {
  const std::string source = folder.makeFile("addon.xml", "new");
  folder.makeFile(inHome("deploy/addon.xml"), "older");
  QuietInstance instance(*this);
  const Tree before = homeTree();
  EXPECT_FALSE(instance.copyManifest(kNone));
  EXPECT_FALSE(instance.copyManifest(folder / "missing/addon.xml"));
  EXPECT_EQ(homeTree(), before) << "the older manifest stays";

  InstanceService homeless(kNone, kNone);
  GoneHome gone(folder);
  clearLog();
  EXPECT_FALSE(homeless.copyManifest(source));
  EXPECT_EQ(homeless.pathToRcphome(), kNone) << "the default home is not taken";
  EXPECT_FALSE(gone.copyManifest(source));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, UninstallManifestIsStoredUnderItsFixedName) {
  QuietInstance instance(*this);
  const std::string source = folder.makeFile("package/hotfix.xml", "new");
  const Tree expected = homeWith("deploy/uninstall.hotfix.xml", "file: new");
  EXPECT_TRUE(instance.copyHotfixUninstallManifest(source));
  EXPECT_EQ(homeTree(), expected);

  ASSERT_EQ(unlink(inDeploy("uninstall.hotfix.xml").c_str()), 0);
  EXPECT_TRUE(instance.copyHotfixUninstallManifest(source));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/hotfix.xml"), "new");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, UninstallManifestStoreRefusesWhatIsAbsentOrMissing) {
  const std::string source = folder.makeFile("hotfix.xml", "new");
  QuietInstance instance(*this);
  const Tree before = homeTree();
  EXPECT_FALSE(instance.copyHotfixUninstallManifest(kNone));
  EXPECT_FALSE(instance.copyHotfixUninstallManifest(folder / "missing.xml"));
  expectHome(before);
  expectRefusedWithoutHome([&](InstanceService& each) { return each.copyHotfixUninstallManifest(source); });
}

TEST_F(InstanceServiceManifestsTest, UninstallManifestStoreAnswersAFailedCopy) {
  const std::string bare = folder.makeFolder("bare");
  InstanceService instance(bare, kNone);
  clearLog();
  EXPECT_FALSE(instance.copyHotfixUninstallManifest(folder.makeFile("hotfix.xml"))) << "there is no deploy folder";
  EXPECT_EQ(treeSnapshot(bare), Tree());
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Backup -----

class BackupTest : public InstanceServiceManifestsTest {
 protected:
  BackupTest() { clearLog(); }

  void backUpExpecting(const Tree& expected) {
    instance.backupInstallManifest();
    EXPECT_EQ(homeTree(), expected);
    EXPECT_THAT(log(), IsEmpty());
  }

  InstanceService instance{home(), data()};
};

/// What the properties of the launcher make of the backup's name.
struct BackupName {
  std::string name, properties, version;
};
class BackupNameTest : public BackupTest, public ::testing::WithParamInterface<BackupName> {};

TEST_P(BackupNameTest, IsThatOfTheMoment) {
  folder.makeFile(inHome("rcplauncher.properties"), GetParam().properties);
  backUpExpecting(homeWith("deploy/install." + GetParam().version + ".xml", "file: <install/>\n"));
}

INSTANTIATE_TEST_SUITE_P(Versions, BackupNameTest,
                         ::testing::Values(BackupName{"ManifestVersion", "provisioning.manifest.version = 1511262125",
                                                      "1511262125"},
                                           BackupName{"NoVersion", "rcp.install.id=7\n", "old"},
                                           BackupName{"EmptyVersion", "provisioning.manifest.version=\n", ""}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(BackupTest, BackupWithUnreadablePropertiesIsNamedOld) {
  ASSERT_EQ(unlink((home() + "/rcplauncher.properties").c_str()), 0);
  folder.makeFolder(inHome("rcplauncher.properties"));
  const Tree expected = homeWith("deploy/install.old.xml", "file: <install/>\n");
  backUpExpecting(expected);
}

TEST_F(BackupTest, BackupKeepsOlderBackupOfSameName) {
  folder.makeFile(inHome("deploy/install.0101260000.xml"), "older");
  backUpExpecting(homeTree());
}

TEST_F(BackupTest, NothingIsBackedUpWithoutLauncherProperties) {
  ASSERT_EQ(unlink((home() + "/rcplauncher.properties").c_str()), 0);
  backUpExpecting(homeTree());
}

TEST_F(BackupTest, NothingIsBackedUpWithoutAnInstallManifest) {
  ASSERT_EQ(unlink(inDeploy("install.xml").c_str()), 0);
  backUpExpecting(homeTree());
}

TEST_F(BackupTest, FailedBackupIsNotTold) {
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version=no/such/folder\n");
  backUpExpecting(homeTree());
}

TEST_F(BackupTest, NothingIsBackedUpWithoutAHome) {
  const Tree before = homeTree();
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.backupInstallManifest();
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace

}  // namespace hotfix
