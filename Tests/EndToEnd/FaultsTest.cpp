#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// File systems that refuse.
class FaultsTest : public MachineTest {
 protected:
  /// The instance on a file system of its own, so that nothing else of the machine is hit.
  void makeInstanceOnOwnFileSystem(const std::string& options) {
    root().mountMemory("/Volumes/Disk", options);
    makeInstance("/Volumes/Disk/Product.app", "/Users/alice/Client Data");
  }
  Snapshot disk() { return takeSnapshot(files() / inside("/Volumes/Disk"), "/Volumes/Disk"); }

  /// Writes to a file until nothing more fits on its file system, then takes back some bytes.
  void fill(const std::string& filler, off_t spared) {
    const int file = open((files() / inside(filler)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_NE(file, -1);
    const std::string page(4096, 'f');
    off_t size = 0;
    while (write(file, page.data(), page.size()) == static_cast<ssize_t>(page.size())) size += 4096;
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(ftruncate(file, size - spared), 0);
    close(file);
  }

  static constexpr char kNoUpdateManifest[] =
      " Provisioning process failed to launch or was terminated before status could be determined.";
};

TEST_F(FaultsTest, ReadOnlyInstanceStaysAsItIs) {
  makeInstanceOnOwnFileSystem("mode=0755");
  root().makeReadOnly("/Volumes/Disk");
  const Snapshot before = disk();
  const Outcome outcome = run(uninstall());
  expectFailed(outcome, "File install.update.xml was not found." + std::string(kNoUpdateManifest) + "\n" + kUsage,
               refusal());
  EXPECT_EQ(outcome.trace, joined({checked(),
                                   {"<Info>: Remove hotfix."},
                                   serviceMade(),
                                   {"<Info>: Copy install manifest to " + home + "/deploy/install.update.xml.",
                                    "<Error>: File install.update.xml not found." + std::string(kNoUpdateManifest)},
                                   collected(),
                                   serviceMade()}));
  EXPECT_EQ(differences(before, disk()), Lines());
}

TEST_F(FaultsTest, ReadOnlyInstanceWithAnOlderUpdateManifestIsNotTakenForCopied) {
  makeInstanceOnOwnFileSystem("mode=0755");
  files().makeFile(inHome("deploy/install.update.xml"), "older");
  root().makeReadOnly("/Volumes/Disk");
  const Snapshot before = disk();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(outcome.commandLines(), refusal());
  EXPECT_EQ(differences(before, disk()), Lines());
}

TEST_F(FaultsTest, FullDiskEndsTheUninstallWithTheManifestKept) {
  makeInstanceOnOwnFileSystem("mode=0755,size=1m");
  ASSERT_NO_FATAL_FAILURE(fill("/Volumes/Disk/filler", 0));
  const Snapshot before = disk();
  const Outcome outcome = run(uninstall());
  expectFailed(outcome, "File install.update.xml was not found." + std::string(kNoUpdateManifest) + "\n" + kUsage,
               refusal());
  // The launchers of the passes leave a result file for which there is no room.
  Snapshot after = disk();
  after.erase(bundle + "/Contents/MacOS/.provisioning_rc");
  EXPECT_EQ(differences(before, after), Lines());
}

TEST_F(FaultsTest, RewrittenFilesAreTheOldOnesWholeWhenTheDiskIsFull) {
  makeInstanceOnOwnFileSystem("mode=0755,size=1m");
  // Room for the small manifests and the result, but for neither of these.
  const std::string large(40000, 'v');
  files().makeFile(inHome("rcplauncher.properties"),
                   "provisioning.manifest.version=" + std::string(kOldStamp) + "\nlarge=" + large + "\n");
  setRecords({{"SKIPRUNNINGCHECK", "false"},
              {"hotfixVersion", "6.2.1.1"},
              {"installedHotfixBundleID", kPackage},
              {"large", large}});
  ASSERT_NO_FATAL_FAILURE(fill("/Volumes/Disk/filler", 5 * 4096));
  const Snapshot before = disk();
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren(), allTrace());
  Snapshot expected = before;
  expected.erase(home + "/deploy/uninstall.hotfix.xml");
  expected[home + "/deploy/install.update.xml"] = "0660 " + owners("alice:admin") + " file: " + kUninstallManifest;
  expected[home + "/deploy/install." + kOldStamp + ".xml"] =
      "0644 " + owners("root:root") + " file: " + kInstallManifest;
  expected[bundle + "/Contents/MacOS/.provisioning_rc"] = "0644 " + owners("root:root") + " file: rc=0\n";
  EXPECT_EQ(differences(before, disk()), differences(before, expected));
}

TEST_F(FaultsTest, ReadOnlyDataIsPassedOver) {
  root().mountMemory(data, "mode=0700");
  files().makeFile(inside(data + "/file"), "", 0600);
  root().makeReadOnly(data);
  const Snapshot before = takeSnapshot(files() / inside(data));
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren(), allTrace());
  EXPECT_EQ(differences(before, takeSnapshot(files() / inside(data))), Lines());
}

