// What others can do about the fixed names in /tmp.

#include "Tests/EndToEnd/AttacksTest.h"

namespace hotfix {

namespace {

const uid_t kNobodys = static_cast<uid_t>(-1);

// ----- The trace file -----

class AttacksTraceTest : public AttacksForEachProtection {
 protected:
  /// Expects a whole trace in a new file of root's with one name.
  void expectNewTrace() {
    const ino_t planted = files().attributes(inside(kTraceFile)).st_ino;
    const Outcome outcome = expectHeld();
    EXPECT_EQ(outcome.trace, allTrace());
    const struct stat status = files().attributes(inside(kTraceFile));
    EXPECT_EQ(state().at(kTraceFile), "0644 root:root file:");
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_NE(status.st_ino, planted);
  }
};

TEST_P(AttacksTraceTest, LinkToAFileOfRootsIsReplaced) {
  plantLink(ThrowAwayRoot::bob(), kTraceFile, kVictim);
  expectNewTrace();
}

TEST_P(AttacksTraceTest, BrokenLinkMakesNoFileElsewhere) {
  plantLink(ThrowAwayRoot::bob(), kTraceFile, std::string(kVictimFolder) + "/made");
  expectNewTrace();
}

TEST_P(AttacksTraceTest, FileOfAnotherUserIsReplacedAndHeDoesNotReadTheNewOne) {
  plantFile(ThrowAwayRoot::bob(), kTraceFile, "", 0666);
  const int held = open((files() / inside(kTraceFile)).c_str(), O_RDONLY | O_CLOEXEC);
  expectNewTrace();
  char byte;
  EXPECT_EQ(read(held, &byte, 1), 0);
  close(held);
}

TEST_P(AttacksTraceTest, SecondNameOfAFileOfRootsIsReplaced) {
  files().makeFile(inside("/tmp/root's/file"), std::string(kSecret) + "\n", 0600);
  plantSecondName("/tmp/root's/file", kTraceFile);
  files().makeFolder(inside("/tmp/root's"), 0700);
  const Outcome outcome = attacked(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(outcome.trace, allTrace());
  EXPECT_EQ(state().at("/tmp/root's/file"), "0600 root:root file: " + std::string(kSecret) + "\n");
  EXPECT_EQ(state().at(kTraceFile), "0644 root:root file:");
}

TEST_P(AttacksTraceTest, SecondNameOfTheCallersOwnFileIsReplaced) {
  plantFile(ThrowAwayRoot::alice(), "/tmp/alice's", std::string(kSecret) + "\n", 0600);
  plantSecondName("/tmp/alice's", kTraceFile);
  EXPECT_EQ(attacked(uninstall()).ending, "exit 0");
  EXPECT_EQ(state().at("/tmp/alice's"), "0600 alice:alice file: " + std::string(kSecret) + "\n");
}

TEST_P(AttacksTraceTest, FifoIsReplacedWithoutWaiting) {
  files().makeFifo(inside(kTraceFile));
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kTraceFile);
  expectNewTrace();
}

TEST_P(AttacksTraceTest, ReaderOfAFifoGetsNothing) {
  files().makeFifo(inside(kTraceFile));
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kTraceFile);
  const int reader = open((files() / inside(kTraceFile)).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_NE(reader, -1);
  expectNewTrace();
  char byte;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}

TEST_P(AttacksTraceTest, SocketIsReplaced) {
  plantSocket(ThrowAwayRoot::bob(), kTraceFile);
  expectNewTrace();
}

TEST_P(AttacksTraceTest, DeviceIsReplaced) {
  if (!plantDevice(kTraceFile)) GTEST_SKIP() << "devices cannot be made on this machine";
  expectNewTrace();
}

TEST_P(AttacksTraceTest, FolderLeavesTracingOffAndIsLeftAlone) {
  plantFile(ThrowAwayRoot::bob(), std::string(kTraceFile) + "/in the way", "bob's\n", 0600);
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kTraceFile);
  const Outcome outcome = expectHeld();
  EXPECT_EQ(outcome.trace, Lines());
  EXPECT_EQ(state().at(kTraceFile), "0755 bob:bob folder");
  EXPECT_EQ(state().at(std::string(kTraceFile) + "/in the way"), "0600 bob:bob file: bob's\n");
}

TEST_P(AttacksTraceTest, FileExchangedForALinkLeadsNowhere) {
  race(ThrowAwayRoot::alice(), [flip = false]() mutable {
    // The caller's own file passes for an older trace.
    flip = !flip;
    unlink(kTraceFile);
    if (flip) return symlink(kVictim, kTraceFile) == 0;
    const int file = open(kTraceFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    return file != -1 && close(file) == 0;
  });
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksTraceTest, ::testing::Values(Protections::On, Protections::Off),
                         nameOfProtections);

// ----- The internal configuration -----

class AttacksConfigurationTest : public AttacksForEachProtection {
 protected:
  static constexpr char kLocation[] = "/Applications/New Location";

  void SetUp() override {
    AttacksForEachProtection::SetUp();
    if (!IsSkipped()) files().makeFile(inside(std::string(kStagingFolder) + "/file"), "root's\n");
  }

  static std::string configuration() { return "{ newInstallLocation = \"" + std::string(kLocation) + "\"; }"; }

  /// Expects a run as without the file, but for a warning from each of the instance services.
  void expectIgnored() { expectIgnored(uninstall()); }
  void expectIgnored(const Call& call) {
    const Outcome outcome = expectHeld(call);
    const std::string warning =
        "<Warning>: Ignored " + std::string(kConfigurationFile) +
        ": it counts only as a plain file with one name that root or this user owns, that cannot be executed and that "
        "not everybody can write to.";
    EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), warning), 3);
    EXPECT_FALSE(files().has(inside(kLocation)));
  }
};

