#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

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

TEST_F(InstanceServiceManifestsTest, CreationKeepsBothPathsAndLogsItsSteps) {
  const InstanceService instance(home(), data());
  EXPECT_EQ(instance.pathToRcphome(), home());
  EXPECT_EQ(instance.getWorkspace(), data());
  EXPECT_EQ(log(), creationLines(home()));
}

TEST_F(InstanceServiceManifestsTest, CreationChangesNothingInAnInstance) {
  const Tree before = homeTree();
  const struct stat attributes = folder.attributes(kHome);
  const InstanceService instance(home(), data());
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(folder.attributes(kHome).st_mode, attributes.st_mode);
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

TEST_F(InstanceServiceManifestsTest, CreationMakesMissingHomeWithItsParents) {
  const std::string missing = folder / "new/parents/rcp";
  const mode_t before = umask(027);
  const InstanceService instance(missing, data());
  umask(before);
  EXPECT_EQ(instance.pathToRcphome(), missing);
  EXPECT_EQ(instance.getWorkspace(), data());
  EXPECT_EQ(treeSnapshot(folder / "new"), (Tree{{"parents", "folder"}, {"parents/rcp", "folder"}}));
  EXPECT_EQ(folder.mode("new/parents"), 0750U);
  EXPECT_EQ(folder.mode("new/parents/rcp"), 0750U);
  EXPECT_EQ(log(), creationLines(missing));
}

TEST_F(InstanceServiceManifestsTest, CreationDoesNotMakeTheDataFolder) {
  const InstanceService instance(home(), folder / "missing");
  EXPECT_EQ(instance.getWorkspace(), folder / "missing");
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(InstanceServiceManifestsTest, CreationWhereHomeCannotBeMadeKeepsNeitherPath) {
  const std::string impossible = impossibleHome();
  const InstanceService instance(impossible, data());
  EXPECT_EQ(instance.pathToRcphome(), kNone);
  EXPECT_EQ(instance.getWorkspace(), kNone);
  std::vector<LogLine> expected = creationLines(impossible);
  expected.emplace_back(3, "No file at: " + impossible + "!");
  EXPECT_EQ(log(), expected);
}

TEST_F(InstanceServiceManifestsTest, CreationWithAbsentHomeKeepsNeitherPath) {
  const InstanceService instance(kNone, data());
  EXPECT_EQ(instance.pathToRcphome(), kNone);
  EXPECT_EQ(instance.getWorkspace(), kNone);
  std::vector<LogLine> expected = creationLines("(null)");
  expected.emplace_back(3, "No file at: (null)!");
  EXPECT_EQ(log(), expected);
}

TEST_F(InstanceServiceManifestsTest, CreationKeepsAHomeThatIsAFile) {
  const std::string file = folder.makeFile("file", "contents");
  const InstanceService instance(file, data());
  EXPECT_EQ(instance.pathToRcphome(), file);
  EXPECT_EQ(instance.getWorkspace(), data());
  EXPECT_EQ(log(), creationLines(file));
  EXPECT_EQ(folder.read("file"), "contents");
}

TEST_F(InstanceServiceManifestsTest, CreationTakesTheHomePathLiterally) {
  const std::string literal = folder / "~/rcp";
  const InstanceService instance(literal, kNone);
  EXPECT_EQ(instance.pathToRcphome(), literal);
  EXPECT_TRUE(folder.has("~/rcp"));
}

TEST_F(InstanceServiceManifestsTest, CreationCopiesStagingFolderToNewInstallLocation) {
  makeStagedFile("top", "1");
  makeStagedFile("sub/deep", "2");
  setNewInstallLocation(folder / "target");
  const Tree staged = treeSnapshot(folder / outside(platform::kStagingFolder));
  const InstanceService instance(home(), data());
  EXPECT_EQ(treeSnapshot(folder / "target"), staged);
  EXPECT_EQ(treeSnapshot(folder / outside(platform::kStagingFolder)), staged);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "The pathToRcphome is: " + home() + "."},
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

TEST_F(InstanceServiceManifestsTest, EveryCreationCopiesStagingFolderAgain) {
  makeStagedFile("first", "1");
  setNewInstallLocation(folder / "target");
  const InstanceService first(home(), data());
  makeStagedFile("first", "changed");
  makeStagedFile("second", "2");
  const InstanceService second(home(), data());
  EXPECT_EQ(treeSnapshot(folder / "target"), (Tree{{"first", "file: 1"}, {"second", "file: 2"}}));
  EXPECT_THAT(log(platform::LogLevel::Error), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, CreationReadsTheConfigurationAfresh) {
  const InstanceService first(home(), data());
  makeStagedFile("item", "1");
  setNewInstallLocation(folder / "target");
  const InstanceService second(home(), data());
  EXPECT_TRUE(folder.has("target/item"));
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
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "The pathToRcphome is: (null)."},
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

TEST_F(InstanceServiceManifestsTest, CreationLogsAMissingStagingFolder) {
  setNewInstallLocation(folder / "target");
  const InstanceService instance(home(), data());
  EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(StartsWith("Error copying files: ")));
  EXPECT_FALSE(folder.has("target"));
  EXPECT_EQ(instance.pathToRcphome(), home());
}

TEST_F(InstanceServiceManifestsTest, StagingFolderBehindALinkCountsAsMissing) {
  folder.makeFile("elsewhere/item");
  folder.makeLink(outside("/tmp/zelcore2"), folder / "elsewhere");
  setNewInstallLocation(folder / "target");
  const InstanceService instance(home(), data());
  EXPECT_EQ(log(platform::LogLevel::Warning).size(), 1U);
  EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(StartsWith("Error copying files: ")));
  EXPECT_FALSE(folder.has("target"));
}

TEST_F(InstanceServiceManifestsTest, StagingFolderOfSomebodyElseCountsAsMissing) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a folder away";
  makeStagedFile("item", "1");
  ASSERT_EQ(chown((folder / outside("/tmp/zelcore2")).c_str(), 4711, 4711), 0);
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

TEST_F(InstanceServiceManifestsTest, NewInstallLocationThatIsNoTextCountsAsNone) {
  setConfiguration("{ newInstallLocation = ( one, two ); }");
  const InstanceService instance(home(), data());
  EXPECT_EQ(log(), creationLines(home()));
}

TEST_F(InstanceServiceManifestsTest, DamagedConfigurationHasNoNewInstallLocation) {
  setConfiguration("<plist><dict><key>newInstallLocation");
  const InstanceService instance(home(), data());
  EXPECT_EQ(log(), creationLines(home()));
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
  InstanceService instance(home(), data());
  clearLog();
  const std::string source = folder.makeFile("package/new.xml", uninstallManifest());
  Tree expected = homeTree();
  expected["deploy/install.xml"] = "file: " + uninstallManifest();
  EXPECT_TRUE(instance.copyInstallManifest(source, "install.xml", kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("package/new.xml"), uninstallManifest());
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("install.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyMakesAFileOfTheGivenName) {
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected["deploy/other.name"] = "file: " + uninstallManifest();
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "other.name", kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("other.name") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyReplacesAFolderOfThatName) {
  InstanceService instance(home(), data());
  folder.makeFile(inHome("deploy/target.xml/inner"));
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("install.xml"), "target.xml", kNone));
  EXPECT_EQ(folder.read(inHome("deploy/target.xml")), "<install/>\n");
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyReplacesALinkAndNotWhatItNames) {
  InstanceService instance(home(), data());
  folder.makeFile("elsewhere", "kept");
  folder.makeLink(inHome("deploy/target.xml"), folder / "elsewhere");
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("install.xml"), "target.xml", kNone));
  EXPECT_EQ(folder.read("elsewhere"), "kept");
  EXPECT_EQ(homeTree()["deploy/target.xml"], "file: <install/>\n");
}

