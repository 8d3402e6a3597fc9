#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// What others may have put in place before the tool runs as root: in /tmp, and in a data folder that is theirs.
class PlantedFilesTest : public MachineTest {
 protected:
  /// A file of root's that must stay as it is.
  static constexpr char kVictim[] = "/root/victim";

  void SetUp() override {
    MachineTest::SetUp();
    if (!IsSkipped()) files().makeFile(inside(kVictim), "precious\n", 0600);
  }

  std::string victim() { return state().at(kVictim); }
  std::string intactVictim() { return "0600 " + owners("root:root") + " file: precious\n"; }

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

  void expectSuccessWithTrace(const Outcome& outcome, const Lines& trace) {
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.output, kSucceeded);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.commandLines(), allChildren());
    EXPECT_EQ(outcome.trace, trace);
  }
};

// ----- The trace file -----

class PlantedTraceTest : public PlantedFilesTest {
 protected:
  /// Expects a run whose trace is whole, in a file of its own.
  void expectFreshTrace(const std::string& entry = "0644 " + owners("root:root") + " file:") {
    expectSuccessWithTrace(run(uninstall()), allTrace());
    EXPECT_EQ(state().at(kTraceFile), entry);
    EXPECT_EQ(files().attributes(inside(kTraceFile)).st_nlink, 1U);
    EXPECT_EQ(victim(), intactVictim());
  }
};

TEST_F(PlantedTraceTest, OwnFileOfAnEarlierRunIsEmptiedAndUsed) {
  files().makeFile(inside(kTraceFile), std::string(100000, 'x'), 0640);
  const ino_t file = files().attributes(inside(kTraceFile)).st_ino;
  expectFreshTrace("0640 " + owners("root:root") + " file:");
  EXPECT_EQ(files().attributes(inside(kTraceFile)).st_ino, file);
}

TEST_F(PlantedTraceTest, FileOfTheCallerIsEmptiedAndUsed) {
  files().makeFile(inside(kTraceFile), "of an earlier run\n");
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), kTraceFile);
  expectFreshTrace("0644 " + owners("alice:alice") + " file:");
}

TEST_F(PlantedTraceTest, FileOfSomebodyElseIsReplaced) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  files().makeFile(inside(kTraceFile), "of bob's\n", 0666);
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kTraceFile);
  expectFreshTrace();
}

TEST_F(PlantedTraceTest, LinkIsReplacedAndNotFollowed) {
  files().makeLink(inside(kTraceFile), kVictim);
  expectFreshTrace();
}

TEST_F(PlantedTraceTest, BrokenLinkIsReplacedAndNotFollowed) {
  files().makeLink(inside(kTraceFile), "/root/made through a link");
  expectFreshTrace();
  EXPECT_FALSE(files().has(inside("/root/made through a link")));
}

TEST_F(PlantedTraceTest, SecondNameOfAnotherFileIsReplaced) {
  files().makeFile(inside("/tmp/other"), "precious too\n");
  ASSERT_EQ(link((files() / inside("/tmp/other")).c_str(), (files() / inside(kTraceFile)).c_str()), 0);
  expectFreshTrace();
  EXPECT_EQ(files().read(inside("/tmp/other")), "precious too\n");
}

TEST_F(PlantedTraceTest, FifoIsReplacedWithoutWaitingForAReader) {
  files().makeFifo(inside(kTraceFile));
  expectFreshTrace();
}

TEST_F(PlantedTraceTest, FolderLeavesTracingOff) {
  files().makeFolder(inside(std::string(kTraceFile) + "/in the way"));
  expectSuccessWithTrace(run(uninstall()), {});
  EXPECT_TRUE(files().has(inside(std::string(kTraceFile) + "/in the way")));
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
    expectSuccessWithTrace(run(uninstall()), allTraceWith(located()));
    const Snapshot after = state();
    EXPECT_EQ(after.at(kLocation), "0755 " + owners("root:root") + " folder");
    EXPECT_EQ(after.at(std::string(kLocation) + "/folder"), "0755 " + owners("root:root") + " folder");
    EXPECT_EQ(after.at(std::string(kLocation) + "/folder/file"), "0640 " + owners("root:root") + " file: staged\n");
  }
  /// Expects a run as without the file, but for a warning.
  void expectIgnored() {
    Lines service = serviceMade();
    service.insert(service.begin() + 1,
                   "<Warning>: Ignored " + std::string(kConfigurationFile) +
                       ": it counts only as a plain file with one name that root or this user owns, that cannot be "
                       "executed and that not everybody can write to.");
    expectSuccessWithTrace(run(uninstall()), allTraceWith(service));
    EXPECT_FALSE(files().has(inside(kLocation)));
    EXPECT_EQ(victim(), intactVictim());
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
  expectSuccessWithTrace(run(call), allTraceWith(located()));
  EXPECT_TRUE(files().has(inside(kLocation)));
}

