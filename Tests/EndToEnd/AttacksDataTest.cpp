// What the owner of a data folder can do while root repairs it, and data folders that are none.

#include <sys/inotify.h>
#include <sys/sysmacros.h>

#include "Tests/EndToEnd/AttacksTest.h"

namespace hotfix {

namespace {

const std::string kRepaired = "0775 alice:admin";

class AttacksDataTest : public AttacksForEachProtection {
 protected:
  /// Whatever lies beside it, an ordinary entry is repaired.
  Outcome expectRepaired() {
    Outcome outcome = expectHeld();
    EXPECT_EQ(outcome.trace, allTrace());
    EXPECT_EQ(state().at(data + "/logs/one.log"), kRepaired + " file: one\n");
    return outcome;
  }
};

TEST_P(AttacksDataTest, LinkToAFileOfRootsIsNotFollowed) {
  plantLink(ThrowAwayRoot::alice(), data + "/link", kVictim);
  plantLink(ThrowAwayRoot::alice(), data + "/logs/link", "../../../../root/victim");
  expectRepaired();
  EXPECT_EQ(state().at(data + "/link"), "0777 alice:admin link: " + std::string(kVictim));
}

TEST_P(AttacksDataTest, LinkToAFolderOfRootsIsNotFollowed) {
  plantLink(ThrowAwayRoot::alice(), data + "/link", kVictimFolder);
  plantLink(ThrowAwayRoot::alice(), data + "/link of a link", "link");
  plantLink(ThrowAwayRoot::alice(), data + "/top", "/");
  expectRepaired();
}

TEST_P(AttacksDataTest, SecondNameOfAFileOfRootsIsRefused) {
  plantSecondName(kVictim, data + "/second");
  plantSecondName("/etc/passwd", data + "/logs/passwords");
  expectRepaired();
}

TEST_P(AttacksDataTest, SecondNameOfAnotherUsersFileIsRefused) {
  plantFile(ThrowAwayRoot::bob(), "/Users/bob/diary", "bob's\n", 0600);
  plantSecondName("/Users/bob/diary", data + "/second");
  expectRepaired();
}

TEST_P(AttacksDataTest, SecondNameInAFolderOfRootsThatOthersCanWriteIsRefused) {
  files().makeFolder(inside(data + "/root's"), 0777);
  plantSecondName(kVictim, data + "/root's/second");
  expectRepaired();
}

TEST_P(AttacksDataTest, SecondNameOfALinkOfRootsIsRefused) {
  plantLink(0, "/root/link", kVictim);
  plantSecondName("/root/link", data + "/second");  // link(2) does not follow it
  expectRepaired();
}

TEST_P(AttacksDataTest, DeviceFifoAndSocketAreNotOpened) {
  const std::string folder = data + "/odd";
  files().makeFolder(inside(folder));
  // What is shown as a device here can be opened by nobody: no driver has this number.
  const bool hasDevice = mknod((files() / inside(folder + "/device")).c_str(), S_IFCHR | 0600, makedev(240, 255)) == 0;
  files().makeFifo(inside(folder + "/fifo"));
  plantSocket(ThrowAwayRoot::alice(), folder + "/socket");
  const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  for (const std::string& name : files().names(inside(folder))) {
    ASSERT_NE(inotify_add_watch(watch, (files() / inside(folder + "/" + name)).c_str(), IN_OPEN), -1) << name;
  }
  expectRepaired();
  char event[4096];
  EXPECT_EQ(read(watch, event, sizeof event), -1) << "one of them was opened";
  close(watch);
  EXPECT_EQ(state().at(folder + "/fifo"), kRepaired + " other");
  EXPECT_EQ(state().at(folder + "/socket"), kRepaired + " other");
  if (hasDevice) {
    EXPECT_EQ(state().at(folder + "/device"), kRepaired + " other");
  }
}

TEST_P(AttacksDataTest, ThreeThousandLevelsAreWalked) {
  int level = open(files().makeFolder(inside(data + "/deep"), 0700).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int depth = 0; depth < 3000; ++depth) {
    ASSERT_EQ(mkdirat(level, "deeper", 0700), 0) << depth;
    const int next = openat(level, "deeper", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    close(level);
    level = next;
  }
  ASSERT_EQ(symlinkat(kVictimFolder, level, "link"), 0);
  expectRepaired();
  struct stat status = {};
  ASSERT_EQ(fstat(level, &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0775U);
  EXPECT_EQ(status.st_uid, ThrowAwayRoot::alice());
  close(level);
}

TEST_P(AttacksDataTest, OddNamesAreNoneButNames) {
  const std::vector<std::string> names = {"new\nline",
                                          "carriage\rreturn",
                                          "\x1B[2K\x1B[1A",
                                          "\b\b\b",
                                          "next\xC2\x85line",
                                          "\xE2\x80\xA8",
                                          "not UTF-8 \xFF\xC3\x28",
                                          "\xED\xA0\x80",
                                          "; touch owned",
                                          "$(touch owned)",
                                          "`touch owned`",
                                          "-rf",
                                          "--reference=x",
                                          "~root",
                                          "*",
                                          "%s%n%n",
                                          " ",
                                          "\\",
                                          "..\xC0\xAF..",
                                          std::string(255, '\x01')};
  for (const std::string& name : names) plantFile(ThrowAwayRoot::alice(), data + "/" + name, "", 0600);
  for (const std::string& name : names) files().makeFile(inside(data + "/folders/" + name + "/file"), "", 0600);
  expectRepaired();
  const Snapshot after = state();
  for (const std::string& name : names) {
    EXPECT_EQ(after.at(data + "/" + name), kRepaired + " file: ") << name;
    EXPECT_EQ(after.at(data + "/folders/" + name + "/file"), kRepaired + " file: ") << name;
  }
}

TEST_P(AttacksDataTest, FoldersOfAccountsWithoutAHomeAreRepaired) {
  const std::vector<std::string> homes = {"", "/", "/nonexistent", data + "/nowhere", ".", "/etc/passwd"};
  std::string accounts;
  uid_t user = 4713;
  for (const std::string& place : homes) {
    const std::string number = std::to_string(user);
    accounts += "daemon" + number + ":x:" + number + ":" + number + "::" + place + ":/bin/sh\n";
    files().makeFolder(inside(data + "/" + number), 0700);
    giveTo(user, user, data + "/" + number);
    ++user;
  }
  files().makeFile(inside("/etc/passwd"), accounts + files().read(inside("/etc/passwd")));
  expectRepaired();
  for (uid_t daemon = 4713; daemon < user; ++daemon) {
    EXPECT_EQ(state().at(data + "/" + std::to_string(daemon)), kRepaired + " folder");
  }
  for (uid_t daemon = 4713; daemon < user; ++daemon) {
    const std::string number = std::to_string(daemon);
    Call call = uninstall();
    call.environment["USER"] = "daemon" + number;
    call.environment["SUDO_UID"] = number;
    (void)attacked(call);  // the hotfix is removed already
    EXPECT_EQ(state().at(data + "/" + number), "0775 " + number + ":admin folder");
  }
}

// ----- While the walk runs -----

class AttacksWalkTest : public AttacksDataTest {
 protected:
  void SetUp() override {
    AttacksDataTest::SetUp();
    if (IsSkipped()) return;
    // In memory, where exchanges take the least time.
    attackersPlace = "/Users/alice/place";
    root().mountMemory(attackersPlace, "mode=0755");
    makeInstance(bundle, attackersPlace + "/Client Data");
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), attackersPlace);
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data);
    // Something to do before and after an exchanged entry.
    for (int number = 0; number < 200; ++number)
      files().makeFile(inside(data + "/" + std::to_string(number)), "", 0600);
  }