TEST_F(InstanceServiceManifestsTest, ManifestCopiesReplaceALinkThatLeadsNowhere) {
  InstanceService instance(home(), data());
  ASSERT_EQ(unlink(inDeploy("uninstall.hotfix.xml").c_str()), 0);
  folder.makeLink(inHome("deploy/uninstall.hotfix.xml"), folder / "missing");
  folder.makeLink(inHome("deploy/target.xml"), folder / "missing");
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("install.xml"), "target.xml", kNone));
  EXPECT_TRUE(instance.copyHotfixUninstallManifest(inDeploy("install.xml")));
  EXPECT_EQ(homeTree()["deploy/target.xml"], "file: <install/>\n");
  EXPECT_EQ(homeTree()["deploy/uninstall.hotfix.xml"], "file: <install/>\n");
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopiesAnswerNoWhereTheOldTargetCannotBeDeleted) {
  InstanceService instance(home(), data());
  const std::string source = folder.makeFile("package/new.xml", "new");
  folder.makeFile(inHome("deploy/install.update.xml"), "older");
  const Tree before = homeTree();
  expectNoCopies(instance, source);
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(folder.read("package/new.xml"), "new");
}

TEST_F(InstanceServiceManifestsTest, ManifestCopiesAnswerNoWhereALinkThatLeadsNowhereCannotBeDeleted) {
  InstanceService instance(home(), data());
  const std::string source = folder.makeFile("package/new.xml", "new");
  for (const char* name : {"install.xml", "install.update.xml", "uninstall.hotfix.xml"}) {
    (void)unlink(inDeploy(name).c_str());
    folder.makeLink(inHome(std::string("deploy/") + name), folder / "missing");
  }
  const Tree before = homeTree();
  expectNoCopies(instance, source);
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(folder.read("package/new.xml"), "new");
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithMissingSourceLosesTheOldTarget) {
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected.erase("deploy/install.xml");
  EXPECT_FALSE(instance.copyInstallManifest(folder / "missing.xml", "install.xml", folder.path()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("install.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithAbsentSourceLosesTheOldTarget) {
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected.erase("deploy/install.xml");
  EXPECT_FALSE(instance.copyInstallManifest(kNone, "install.xml", folder.path()));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("install.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyNeedsTheDeployFolder) {
  const std::string bare = folder.makeFolder("bare");
  InstanceService instance(bare, kNone);
  clearLog();
  EXPECT_FALSE(instance.copyInstallManifest(inDeploy("install.xml"), "install.xml", kNone));
  EXPECT_EQ(treeSnapshot(bare), Tree());
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + bare + "/deploy/install.xml."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithRootRewritesItsReferences) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string root = folder.makeFolder("Volumes/Disk/pkg");
  Tree expected = homeTree();
  expected["deploy/some.xml"] = "file: " + rewrittenManifest(root);
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", root));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
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
  InstanceService instance(home(), data());
  clearLog();
  EXPECT_TRUE(instance.copyInstallManifest(inDeploy("uninstall.hotfix.xml"), "some.xml", folder / "missing"));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), uninstallManifest());
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("some.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyThatIsNoXmlStaysAndAnswersNo) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string source = folder.makeFile("broken.xml", "<install><domain-object></install>");
  EXPECT_FALSE(instance.copyInstallManifest(source, "some.xml", folder.path()));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")), "<install><domain-object></install>");
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
                                         {6, "Update ${installer.root}."},
                                         {6, "Get ${installer.root} : file:" + folder.path() + "."},
                                         {6, "Save install manifest."}}));
  EXPECT_TRUE(instance.copyInstallManifest(source, "some.xml", kNone)) << "a plain copy is not looked into";
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutFeaturesIsSavedAllTheSame) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string source =
      folder.makeFile("bare.xml", "<m><domain-object><object-data><install/></object-data></domain-object></m>");
  EXPECT_TRUE(instance.copyInstallManifest(source, "some.xml", folder.path()));
  EXPECT_EQ(folder.read(inHome("deploy/some.xml")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<m>\n    <domain-object>\n"
            "        <object-data>\n            <install></install>\n        </object-data>\n"
            "    </domain-object>\n</m>");
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("some.xml") + "."},
                                         {6, "Update ${installer.root}."},
                                         {6, "Get ${installer.root} : file:" + folder.path() + "."},
                                         {3, "Not able to get install-feature element"},
                                         {6, "Save install manifest."}}));
}

