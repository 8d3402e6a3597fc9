#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// What others may have put in place before the tool runs as root: in /tmp, and in a data folder that is theirs.
class PlantedFilesTest : public MachineTest {
 protected:
  /// The trace of a successful run, with other lines about each new instance service.
  Lines allTraceWith(const Lines& service) {
    const Lines all = allTrace(), usual = serviceMade();
    Lines result;
    for (auto line = all.begin(); line != all.end(); ++line) {
      if (*line == usual.front()) {
        result.insert(result.end(), service.begin(), service.end());
        line += static_cast<std::ptrdiff_t>(usual.size()) - 1;
      } else {
        result.push_back(*line);
      }
    }
    return result;
  }
};

// ----- The trace file -----

class PlantedTraceTest : public PlantedFilesTest {
 protected:
  /// Expects a run whose trace is whole.
  void expectTraceIn(const std::string& entry) {
    expectSucceeded(run(uninstall()), allChildren(), allTrace());
    EXPECT_EQ(state().at(kTraceFile), entry);
  }
};

TEST_F(PlantedTraceTest, OwnFileOfAnEarlierRunIsEmptiedAndUsed) {
  files().makeFile(inside(kTraceFile), std::string(100000, 'x'), 0640);
  const ino_t file = files().attributes(inside(kTraceFile)).st_ino;
  expectTraceIn("0640 " + owners("root:root") + " file:");
  EXPECT_EQ(files().attributes(inside(kTraceFile)).st_ino, file);
}

TEST_F(PlantedTraceTest, FileOfTheCallerIsEmptiedAndUsed) {
  files().makeFile(inside(kTraceFile), "of an earlier run\n");
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), kTraceFile);
  expectTraceIn("0644 " + owners("alice:alice") + " file:");
}

// ----- The internal configuration -----

class PlantedConfigurationTest : public PlantedFilesTest {
 protected:
  static constexpr char kLocation[] = "/Applications/New Location";

  void SetUp() override {
    PlantedFilesTest::SetUp();
    if (!IsSkipped()) files().makeFile(inside(std::string(kStagingFolder) + "/folder/file"), "staged\n", 0640);
  }

  std::string configuration() {
    return "{ newInstallLocation = \"" + std::string(kLocation) + "\"; productName = Product; }";
  }
  Lines located() {
    return {"<Info>: The pathToRcphome is: " + home + ".",
            "<Info>: newInstallLocation : " + std::string(kLocation) + "."};
  }
  /// Expects a run that copied the staging folder to the new location.
  void expectHonoured() {
    expectSucceeded(run(uninstall()), allChildren(), allTraceWith(located()));
    const Snapshot after = state();
    EXPECT_EQ(after.at(kLocation), "0755 " + owners("root:root") + " folder");
    EXPECT_EQ(after.at(std::string(kLocation) + "/folder"), "0755 " + owners("root:root") + " folder");
    EXPECT_EQ(after.at(std::string(kLocation) + "/folder/file"), "0640 " + owners("root:root") + " file: staged\n");
  }
};

TEST_F(PlantedConfigurationTest, FileOfRootIsHonoured) {
  files().makeFile(inside(kConfigurationFile), configuration());
  expectHonoured();
}

TEST_F(PlantedConfigurationTest, FileOfTheCallerIsHonoured) {
  files().makeFile(inside(kConfigurationFile), configuration(), 0600);
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), kConfigurationFile);
  expectHonoured();
}

TEST_F(PlantedConfigurationTest, FileOfTheSudoCallerIsHonoured) {
  files().makeFile(inside(kConfigurationFile), configuration());
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kConfigurationFile);
  Call call = uninstall();
  call.environment["SUDO_UID"] = std::to_string(ThrowAwayRoot::bob());
  expectSucceeded(run(call), allChildren(), allTraceWith(located()));
  EXPECT_TRUE(files().has(inside(kLocation)));
}

TEST_F(PlantedConfigurationTest, ExistingLocationIsMergedInto) {
  files().makeFile(inside(kConfigurationFile), configuration());
  files().makeFile(inside(std::string(kLocation) + "/folder/file"), "already here\n");
  files().makeFile(inside(std::string(kLocation) + "/folder/own"), "kept\n");
  files().makeFile(inside(std::string(kStagingFolder) + "/folder/new"), "added\n");
  expectSucceeded(run(uninstall()), allChildren(), allTraceWith(located()));
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/file")), "already here\n");
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/own")), "kept\n");
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/new")), "added\n");
}

TEST_F(PlantedConfigurationTest, FileWithoutLocationLeavesTheCopyOut) {
  files().makeFile(inside(kConfigurationFile), "{ productName = Product; }");
  expectSucceeded(run(uninstall()), allChildren(), allTrace());
}

TEST_F(PlantedConfigurationTest, FileThatIsNoPropertyListCountsAsEmpty) {
  files().makeFile(inside(kConfigurationFile), std::string("\0\xFF garbage {{{", 14));
  expectSucceeded(run(uninstall()), allChildren(), allTrace());
}