  /// How many entries of a kind are exchanged: the more there are, the more often one is in the way of the walk.
  static constexpr int kEntries = 10;

  std::string entry(int number) { return data + "/entry " + std::to_string(number); }
  std::string spare(int number) { return attackersPlace + "/spare " + std::to_string(number); }

  /// Races with exchanges of each entry for its spare one.
  void expectHeldWhileExchanged() {
    race(ThrowAwayRoot::alice(), [this, next = 0]() mutable {
      next = (next + 1) % kEntries;
      return exchangeEntries(entry(next), spare(next));
    });
  }

  /// Races with exchanges of the data folder for a link.
  void expectHeldWhileDataIsExchangedForALinkTo(const std::string& target) {
    plantLink(ThrowAwayRoot::alice(), spare(0), target);
    race(ThrowAwayRoot::alice(), [this] { return exchangeEntries(data, spare(0)); });
  }
};

TEST_P(AttacksWalkTest, FolderExchangedForALinkToAFolderOfRootsLeadsNowhere) {
  for (int number = 0; number < kEntries; ++number) {
    files().makeFile(inside(entry(number) + "/sub/file"), "", 0600);
    plantLink(ThrowAwayRoot::alice(), spare(number), kVictimFolder);
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), entry(number));
  }
  expectHeldWhileExchanged();
}