TEST_P(AttacksConfigurationTest, FileOfAnotherUserIsIgnored) {
  plantFile(ThrowAwayRoot::bob(), kConfigurationFile, configuration(), 0600);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, FileOfTheCallerThatEverybodyCanWriteIsIgnored) {
  plantFile(ThrowAwayRoot::alice(), kConfigurationFile, configuration(), 0646);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, LinkToATrustedFileIsIgnored) {
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/older configuration", configuration());
  plantLink(ThrowAwayRoot::bob(), kConfigurationFile, "/Users/alice/older configuration");
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, SecondNameOfATrustedFileIsIgnored) {
  plantFile(ThrowAwayRoot::alice(), "/tmp/alice's/older configuration", configuration());
  plantSecondName("/tmp/alice's/older configuration", kConfigurationFile);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, FifoIsIgnoredWithoutWaiting) {
  files().makeFifo(inside(kConfigurationFile));
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kConfigurationFile);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, FolderIsIgnored) {
  files().makeFolder(inside(kConfigurationFile));
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kConfigurationFile);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, SocketIsIgnored) {
  plantSocket(ThrowAwayRoot::bob(), kConfigurationFile);
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, DeviceIsIgnored) {
  if (!plantDevice(kConfigurationFile)) GTEST_SKIP() << "devices cannot be made on this machine";
  expectIgnored();
}

TEST_P(AttacksConfigurationTest, SudoCallerThatIsNoNumberOfHisIsNotTrusted) {
  plantFile(ThrowAwayRoot::bob(), kConfigurationFile, configuration());
  const std::string number = std::to_string(ThrowAwayRoot::bob());
  for (const std::string& text :
       Lines{"bob", "", " " + number, number + " ", "+" + number, "0" + number, number + "\n", number + "x", "0x1268",
             std::to_string((1ULL << 32U) + ThrowAwayRoot::bob()), "99999999999999999999" + number, "-1",
             std::to_string(kNobodys), std::string(10000, '9')}) {
    SCOPED_TRACE(text.substr(0, 40));
    installHotfixAgain();
    Call call = uninstall();
    call.environment["SUDO_UID"] = text;
    expectIgnored(call);
  }
}

// ----- The staging folder, with a configuration of root's that asks for it -----

class AttacksStagingTest : public AttacksConfigurationTest {
 protected:
  void SetUp() override {
    AttacksConfigurationTest::SetUp();
    if (IsSkipped()) return;
    files().makeFile(inside(kConfigurationFile), configuration());
    plantFile(ThrowAwayRoot::bob(), "/tmp/bob's/planted", "bob's\n");
    giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/tmp/bob's");
  }

  void removeStaging() {
    ASSERT_EQ(unlink((files() / inside(std::string(kStagingFolder) + "/file")).c_str()), 0);
    ASSERT_EQ(rmdir((files() / inside(kStagingFolder)).c_str()), 0);
  }

  /// Expects that nothing but what root has staged is at the new location, and that it is no link. Clears it.
  void expectNothingOfBobs() {
    if (!files().has(inside(kLocation))) return;
    const mode_t kind = files().attributes(inside(kLocation)).st_mode & static_cast<mode_t>(S_IFMT);
    EXPECT_EQ(kind, static_cast<mode_t>(S_IFDIR)) << "a link was copied";
    EXPECT_EQ(files().attributes(inside(kLocation)).st_uid, 0U);
    if (kind == S_IFDIR) {
      for (const std::string& name : files().names(inside(kLocation))) EXPECT_EQ(name, "file");
    }
    const std::string away = "/stand-ins/seen/location " + std::to_string(++_locations);
    EXPECT_EQ(rename((files() / inside(kLocation)).c_str(), (files() / inside(away)).c_str()), 0);
  }

  /// Races, with both folders left out of what must not change. \param isAllowed whether the attacker can do the step.
  void raceForStaging(const std::function<bool()>& step, bool isAllowed = true) {
    hurry();
    const Snapshot before = withoutStaging();
    {
      const Attacker attacker(root(), ThrowAwayRoot::bob(), step);
      for (int times = 0; times < kRuns; ++times) {
        runHurriedly();
        expectNothingOfBobs();
      }
      if (isAllowed) {
        EXPECT_GE(attacker.rounds(), kRounds);
      } else {
        EXPECT_EQ(attacker.rounds(), 0U);
      }
    }
    EXPECT_EQ(differences(before, withoutStaging()), Lines());
  }