TEST_F(PlantedConfigurationTest, ExistingLocationIsMergedInto) {
  files().makeFile(inside(kConfigurationFile), configuration());
  files().makeFile(inside(std::string(kLocation) + "/folder/file"), "already here\n");
  files().makeFile(inside(std::string(kLocation) + "/folder/own"), "kept\n");
  files().makeFile(inside(std::string(kStagingFolder) + "/folder/new"), "added\n");
  expectSuccessWithTrace(run(uninstall()), allTraceWith(located()));
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/file")), "already here\n");
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/own")), "kept\n");
  EXPECT_EQ(files().read(inside(std::string(kLocation) + "/folder/new")), "added\n");
}

TEST_F(PlantedConfigurationTest, FileWithoutLocationLeavesTheCopyOut) {
  files().makeFile(inside(kConfigurationFile), "{ productName = Product; }");
  expectSuccessWithTrace(run(uninstall()), allTrace());
}

TEST_F(PlantedConfigurationTest, FileThatIsNoPropertyListCountsAsEmpty) {
  files().makeFile(inside(kConfigurationFile), std::string("\0\xFF garbage {{{", 14));
  expectSuccessWithTrace(run(uninstall()), allTrace());
}

TEST_F(PlantedConfigurationTest, FileOfSomebodyElseIsIgnored) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  files().makeFile(inside(kConfigurationFile), configuration());
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kConfigurationFile);
  expectIgnored();
}

TEST_F(PlantedConfigurationTest, FileThatEverybodyCanWriteIsIgnored) {
  files().makeFile(inside(kConfigurationFile), configuration(), 0666);
  expectIgnored();
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

TEST_F(PlantedConfigurationTest, LinkIsIgnored) {
  files().makeFile(inside("/root/configuration"), configuration());
  files().makeLink(inside(kConfigurationFile), "/root/configuration");
  expectIgnored();
}

TEST_F(PlantedConfigurationTest, FifoIsIgnoredWithoutWaitingForAWriter) {
  files().makeFifo(inside(kConfigurationFile));
  expectIgnored();
}

TEST_F(PlantedConfigurationTest, FolderIsIgnored) {
  files().makeFolder(inside(kConfigurationFile));
  expectIgnored();
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

TEST_F(PlantedConfigurationTest, StagingFolderOfSomebodyElseIsIgnored) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  files().makeFile(inside(kConfigurationFile), configuration());
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kStagingFolder);
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  const std::string warning =
      "<Warning>: Ignored /tmp/zelcore2/: it counts only as a folder that root or this user owns and that not "
      "everybody "
      "can write to.";
  EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), warning), 3);
  EXPECT_FALSE(files().has(inside(kLocation)));
}

TEST_F(PlantedConfigurationTest, LinkAsStagingFolderIsIgnored) {
  files().makeFile(inside(kConfigurationFile), configuration());
  ASSERT_EQ(rename((files() / inside(kStagingFolder)).c_str(), (files() / inside("/tmp/away")).c_str()), 0);
  files().makeLink(inside(kStagingFolder), "/root");
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  EXPECT_FALSE(files().has(inside(kLocation)));
  EXPECT_EQ(victim(), intactVictim());
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
    const Outcome outcome = run(uninstall());
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.output, kSucceeded);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.commandLines(), allChildren());
    EXPECT_EQ(outcome.trace, allTrace());
    EXPECT_EQ(victim(), intactVictim());
    // The ordinary entries are repaired, whatever lies beside them.
    EXPECT_EQ(state().at(data + "/logs/one.log"), "0775 " + owners("alice:admin") + " file: one\n");
  }
};