TEST_P(AttacksWalkTest, FileExchangedForALinkToAFileOfRootsLeadsNowhere) {
  for (int number = 0; number < kEntries; ++number) {
    plantFile(ThrowAwayRoot::alice(), entry(number), "", 0600);
    plantLink(ThrowAwayRoot::alice(), spare(number), kVictim);
  }
  expectHeldWhileExchanged();
}

TEST_P(AttacksWalkTest, FileExchangedForASecondNameOfAFileOfRootsIsRefused) {
  const std::string precious = attackersPlace + "/root's/file";  // a second name must be on the same disk
  files().makeFile(inside(precious), std::string(kSecret) + "\n", 0600);
  plantFile(ThrowAwayRoot::alice(), entry(0), "", 0600);
  plantSecondName(precious, spare(0));
  const int file = open((files() / inside(entry(0))).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_NE(file, -1);
  // Whoever changes a file that is written to has to wait: time for the exchange between one change and the next. And
  // it is taken back, so that each walk has to change it.
  const std::string bytes(size_t{2} << 20U, 'b');
  const Attacker writer(root(), ThrowAwayRoot::alice(), [&] {
    return pwrite(file, bytes.data(), bytes.size(), 0) != -1 && fchmod(file, 0600) == 0 &&
           fchown(file, getuid(), getgid()) == 0;
  });
  race(ThrowAwayRoot::alice(), [this] { return exchangeEntries(entry(0), spare(0)); });
  close(file);
  const struct stat status = files().attributes(inside(precious));
  EXPECT_EQ(status.st_uid, 0U);
  EXPECT_EQ(status.st_gid, 0U);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_EQ(status.st_nlink, 2U);
}

TEST_P(AttacksWalkTest, DataFolderExchangedForALinkToASystemFolderIsNotFollowed) {
  expectHeldWhileDataIsExchangedForALinkTo("/etc");
}

TEST_P(AttacksWalkTest, DataFolderExchangedForALinkToAFolderOfRootsIsNotFollowed) {
  expectHeldWhileDataIsExchangedForALinkTo(kVictimFolder);
}

TEST_P(AttacksWalkTest, DataFolderThatIsAUsersLinkToAFolderOfRootsIsNotFollowed) {
  data = attackersPlace + "/link";
  plantLink(ThrowAwayRoot::alice(), data, kVictimFolder);
  expectHeld();
}

TEST_P(AttacksWalkTest, DataFolderBehindAUsersLinkToAFolderOfRootsIsNotFollowed) {
  plantLink(ThrowAwayRoot::alice(), attackersPlace + "/link", kVictimFolder);
  data = attackersPlace + "/link/sub";
  expectHeld();
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksDataTest, ::testing::Values(Protections::Off), nameOfProtections);
INSTANTIATE_TEST_SUITE_P(Protections, AttacksWalkTest, ::testing::Values(Protections::Off), nameOfProtections);

// ----- Second names, whoever is to be the owner -----

/// The text is the user.
class AttacksOwnerTest : public AttacksForEachText {
 protected:
  Call uninstallFor() {
    Call call = uninstall();
    call.environment["USER"] = text();
    if (text().empty()) call.environment.erase("USER");
    return call;
  }
};

TEST_P(AttacksOwnerTest, SecondNamesOfRootsFilesAreRefused) {
  plantFile(0, "/root/program", "code\n", 04755);
  plantSecondName(kVictim, data + "/second");
  plantSecondName("/root/program", data + "/logs/program");
  plantFile(ThrowAwayRoot::bob(), data + "/bob's/own", "", 0600);
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), data + "/bob's");
  plantSecondName(kVictim, data + "/bob's/second");
  expectHeld(uninstallFor());
}

TEST_P(AttacksOwnerTest, SecondNameOfTheUsersKeyInAFolderOfAnotherUserIsRefused) {
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/key", std::string(kSecret) + "\n", 0600);
  files().makeFolder(inside(data + "/bob's"));
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), data + "/bob's");
  plantSecondName("/Users/alice/key", data + "/bob's/second");
  expectHeld(uninstallFor());
}