 private:
  Snapshot withoutStaging() {
    Snapshot result = outside();
    for (auto entry = result.begin(); entry != result.end();) {
      const bool isLeftOut = entry->first.compare(0, sizeof kStagingFolder - 1, kStagingFolder) == 0 ||
                             entry->first.compare(0, 10, "/tmp/bob's") == 0;
      entry = isLeftOut ? result.erase(entry) : std::next(entry);
    }
    return result;
  }

  int _locations = 0;
};

TEST_P(AttacksStagingTest, FolderOfAnotherUserIsIgnored) {
  removeStaging();
  plantFile(ThrowAwayRoot::bob(), std::string(kStagingFolder) + "/planted", "bob's\n");
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kStagingFolder);
  expectHeld();
  EXPECT_FALSE(files().has(inside(kLocation)));
}

TEST_P(AttacksStagingTest, FolderOfRootsThatEverybodyCanWriteIsIgnored) {
  for (const mode_t mode : {0777U, 01777U}) {
    files().makeFolder(inside(kStagingFolder), mode);
    plantFile(ThrowAwayRoot::bob(), std::string(kStagingFolder) + "/planted", "bob's\n", 04755);
    installHotfixAgain();
    const Outcome outcome = expectHeld();
    const std::string warning = "<Warning>: Ignored " + std::string(kStagingFolder) +
                                "/: it counts only as a folder that root or this user owns and that not everybody "
                                "can write to.";
    EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), warning), 3);
    EXPECT_FALSE(files().has(inside(kLocation)));
  }
}

TEST_P(AttacksStagingTest, SetIdBitsDoNotComeOutOfAFolderWhereOthersCanPutFiles) {
  files().makeFile(inside(std::string(kStagingFolder) + "/program"), "code\n", 06755);
  files().makeFolder(inside(std::string(kStagingFolder) + "/sub"), 0777);
  files().makeFile(inside(std::string(kStagingFolder) + "/sub/program"), "code\n", 06755);
  EXPECT_EQ(attacked(uninstall()).ending, "exit 0");
  EXPECT_EQ(state().at(std::string(kLocation) + "/program"), "6755 root:root file: code\n");
  EXPECT_EQ(state().at(std::string(kLocation) + "/sub/program"), "0755 root:root file: code\n");
}

TEST_P(AttacksStagingTest, LinkToAFolderOfAnotherUserIsIgnored) {
  removeStaging();
  plantLink(ThrowAwayRoot::bob(), kStagingFolder, "/tmp/bob's");
  expectHeld();
  EXPECT_FALSE(files().has(inside(kLocation)));
}

TEST_P(AttacksStagingTest, LinkToAFolderOfRootsIsIgnored) {
  removeStaging();
  plantLink(ThrowAwayRoot::bob(), kStagingFolder, kVictimFolder);
  expectHeld();
  EXPECT_FALSE(files().has(inside(kLocation)));
}

TEST_P(AttacksStagingTest, LinkInItIsCopiedAsALink) {
  plantLink(0, std::string(kStagingFolder) + "/link", kVictim);
  EXPECT_EQ(attacked(uninstall()).ending, "exit 0");
  EXPECT_EQ(state().at(std::string(kLocation) + "/link"), "0777 root:root link: " + std::string(kVictim));
  EXPECT_EQ(state().at(kVictim), "0600 root:root file: " + std::string(kSecret) + "\n");
}

TEST_P(AttacksStagingTest, FolderThatAppearsWhileTheToolRunsIsNotCopied) {
  removeStaging();
  raceForStaging([] {
    const bool isMade = rename("/tmp/bob's", kStagingFolder) == 0;
    for (int delay = 0; delay < 3; ++delay) (void)!access(kStagingFolder, F_OK);
    return rename(kStagingFolder, "/tmp/bob's") == 0 && isMade;
  });
}

TEST_P(AttacksStagingTest, FolderExchangedWhileTheToolRunsIsNotCopied) {
  // Only where the folder has no sticky bit can he put his own in the place of root's.
  raceForStaging([] { return exchangeEntries("/tmp/bob's", kStagingFolder); }, !isProtected());
}

TEST_P(AttacksStagingTest, FolderExchangedForALinkWhileTheToolRunsIsNotFollowed) {
  plantLink(ThrowAwayRoot::bob(), "/tmp/bob's link", kVictimFolder);
  raceForStaging([] { return exchangeEntries("/tmp/bob's link", kStagingFolder); }, !isProtected());
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksConfigurationTest, ::testing::Values(Protections::On, Protections::Off),
                         nameOfProtections);
INSTANTIATE_TEST_SUITE_P(Protections, AttacksStagingTest, ::testing::Values(Protections::On, Protections::Off),
                         nameOfProtections);

}  // namespace

}  // namespace hotfix
