#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// What the caller may have put in place before the tool runs as root, and which is used or treated.
class PlantedFilesTest : public MachineTest {
 protected:
  void giveToAlice(const std::string& path) { giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path); }
  static std::string repaired(const std::string& entry) { return "0775 " + owners("alice:admin") + " " + entry; }
};

TEST_F(PlantedFilesTest, TraceFileAndConfigurationOfTheCallerAreUsed) {
  const std::string location = "/Applications/New Location";
  files().makeFile(inside(kTraceFile), "of an earlier run\n");
  files().makeFile(inside(kConfigurationFile), "{ newInstallLocation = \"" + location + "\"; }", 0600);
  files().makeFile(inside(std::string(kStagingFolder) + "/folder/file"), "staged\n", 0640);
  giveToAlice(kTraceFile);
  giveToAlice(kConfigurationFile);
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren());
  EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), "<Info>: newInstallLocation : " + location + "."),
            3);
  const Snapshot after = state();
  EXPECT_EQ(after.at(kTraceFile), "0644 " + owners("alice:alice") + " file:");
  EXPECT_EQ(after.at(location + "/folder"), "0755 " + owners("root:root") + " folder");
  EXPECT_EQ(after.at(location + "/folder/file"), "0640 " + owners("root:root") + " file: staged\n");
}

TEST_F(PlantedFilesTest, ClosedFoldersAndSpecialModesAreTreated) {
  files().makeFile(inside(data + "/closed/deep/file"), "", 04711);
  files().makeFolder(inside(data + "/closed/deep"), 01000);
  files().makeFolder(inside(data + "/closed"), 0);
  files().makeFile(inside(data + "/name with\nnewline and \xFF"), "", 0);
  for (const char* path : {"/closed/deep/file", "/closed/deep", "/closed"}) giveToAlice(data + path);
  expectSucceeded(run(uninstall()), allChildren(), allTrace());
  const Snapshot after = state();
  EXPECT_EQ(after.at(data + "/closed"), repaired("folder"));
  EXPECT_EQ(after.at(data + "/closed/deep"), repaired("folder"));
  EXPECT_EQ(after.at(data + "/closed/deep/file"), repaired("file: "));
  EXPECT_EQ(after.at(data + "/name with\nnewline and \xFF"), repaired("file: "));
}

TEST_F(PlantedFilesTest, VolumeBelowTheDataFolderIsTreated) {
  const std::string volume = data + "/volume";
  root().mountMemory(volume, "mode=0700");
  files().makeFile(inside(volume + "/folder/file"), "on the volume\n", 0600);
  expectSucceeded(run(uninstall()), allChildren(), allTrace());
  const Snapshot after = takeSnapshot(files() / inside(volume));
  EXPECT_EQ(files().mode(inside(volume)), 0775U);
  EXPECT_EQ(after.at("/folder"), repaired("folder"));
  EXPECT_EQ(after.at("/folder/file"), repaired("file: on the volume\n"));
}

}  // namespace

}  // namespace hotfix