// ----- The same in a tree whose folders are group-writable, as where every user has a group of his own -----

class AttacksGroupTest : public AttacksOwnerTest {
 protected:
  void SetUp() override {
    AttacksOwnerTest::SetUp();
    if (IsSkipped()) return;
    plantFile(ThrowAwayRoot::alice(), data + "/logs/first", "", 0664);
    files().makeFolder(inside(data + "/more"));
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + "/more");
    plantSecondName(data + "/logs/first", data + "/more/second");
    for (const std::string& name : {data + "/logs", data + "/more", data}) {
      giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), name);
      files().makeFolder(inside(name), 0775);
    }
  }

  void changeAccounts(const std::string& path, const std::string& from, const std::string& to) {
    std::string text = files().read(inside(path));
    ASSERT_NE(text.find(from), std::string::npos) << text;
    files().makeFile(inside(path), text.replace(text.find(from), from.size(), to));
  }
  void removeAdmin() {
    const std::string admin = "admin:x:" + std::to_string(ThrowAwayRoot::admin()) + ":\n";
    changeAccounts("/etc/group", admin, "");
  }

  /// Both names are treated, in both repairs of the run and in those of another run.
  void expectTreated(const std::string& group) {
    const std::string owner = this->text() == "root" || this->text().empty() ? "root" : "alice";
    for (int time = 0; time < 2; ++time) {
      const Snapshot before = outside();
      (void)attacked(uninstallFor());  // the second one finds nothing to remove, and repairs all the same
      expectUnchanged(before);
      for (const char* name : {"/logs/first", "/more/second"}) {
        EXPECT_EQ(state().at(data + name), "0775 " + owner + ":" + group + " file: ");
      }
      EXPECT_EQ(state().at(data + "/more"), "0775 " + owner + ":" + group + " folder");
      // Something to do for the next one. What a user can put in a folder of root's is not root's.
      if (group == "admin" || owner == "alice") files().makeFile(inside(data + "/logs/first"), "", 0600);
    }
  }

  void expectHeldWithoutAdmin() {
    expectHeld(uninstallFor());
    removeAdmin();
    const Snapshot before = outside();
    (void)attacked(uninstallFor());
    expectUnchanged(before);
  }
};

TEST_P(AttacksGroupTest, NamesInFoldersOfTheUsersOwnGroupAreTreated) { expectTreated("admin"); }

TEST_P(AttacksGroupTest, NamesInFoldersOfTheUsersOwnGroupAreTreatedWhereThereIsNoGroupAdmin) {
  removeAdmin();
  expectTreated("alice");
}

TEST_P(AttacksGroupTest, SecondNameByAMemberOfTheGroupIsRefused) {
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/key", std::string(kSecret) + "\n", 0600);
  plantSecondName("/Users/alice/key", data + "/logs/second");
  const std::string group = "alice:x:" + std::to_string(ThrowAwayRoot::alice()) + ":";
  changeAccounts("/etc/group", group, group + "alice,bob");
  expectHeldWithoutAdmin();
}

TEST_P(AttacksGroupTest, SecondNameByAnAccountOfThatPrimaryGroupIsRefused) {
  plantFile(ThrowAwayRoot::alice(), "/Users/alice/key", std::string(kSecret) + "\n", 0600);
  plantSecondName("/Users/alice/key", data + "/logs/second");
  const std::string bob = "bob:x:" + std::to_string(ThrowAwayRoot::bob()) + ":";
  changeAccounts("/etc/passwd", bob + std::to_string(ThrowAwayRoot::bob()),
                 bob + std::to_string(ThrowAwayRoot::alice()));
  expectHeld(uninstallFor());
}

TEST_P(AttacksGroupTest, SecondNameOfRootsFileByTheUserIsRefused) {
  plantSecondName(kVictim, data + "/logs/second");
  expectHeldWithoutAdmin();
}

TEST_P(AttacksOwnerTest, NamesInFoldersOfTheFilesOwnerAreTreated) {
  plantFile(ThrowAwayRoot::alice(), data + "/logs/first", "", 0600);
  files().makeFolder(inside(data + "/more"));
  giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data + "/more");
  plantSecondName(data + "/logs/first", data + "/more/second");
  expectHeld(uninstallFor());
  EXPECT_EQ(state().at(data + "/more/second").substr(0, 4), "0775");
  EXPECT_EQ(state().at(data + "/more").substr(0, 4), "0775");
}