TEST_F(InstanceServiceManifestsTest, ShorthandsCopyToTheirOwnNames) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string root = folder.makeFolder("root");
  const std::string source = inDeploy("uninstall.hotfix.xml");
  Tree expected = homeTree();
  expected["deploy/install.xml"] = "file: " + uninstallManifest();
  EXPECT_TRUE(instance.copyInstallManifest(source, kNone));
  EXPECT_EQ(homeTree(), expected);
  expected["deploy/install.update.xml"] = "file: " + uninstallManifest();
  EXPECT_TRUE(instance.copyUpdateManifest(source, kNone));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("install.xml") + "."},
                                         {6, "Copy install manifest to " + inDeploy("install.update.xml") + "."}}));

  expected["deploy/install.xml"] = "file: " + rewrittenManifest(root);
  EXPECT_TRUE(instance.copyInstallManifest(source, root));
  EXPECT_EQ(homeTree(), expected);
  expected["deploy/install.update.xml"] = "file: " + rewrittenManifest(root);
  EXPECT_TRUE(instance.copyUpdateManifest(source, root));
  EXPECT_EQ(homeTree(), expected);
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
  EXPECT_EQ(log(), (std::vector<LogLine>{{3, "The _pathToRcphome is nil, manually setting rcpHome!"},
                                         {3, "The productName is nil!"},
                                         {6, "Copy install manifest to " + defaultHome() + "/deploy/install.xml."}}));
  EXPECT_EQ(instance.pathToRcphome(), defaultHome());
  EXPECT_TRUE(instance.hasInstanceInstalled());

  clearLog();
  EXPECT_TRUE(instance.copyUpdateManifest(inDeploy("install.xml"), kNone));
  EXPECT_EQ(log(),
            (std::vector<LogLine>{{6, "Copy install manifest to " + defaultHome() + "/deploy/install.update.xml."}}));
}