TEST_F(PlantedDataTest, LinksAreReownedAndNotFollowed) {
  files().makeFile(inside("/root/folder/file"), "precious too\n", 0600);
  files().makeLink(inside(data + "/to a file"), kVictim);
  files().makeLink(inside(data + "/to a folder"), "/root/folder");
  files().makeLink(inside(data + "/logs/to the top"), "/");
  files().makeLink(inside(data + "/logs/to itself"), ".");
  files().makeLink(inside(data + "/broken"), "/nowhere");
  const Snapshot before = state();
  uninstallSuccessfully();
  const Snapshot after = state();
  const std::string link = "0777 " + owners("alice:admin") + " link: ";
  EXPECT_EQ(after.at(data + "/to a file"), link + kVictim);
  EXPECT_EQ(after.at(data + "/to a folder"), link + "/root/folder");
  EXPECT_EQ(after.at(data + "/logs/to the top"), link + "/");
  EXPECT_EQ(after.at(data + "/logs/to itself"), link + ".");
  EXPECT_EQ(after.at(data + "/broken"), link + "/nowhere");
  for (const char* path : {"/root/folder", "/root/folder/file", "/etc/passwd"})
    EXPECT_EQ(after.at(path), before.at(path));
}

TEST_F(PlantedDataTest, SecondNameOfAFileOfRootIsRefused) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  ASSERT_EQ(link((files() / inside(kVictim)).c_str(), (files() / inside(data + "/second")).c_str()), 0);
  uninstallSuccessfully();
  EXPECT_EQ(state().at(data + "/second"), intactVictim());
}

TEST_F(PlantedDataTest, SecondNameOfTheUsersOwnFileIsTreated) {
  files().makeFile(inside(data + "/first"), "", 0600);
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + "/first");
  ASSERT_EQ(link((files() / inside(data + "/first")).c_str(), (files() / inside("/Users/alice/second")).c_str()), 0);
  uninstallSuccessfully();
  EXPECT_EQ(state().at("/Users/alice/second"), "0775 " + owners("alice:admin") + " file: ");
}

TEST_F(PlantedDataTest, FifosAreTreatedWithoutBeingOpened) {
  files().makeFifo(inside(data + "/logs/fifo"));
  uninstallSuccessfully();
  EXPECT_EQ(state().at(data + "/logs/fifo"), "0775 " + owners("alice:admin") + " fifo");
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

/// Folders whose repair would hit the machine or a user instead of an instance.
class ProtectedFolderTest : public PlantedDataTest, public ForEachText {};

TEST_P(ProtectedFolderTest, IsNotRepaired) {
  data = GetParam().text;
  files().makeLink(inside("/Users/alice/to etc"), "/etc");
  files().makeFile(inside("/stand-ins/note"),
                   "printf '%s\\0' $$ $# \"$0\" \"$@\" >> /stand-ins/record\n");  // without a copy of the data
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  int refusals = 0;
  for (const std::string& line : outcome.trace) {
    refusals += line.compare(0, 9, "<Error>: ") == 0 && line.find(data) != std::string::npos;
  }
  EXPECT_EQ(refusals, 2) << "one for each repair";
  for (const std::string& change : differences(before, state())) {
    EXPECT_TRUE(change.find(bundle) == 2 || change.find(kTraceFile) == 2) << change.substr(0, 200);
  }
}

INSTANTIATE_TEST_SUITE_P(Folders, ProtectedFolderTest,
                         ::testing::Values(NamedText{"Top", "/"}, NamedText{"Etc", "/etc"}, NamedText{"Usr", "/usr"},
                                           NamedText{"Homes", "/Users"}, NamedText{"HomeOfTheUser", "/Users/alice"},
                                           NamedText{"HomeWithSlash", "/Users/alice/"},
                                           NamedText{"Library", "/Library"}, NamedText{"Applications", "/Applications"},
                                           NamedText{"DetourToTheHomes", "/Users/alice/.."},
                                           NamedText{"LinkToEtc", "/Users/alice/to etc"}),
                         nameOf);

}  // namespace

}  // namespace hotfix