const auto kUsers = ::testing::Values(NamedText{"Alice", "alice"}, NamedText{"Root", "root"}, NamedText{"Unset", ""},
                                      NamedText{"Unknown", "nobody known here"});
INSTANTIATE_TEST_SUITE_P(Users, AttacksOwnerTest, kUsers, nameWithoutProtections);
INSTANTIATE_TEST_SUITE_P(Users, AttacksGroupTest, kUsers, nameWithoutProtections);

// ----- Links on the way to the data folder -----

class AttacksLinkTest : public AttacksForEachProtection {
 protected:
  void SetUp() override {
    AttacksForEachProtection::SetUp();
    if (IsSkipped()) return;
    files().makeFolder(inside("/Applications"), 0775);
    giveTo(0, ThrowAwayRoot::admin(), "/Applications");
    data = "/Applications/Linked/sub";
  }

  static std::string refusal(const std::string& leader) {
    return " a link that leads there is in the hands of " + leader + ", not of root, its owner or the caller of sudo.";
  }

  void expectRefused(const Call& call, const std::string& leader) {
    const Outcome outcome = expectHeld(call);
    const std::string line = "<Error>: Refused to change owner and permissions below " + data + ":" + refusal(leader);
    EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), line), 2);
  }

  Call uninstallBySudo(uid_t caller) {
    Call call = uninstall();
    call.environment["SUDO_UID"] = std::to_string(caller);
    return call;
  }
};

TEST_P(AttacksLinkTest, LinkOfRootsThatSomebodyHasMovedIsNotFollowed) {
  // As root has made it elsewhere, it led to something else.
  plantLink(0, "/Users/bob/link", "../../root/folder");
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/bob");
  data = "/Users/bob/link/sub";
  expectRefused(uninstall(), "bob");
}

TEST_P(AttacksLinkTest, SecondNameOfALinkOfRootsIsNotFollowed) {
  data = "/tmp/link/sub";
  plantLink(0, "/tmp/original", "../root/folder");
  plantSecondName("/tmp/original", "/tmp/link");
  expectRefused(uninstall(), "everybody");
}

TEST_P(AttacksLinkTest, SecondNameOfALinkOfRootsInAFolderOfAGroupIsNotFollowed) {
  plantLink(0, "/opt/original", "../../root/folder");
  files().makeFolder(inside("/opt/shared"));
  plantSecondName("/opt/original", "/opt/shared/link");
  giveTo(0, 54322, "/opt/shared");
  files().makeFolder(inside("/opt/shared"), 01775);
  data = "/opt/shared/link/sub";
  attackersPlace = "/opt/shared";
  expectRefused(uninstall(), "the group 54322");
}

TEST_P(AttacksLinkTest, LinkOfRootsInAFolderOfItsGroupIsNotFollowed) {
  plantLink(0, "/opt/shared/link", "../../root/folder");
  giveTo(0, 54322, "/opt/shared");
  files().makeFolder(inside("/opt/shared"), 0775);
  data = "/opt/shared/link/sub";
  attackersPlace = "/opt/shared";
  expectRefused(uninstall(), "the group 54322");
}

TEST_P(AttacksLinkTest, LinkOfAnotherUserIsNotFollowed) {
  plantLink(ThrowAwayRoot::bob(), "/Applications/Linked", kVictimFolder);
  expectRefused(uninstallBySudo(ThrowAwayRoot::alice()), "bob");
}

TEST_P(AttacksLinkTest, LinkOfTheSudoCallerIsFollowed) {
  plantLink(ThrowAwayRoot::alice(), "/Applications/Linked", kVictimFolder);
  attackersPlace = kVictimFolder;
  expectHeld(uninstallBySudo(ThrowAwayRoot::alice()));
  EXPECT_EQ(state().at(std::string(kVictimFolder) + "/sub/file"),
            "0775 alice:admin file: " + std::string(kSecret) + "\n");
}

TEST_P(AttacksLinkTest, LinkOfTheSudoCallerInAFolderOfAnotherUserIsNotFollowed) {
  plantLink(ThrowAwayRoot::alice(), "/Users/bob/link", "../../root/folder");
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/bob");
  data = "/Users/bob/link/sub";
  expectRefused(uninstallBySudo(ThrowAwayRoot::alice()), "bob");
}

INSTANTIATE_TEST_SUITE_P(Protections, AttacksLinkTest, ::testing::Values(Protections::On, Protections::Off),
                         nameOfProtections);