TEST_F(InstanceServiceManifestsTest, ManifestCopyWithoutHomeOnlyLogsTheProductName) {
  InstanceService instance(impossibleHome(), kNone);
  setConfiguration("{ productName = Other; }");
  clearLog();
  EXPECT_FALSE(instance.copyUpdateManifest(inDeploy("install.xml"), kNone)) << "the default home does not exist";
  EXPECT_EQ(log(),
            (std::vector<LogLine>{{3, "The _pathToRcphome is nil, manually setting rcpHome!"},
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
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + gone + "/deploy/install.xml."}}));
  EXPECT_EQ(instance.pathToRcphome(), gone);
  EXPECT_FALSE(folder.has("gone"));
}

// ----- Copies under their own or the uninstall name -----

TEST_F(InstanceServiceManifestsTest, NamedCopyKeepsTheNameAndTheContents) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string source = folder.makeFile("package/addon.xml", uninstallManifest());
  folder.makeFile(inHome("deploy/addon.xml"), "older");
  Tree expected = homeTree();
  expected["deploy/addon.xml"] = "file: " + uninstallManifest();
  EXPECT_TRUE(instance.copyManifest(source));
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{{6, "Copy install manifest to " + inDeploy("addon.xml") + "."}}));
}

TEST_F(InstanceServiceManifestsTest, NamedCopyRefusesWhatIsAbsentOrMissing) {
  const std::string source = folder.makeFile("addon.xml", "new");
  folder.makeFile(inHome("deploy/addon.xml"), "older");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.copyManifest(kNone));
  EXPECT_FALSE(instance.copyManifest(folder / "missing/addon.xml"));
  EXPECT_EQ(homeTree(), before) << "the older manifest stays";

  InstanceService homeless(kNone, kNone);
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  clearLog();
  EXPECT_FALSE(homeless.copyManifest(source));
  EXPECT_EQ(homeless.pathToRcphome(), kNone) << "the default home is not taken";
  EXPECT_FALSE(gone.copyManifest(source));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(InstanceServiceManifestsTest, UninstallManifestIsStoredUnderItsFixedName) {
  InstanceService instance(home(), data());
  clearLog();
  const std::string source = folder.makeFile("package/hotfix.xml", "new");
  Tree expected = homeTree();
  expected["deploy/uninstall.hotfix.xml"] = "file: new";
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
  InstanceService instance(home(), data());
  InstanceService homeless(kNone, kNone);
  InstanceService gone(folder / "gone", kNone);
  ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
  const Tree before = homeTree();
  clearLog();
  EXPECT_FALSE(instance.copyHotfixUninstallManifest(kNone));
  EXPECT_FALSE(instance.copyHotfixUninstallManifest(folder / "missing.xml"));
  EXPECT_FALSE(homeless.copyHotfixUninstallManifest(source));
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_FALSE(gone.copyHotfixUninstallManifest(source));
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
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

TEST_F(BackupTest, BackupIsNamedByTheManifestVersion) {
  Tree expected = homeTree();
  expected["deploy/install.0101260000.xml"] = "file: <install/>\n";
  backUpExpecting(expected);
}

TEST_F(BackupTest, BackupReadsTheVersionOfTheMoment) {
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version = 1511262125");
  Tree expected = homeTree();
  expected["deploy/install.1511262125.xml"] = "file: <install/>\n";
  backUpExpecting(expected);
}

TEST_F(BackupTest, BackupWithoutAVersionIsNamedOld) {
  folder.makeFile(inHome("rcplauncher.properties"), "rcp.install.id=7\n");
  Tree expected = homeTree();
  expected["deploy/install.old.xml"] = "file: <install/>\n";
  backUpExpecting(expected);
}

TEST_F(BackupTest, BackupKeepsAnEmptyVersion) {
  folder.makeFile(inHome("rcplauncher.properties"), "provisioning.manifest.version=\n");
  Tree expected = homeTree();
  expected["deploy/install..xml"] = "file: <install/>\n";
  backUpExpecting(expected);
}

TEST_F(BackupTest, BackupWithUnreadablePropertiesIsNamedOld) {
  ASSERT_EQ(unlink((home() + "/rcplauncher.properties").c_str()), 0);
  folder.makeFolder(inHome("rcplauncher.properties"));
  Tree expected = homeTree();
  expected["deploy/install.old.xml"] = "file: <install/>\n";
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