TEST_F(FaultsTest, VolumeWhoseServerHasGoneDoesNotHinderTheRepair) {
  if (!root().mountDeadVolume("/mnt")) GTEST_SKIP() << "needs the rights to mount a file system of a process";
  struct stat status = {};
  ASSERT_EQ(stat((files() / inside("/mnt")).c_str(), &status), -1);
  ASSERT_EQ(errno, ENOTCONN);
  const Snapshot before = state();
  expectSuccess(run(uninstall()), before);
}

TEST_F(FaultsTest, FullTemporaryFolderLeavesTheUninstallComplete) {
  ASSERT_NO_FATAL_FAILURE(fill("/tmp/filler", 0));
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren());
  EXPECT_EQ(files().read(inside(kTraceFile)), "");
}

TEST_F(FaultsTest, FoldersInTheInstancesFilesPlacesAreLeftAlone) {
  for (const char* name : {"rcplauncher.properties", "installInfo.plist"}) {
    unlink((files() / inHome(name)).c_str());
    files().makeFile(inHome(std::string(name) + "/inside"), "kept\n");
  }
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome);
  for (const char* name : {"rcplauncher.properties", "installInfo.plist"}) {
    EXPECT_EQ(files().names(inHome(name)), Lines{"inside"});
  }
}

TEST_F(FaultsTest, FifosInTheInstancesFilesPlacesDoNotHoldTheToolUp) {
  for (const char* name : {"rcplauncher.properties", "installInfo.plist", "deploy/uninstall.hotfix.xml"}) {
    unlink((files() / inHome(name)).c_str());
    files().makeFifo(inHome(name));
  }
  unlink((files() / inside(bundle + "/Contents/Info.plist")).c_str());
  files().makeFifo(inside(bundle + "/Contents/Info.plist"));
  const Outcome outcome = run(uninstall());
  expectFailed(outcome, "File install.update.xml was not found." + std::string(kNoUpdateManifest) + "\n" + kUsage);
}

TEST_F(FaultsTest, LinksAsTheInstancesFilesAreReplacedByFiles) {
  files().makeFile(inside("/Library/elsewhere.properties"), "provisioning.manifest.version=1\n", 0600);
  unlink((files() / inHome("rcplauncher.properties")).c_str());
  files().makeLink(inHome("rcplauncher.properties"), "/Library/elsewhere.properties");
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  const Snapshot after = state();
  EXPECT_EQ(after.at("/Library/elsewhere.properties"),
            "0600 " + owners("root:root") + " file: provisioning.manifest.version=1\n");
  EXPECT_EQ(after.at(home + "/rcplauncher.properties"),
            "0600 " + owners("root:root") + " file: provisioning.manifest.version=<now>\nrcp.install.id=<now>\n");
  EXPECT_TRUE(files().has(inHome("deploy/install.1.xml")));
}

TEST_F(FaultsTest, DiskThatIsFullForEveryRewriteCollectsNoTemporaryFiles) {
  makeInstanceOnOwnFileSystem("mode=0755,size=1m");
  ASSERT_NO_FATAL_FAILURE(fill("/Volumes/Disk/filler", 0));
  const Lines names = files().names(inHome(""));
  for (int time = 0; time < 3; ++time) EXPECT_EQ(run(uninstall()).ending, "exit 1");
  EXPECT_EQ(files().names(inHome("")), names);
}

}  // namespace

}  // namespace hotfix