// ----- Folders of the machine or of a user as data folder -----

class AttacksFolderTest : public AttacksForEachText {
 protected:
  void SetUp() override {
    AttacksForEachText::SetUp();
    if (IsSkipped()) return;
    // What a Mac has and this machine may not.
    for (const char* folder :
         {"/System/Volumes/Data/Users/carol", "/private/etc", "/private/tmp", "/Library/Preferences", "/home/carol",
          "/Volumes/Disk", "/usr/local/deep/deeper", "/etc/deep", "/boot/deep", "/private/etc/deep",
          "/System/Library/deep", "/System/Volumes/Preboot", "/Library/Apple/System/deep", "/dev/deep",
          "/System/Volumes/Data/usr/deep"}) {
      files().makeFile(inside(std::string(folder) + "/file"), std::string(kSecret) + "\n", 0600);
    }
    plantFile(ThrowAwayRoot::bob(), "/Users/bob/diary", "bob's\n", 0600);
    plantFile(ThrowAwayRoot::bob(), "/tmp/bob's", "bob's\n", 0600);
  }

  /// Expects both repairs to be refused, with all but the instance as it was.
  void expectRefused() { expectRefused(uninstall()); }
  void expectRefused(const Call& call) {
    attackersPlace = bundle;  // the data folder is none of the instance's here
    const Outcome outcome = expectHeld(call);
    int refusals = 0;
    for (const std::string& line : outcome.trace) {
      refusals += line.compare(0, 9, "<Error>: ") == 0 && line.find(" " + data + ":") != std::string::npos;
    }
    EXPECT_EQ(refusals, 2);
  }
};

TEST_P(AttacksFolderTest, IsNotRepaired) {
  data = text();
  expectRefused();
}

TEST_P(AttacksFolderTest, IsNotRepairedThroughALink) {
  data = "/Users/alice/link";
  plantLink(ThrowAwayRoot::alice(), data, text());
  expectRefused();
}

TEST_P(AttacksFolderTest, IsNotRepairedThroughALinkBehindSlashes) {
  plantLink(ThrowAwayRoot::alice(), "/Users/alice/link", text());
  data = "/Users//alice/./link//";
  expectRefused();
}

INSTANTIATE_TEST_SUITE_P(
    Folders, AttacksFolderTest,
    ::testing::Values(
        NamedText{"Top", "/"}, NamedText{"TopWithSlashes", "///"}, NamedText{"TopByDetour", "/usr/../etc/.."},
        NamedText{"Etc", "/etc"}, NamedText{"EtcWithSlashes", "//etc///"}, NamedText{"EtcByDetour", "/Users/../etc/."},
        NamedText{"UsrByDetour", "/usr/lib/.."}, NamedText{"Users", "/Users"}, NamedText{"UsersWithSlash", "/Users/"},
        NamedText{"Home", "/home"}, NamedText{"HomeOfTheUser", "/Users/alice"},
        NamedText{"HomesByDetour", "/Users/alice/.."}, NamedText{"Applications", "/Applications"},
        NamedText{"HomeOfAnother", "/Users/bob"}, NamedText{"HomeOfAnotherWithSlashes", "/Users/bob//"},
        NamedText{"HomeOfRoot", "/root"}, NamedText{"Tmp", "/tmp"}, NamedText{"TmpWithSlash", "/tmp/"},
        NamedText{"PrivateEtc", "/private/etc"}, NamedText{"PrivateTmp", "/private/tmp"},
        NamedText{"Library", "/Library"}, NamedText{"Volumes", "/Volumes"},
        NamedText{"DataVolume", "/System/Volumes/Data"}, NamedText{"DataVolumeWithSlash", "/System/Volumes/Data/"},
        NamedText{"UsersOnDataVolume", "/System/Volumes/Data/Users"},
        NamedText{"UsersOnDataVolumeByDetour", "/System/Volumes/Data/Users/carol/.."},
        NamedText{"UsrLocal", "/usr/local"}, NamedText{"DeepInUsr", "/usr/local/deep/deeper"},
        NamedText{"DeepInEtc", "/etc/deep"}, NamedText{"DeepInPrivateEtc", "/private/etc/deep"},
        NamedText{"DeepInBin", "/bin/../share"}, NamedText{"DeepInBoot", "/boot/deep"},
        NamedText{"DeepInDev", "/dev/deep"}, NamedText{"DeepInProc", "/proc/self/task"},
        NamedText{"DeepInSystem", "/System/Library/deep"}, NamedText{"AnotherVolume", "/System/Volumes/Preboot"},
        NamedText{"DeepInApples", "/Library/Apple/System/deep"},
        NamedText{"DeepInUsrOnDataVolume", "/System/Volumes/Data/usr/deep"}),
    nameWithoutProtections);