TEST_F(PlantedConfigurationTest, FileThatARepairHasMadeRootsIsIgnored) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  files().makeFile(inside(data + "/planted"), configuration(), 0644);
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + "/planted");
  Call call = uninstall();
  call.environment["USER"] = "root";
  EXPECT_EQ(run(call).ending, "exit 0");
  // As if its folder's owner had moved it: here /tmp is another file system.
  const struct stat repaired = files().attributes(inside(data + "/planted"));
  EXPECT_EQ(repaired.st_uid, 0U);
  files().makeFile(inside(kConfigurationFile), configuration(), repaired.st_mode & 07777U);
  giveTo(repaired.st_uid, repaired.st_gid, kConfigurationFile);
  const Outcome outcome = run(uninstall());  // there is nothing to remove any more
  EXPECT_TRUE(std::any_of(outcome.trace.begin(), outcome.trace.end(),
                          [](const std::string& line) { return line.find("<Warning>: Ignored /tmp/com.") == 0; }));
  EXPECT_FALSE(files().has(inside(kLocation)));
}

TEST_F(PlantedConfigurationTest, MissingStagingFolderIsAnErrorEachTime) {
  files().makeFile(inside(kConfigurationFile), configuration());
  ASSERT_EQ(rename((files() / inside(kStagingFolder)).c_str(), (files() / inside("/tmp/away")).c_str()), 0);
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  int errors = 0;
  for (const std::string& line : outcome.trace) errors += line.compare(0, 30, "<Error>: Error copying files: ") == 0;
  EXPECT_EQ(errors, 3);
  EXPECT_FALSE(files().has(inside(kLocation)));
}

// ----- The data folder -----

class PlantedDataTest : public PlantedFilesTest {
 protected:
  void SetUp() override {
    PlantedFilesTest::SetUp();
    if (IsSkipped()) return;
    // The data folder and all in it are alice's, as on a machine in use.
    for (const auto& [path, entry] : state()) {
      if (path.compare(0, data.size(), data) == 0) giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path);
    }
  }

  void uninstallSuccessfully() {
    expectSucceeded(run(uninstall()), allChildren(), allTrace());
    // The ordinary entries are repaired, whatever lies beside them.
    EXPECT_EQ(state().at(data + "/logs/one.log"), "0775 " + owners("alice:admin") + " file: one\n");
  }
};

TEST_F(PlantedDataTest, SecondNameOfTheUsersOwnFileIsTreated) {
  files().makeFile(inside(data + "/first"), "", 0600);
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + "/first");
  ASSERT_EQ(link((files() / inside(data + "/first")).c_str(), (files() / inside("/Users/alice/second")).c_str()), 0);
  uninstallSuccessfully();
  EXPECT_EQ(state().at("/Users/alice/second"), "0775 " + owners("alice:admin") + " file: ");
}

TEST_F(PlantedDataTest, ClosedFoldersAndSpecialModesAreTreated) {
  files().makeFile(inside(data + "/closed/deep/file"), "", 04711);
  files().makeFolder(inside(data + "/closed/deep"), 01000);
  files().makeFolder(inside(data + "/closed"), 0);
  files().makeFile(inside(data + "/name with\nnewline and \xFF"), "", 0);
  uninstallSuccessfully();
  const Snapshot after = state();
  const std::string repaired = "0775 " + owners("alice:admin");
  EXPECT_EQ(after.at(data + "/closed"), repaired + " folder");
  EXPECT_EQ(after.at(data + "/closed/deep"), repaired + " folder");
  EXPECT_EQ(after.at(data + "/closed/deep/file"), repaired + " file: ");
  EXPECT_EQ(after.at(data + "/name with\nnewline and \xFF"), repaired + " file: ");
}

TEST_F(PlantedDataTest, DataFolderItselfKeepsItsAttributes) {
  files().makeFolder(inside(data), 0711);
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), data);
  uninstallSuccessfully();
  EXPECT_EQ(state().at(data), "0711 " + owners("bob:bob") + " folder");
}

TEST_F(PlantedDataTest, VolumeBelowTheDataFolderIsTreated) {
  const std::string volume = data + "/volume";
  root().mountMemory(volume, "mode=0700");
  files().makeFile(inside(volume + "/folder/file"), "on the volume\n", 0600);
  uninstallSuccessfully();
  const Snapshot after = takeSnapshot(files() / inside(volume));
  const std::string repaired = "0775 " + owners("alice:admin");
  EXPECT_EQ(files().mode(inside(volume)), 0775U);
  EXPECT_EQ(after.at("/folder"), repaired + " folder");
  EXPECT_EQ(after.at("/folder/file"), repaired + " file: on the volume\n");
}

TEST_F(PlantedDataTest, LinkAsDataFolderIsFollowedToAnOrdinaryPlaceOnly) {
  const std::string place = data;
  data = "/Users/alice/link";
  files().makeLink(inside(data), place);
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  EXPECT_EQ(state().at(place + "/logs/one.log"), "0775 " + owners("alice:admin") + " file: one\n");
}

}  // namespace

}  // namespace hotfix