class AttacksOtherFolderTest : public AttacksForEachText {};

TEST_P(AttacksOtherFolderTest, IsRepaired) {
  data = attackersPlace = text();
  files().makeFile(inside(data + "/logs/one.log"), "one\n", 0600);
  expectHeld();
  EXPECT_EQ(state().at(data + "/logs/one.log"), kRepaired + " file: one\n");
}

INSTANTIATE_TEST_SUITE_P(Folders, AttacksOtherFolderTest,
                         ::testing::Values(NamedText{"Top", "/D"}, NamedText{"DeepInOpt", "/opt/product/data"},
                                           NamedText{"DeepInVar", "/var/product/data"},
                                           NamedText{"OnDataVolume", "/System/Volumes/Data/Users/carol/Client Data"},
                                           NamedText{"OnVolume", "/Volumes/Disk/usr/data"},
                                           NamedText{"DeepInLibrary", "/Library/Application Support/data"}),
                         nameWithoutProtections);

// ----- Folders of homes that lie elsewhere -----

/// The text is where the homes are.
class AttacksHomesTest : public AttacksFolderTest {
 protected:
  static constexpr uid_t kCarol = 4713;
  static constexpr uid_t kDave = 4714;

  void SetUp() override {
    AttacksFolderTest::SetUp();
    if (IsSkipped()) return;
    data = text();
    homeOfCarol = data + "/carol";
    makeAccount("carol", kCarol, homeOfCarol);
    // Root's, like all that the test makes: the account alone tells that it is a home.
    files().makeFile(inside(homeOfCarol + "/diary"), std::string(kSecret) + "\n", 0600);
  }

  void makeAccount(const std::string& name, uid_t user, const std::string& place) {
    const std::string number = std::to_string(user);
    files().makeFile(inside("/etc/passwd"), name + ":x:" + number + ":" + number + "::" + place + ":/bin/sh\n" +
                                                files().read(inside("/etc/passwd")));
  }

  Call uninstallBy(const std::string& user) {
    Call call = uninstall();
    call.environment["USER"] = user;
    return call;
  }

  std::string homeOfCarol;
};

TEST_P(AttacksHomesTest, OfTheUserAreNotRepaired) { expectRefused(uninstallBy("carol")); }

TEST_P(AttacksHomesTest, OfTheSudoCallerAreNotRepaired) {
  Call call = uninstallBy("root");
  call.environment["SUDO_UID"] = std::to_string(kCarol);
  expectRefused(call);
}

TEST_P(AttacksHomesTest, OfAnotherUserAreNotRepaired) {
  giveTo(kCarol, kCarol, homeOfCarol);
  expectRefused();
}

TEST_P(AttacksHomesTest, InAFolderThatALinkLeadsToAreNotRepaired) {
  plantLink(0, "/Library/homes", data);
  files().makeFolder(inside(data + "/dave"));
  makeAccount("dave", kDave, "/Library/homes/dave");
  expectRefused(uninstallBy("dave"));
}

TEST_P(AttacksHomesTest, ThatALinkLeadsToAreNotRepaired) {
  plantLink(0, "/Library/dave", data + "/dave");
  files().makeFolder(inside(data + "/dave"));
  makeAccount("dave", kDave, "/Library/dave");
  expectRefused(uninstallBy("dave"));
}

TEST_P(AttacksHomesTest, ThatAreLinksAreNotRepaired) {
  plantLink(0, data + "/dave", "/Library/dave");
  files().makeFolder(inside("/Library/dave"));
  makeAccount("dave", kDave, data + "/dave");
  expectRefused(uninstallBy("dave"));
}

INSTANTIATE_TEST_SUITE_P(Folders, AttacksHomesTest,
                         ::testing::Values(NamedText{"People", "/people"}, NamedText{"Volume", "/Volumes/Data/Users"},
                                           NamedText{"Export", "/export/home"}),
                         nameWithoutProtections);

}  // namespace

}  // namespace hotfix
