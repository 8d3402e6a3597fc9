#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/posix/RepairedFolder.h"
#include "Tests/Platform/PlatformTest.h"

namespace hotfix {

namespace {

using platform::Attributes;
using platform::setAttributes;
using platform::setAttributesBelow;

constexpr char kNoSuchName[] = "no such account";

class OwnershipTest : public PlatformTest {
 protected:
  /// What an entry has, in one text, for comparison: owner, group, mode.
  std::string has(const std::string& relativePath) const {
    const struct stat status = folder.attributes(relativePath);
    return text(status.st_uid, status.st_gid, status.st_mode);
  }
  static std::string text(uid_t owner, gid_t group, mode_t mode) {
    char octal[8];
    std::snprintf(octal, sizeof octal, "%04o", mode & 07777U);
    return std::to_string(owner) + ":" + std::to_string(group) + " " + octal;
  }

  timespec changeTime(const std::string& relativePath) const {
    return host::changeTime(folder.attributes(relativePath));
  }

  /// A tree with a file, folders, a link and a FIFO.
  void makeTree() const {
    folder.makeFile("tree/file", "text", 0600);
    folder.makeFile("tree/.hidden", "", 0640);
    folder.makeFile(oddPath(), "", 0400);
    folder.makeFile("tree/sub/deeper/nested", "", 0644);
    folder.makeFolder("tree/empty", 0700);
    folder.makeFifo("tree/sub/fifo");
    folder.makeFolder("tree", 0751);
  }
  static std::string oddPath() { return std::string("tree/new\nline/") + host::kOddName; }
  std::vector<std::string> treeEntries() const {
    return {"tree/file",       "tree/.hidden",           "tree/new\nline", oddPath(),   "tree/sub",
            "tree/sub/deeper", "tree/sub/deeper/nested", "tree/sub/fifo",  "tree/empty"};
  }

  void removeTree() const {
    if (folder.has("tree")) {
      ASSERT_TRUE(platform::removeItem(folder / "tree"));
    }
  }
};

/// For what only root may do: give files to somebody else and back.
class OwnershipByRootTest : public OwnershipTest {
 protected:
  void SetUp() override {
    const auto account = otherAccount();
    if (!isRoot() || !account) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
    other = *account;
  }

  Attributes ofOther(std::optional<mode_t> bits = {}) const { return {other.name, other.group, bits}; }

  static constexpr uid_t kStranger = 54321;  // neither root nor the other account
  Account other;
};

// ----- One entry -----

TEST_F(OwnershipTest, ModeHasTwelveBits) {
  folder.makeFile("file");
  folder.makeFolder("folder");
  folder.makeFifo("fifo");
  for (const mode_t bits : std::initializer_list<mode_t>{0U, 0640U, 04755U, 02755U, 01777U, 07777U}) {
    // What its owner cannot open would not be his again.
    if (bits == 0 && !isRoot() && !host::kHoldsWithoutOpening) continue;
    for (const std::string path : {"file", "folder", "fifo"}) {
      if (path == "fifo" && !host::kHoldsWithoutOpening) continue;
      EXPECT_TRUE(setAttributes(folder / path, modeOnly(bits))) << path;
      EXPECT_EQ(folder.mode(path), bits) << path;
    }
  }
}

TEST_F(OwnershipTest, AbsentAttributesChangeNothing) {
  folder.makeFile("file", "", 0640);
  const timespec before = changeTime("file");
  EXPECT_TRUE(setAttributes(folder / "file", {}));
  EXPECT_TRUE(setAttributesBelow(folder.path(), {}));
  EXPECT_EQ(changeTime("file").tv_nsec, before.tv_nsec);
  EXPECT_EQ(folder.mode("file"), 0640U);
}

TEST_F(OwnershipTest, UnknownNamesLeaveOwnerAndGroupAndAreNoFailure) {
  folder.makeFile("file", "", 0600);
  const struct stat before = folder.attributes("file");
  EXPECT_TRUE(setAttributes(folder / "file", {kNoSuchName, kNoSuchName, 0640}));
  EXPECT_EQ(has("file"), text(before.st_uid, before.st_gid, 0640));
  EXPECT_TRUE(setAttributesBelow(folder.path(), {kNoSuchName, kNoSuchName, 0755}));
  EXPECT_EQ(has("file"), text(before.st_uid, before.st_gid, 0755));
}

TEST_F(OwnershipTest, MissingEntryIsAFailure) {
  folder.makeFile("file");
  for (const char* path : {"nowhere", "missing/nowhere", "file/below"}) {
    EXPECT_FALSE(setAttributes(folder / path, modeOnly(0644))) << path;
  }
  EXPECT_FALSE(setAttributes("", modeOnly(0644)));
}

TEST_F(OwnershipTest, LinkDoesNotLeadToItsTarget) {
  folder.makeFile("file", "", 0600);
  folder.makeLink("link", "file");
  (void)setAttributes(folder / "link", modeOnly(0666));
  EXPECT_EQ(folder.mode("file"), 0600U);
}

TEST_F(OwnershipTest, ModeOfAnothersFileIsRefused) {
  folder.makeFile("file", "", 0644);
  if (!isRoot()) GTEST_SKIP() << "needs a file of another owner";
  asUnprivileged([&] { EXPECT_FALSE(setAttributes(folder / "file", modeOnly(0666))); });
  EXPECT_EQ(folder.mode("file"), 0644U);
}

TEST_F(OwnershipByRootTest, OneEntryGetsOwnerGroupAndMode) {
  folder.makeFile("file", "", 0600);
  EXPECT_TRUE(setAttributes(folder / "file", ofOther(0640)));
  EXPECT_EQ(has("file"), text(other.uid, other.gid, 0640));
}

TEST_F(OwnershipByRootTest, OwnerOrGroupAloneLeavesTheRest) {
  folder.makeFile("file", "", 0640);
  EXPECT_TRUE(setAttributes(folder / "file", {other.name, {}, {}}));
  EXPECT_EQ(has("file"), text(other.uid, 0, 0640));
  EXPECT_TRUE(setAttributes(folder / "file", {"root", other.group, {}}));
  EXPECT_EQ(has("file"), text(0, other.gid, 0640));
}

TEST_F(OwnershipByRootTest, FirstFailedStepLeavesTheOwner) {
  folder.makeFile("file", "", 0600);
  own("file", other.uid, other.gid);
  asUnprivileged([&] { EXPECT_FALSE(setAttributes(folder / "file", {"root", {}, 0644})); });
  EXPECT_EQ(has("file"), text(other.uid, other.gid, 0600));
}

// ----- All below a folder -----

TEST_F(OwnershipByRootTest, OutcomeCountsWhatWasChangedAndNamesWhomTheSystemKnows) {
  makeTree();
  const auto first = setAttributesBelow(folder / "tree", {kNoSuchName, ofOther().group, 0775});
  EXPECT_EQ(first.folder, folder / "tree");
  EXPECT_EQ(first.owner, std::nullopt);
  EXPECT_EQ(first.group, ofOther().group);
  EXPECT_EQ(first.failed, 0U);
  EXPECT_EQ(first.changed, treeEntries().size());
  folder.makeFile("tree/file", "", 0600);
  EXPECT_EQ(setAttributesBelow(folder / "tree", modeOnly(0775)).changed, 1U);
  EXPECT_EQ(setAttributesBelow(folder / "tree", modeOnly(0775)).changed, 0U);
}

TEST_F(OwnershipTest, OutcomeTellsARefusedFolderFromAMissingOne) {
  const auto refused = setAttributesBelow("/", {});
  EXPECT_EQ(refused.refusal, "it is a folder of the system or of a user");
  EXPECT_FALSE(refused.isTreated);
  const auto missing = setAttributesBelow(folder / "nowhere", {});
  EXPECT_EQ(missing.refusal, "");
  EXPECT_FALSE(missing.isTreated);
}

TEST_F(OwnershipTest, OnlyAFolderOrALinkToOneIsWalked) {
  makeTree();
  folder.makeLink("link", "tree");
  folder.makeLink("broken", "nowhere");
  for (const char* path : {"tree/file", "tree/sub/fifo", "broken", "nowhere"}) {
    EXPECT_FALSE(setAttributesBelow(folder / path, modeOnly(0775))) << path;
  }
  EXPECT_FALSE(setAttributesBelow("", modeOnly(0775)));
  EXPECT_EQ(folder.mode("tree/file"), 0600U);
  EXPECT_TRUE(setAttributesBelow(folder / "link", modeOnly(0775)));
  for (const std::string& path : treeEntries()) EXPECT_EQ(folder.mode(path), 0775U) << path;
  EXPECT_EQ(folder.mode("tree"), 0751U) << "it is not below itself";
  EXPECT_TRUE(setAttributesBelow(folder / "tree/empty", modeOnly(0700)));
  EXPECT_EQ(folder.mode("tree/empty"), 0775U);
}

TEST_F(OwnershipTest, LinkBelowIsReownedItselfAndWhatItPointsToIsNotLookedAt) {
  const auto other = otherAccount();
  const bool changesHands = isRoot() && other;
  folder.makeFile("elsewhere/file", "", 0600);
  folder.makeFolder("elsewhere", 0700);
  folder.makeFile("tree/file", "", 0600);
  folder.makeLink("tree/link", "../elsewhere/file");
  folder.makeLink("tree/folderLink", folder / "elsewhere");
  folder.makeLink("tree/broken", "nowhere");
  EXPECT_TRUE(
      setAttributesBelow(folder / "tree", changesHands ? Attributes{other->name, other->group, 0775} : modeOnly(0775)));
  EXPECT_EQ(folder.mode("tree/file"), 0775U);
  EXPECT_EQ(has("elsewhere"), text(geteuid(), getegid(), 0700));
  EXPECT_EQ(has("elsewhere/file"), text(geteuid(), getegid(), 0600));
  for (const char* link : {"tree/link", "tree/folderLink", "tree/broken"}) {
    EXPECT_EQ(folder.attributes(link).st_uid, changesHands ? other->uid : geteuid()) << link;
    EXPECT_EQ(folder.attributes(link).st_gid, changesHands ? other->gid : getegid()) << link;
  }
}

TEST_F(OwnershipTest, EntryThatIsRightAlreadyIsNotTouched) {
  makeTree();
  const Attributes attributes = modeOnly(0775);
  ASSERT_TRUE(setAttributesBelow(folder / "tree", attributes));
  setMode("tree/file", 04775);
  std::map<std::string, timespec> before;
  for (const std::string& path : treeEntries()) before[path] = changeTime(path);
  EXPECT_TRUE(setAttributesBelow(folder / "tree", attributes));
  EXPECT_EQ(folder.mode("tree/file"), 0775U);
  for (const std::string& path : treeEntries()) {
    const bool isTouched =
        changeTime(path).tv_sec != before[path].tv_sec || changeTime(path).tv_nsec != before[path].tv_nsec;
    EXPECT_EQ(isTouched, path == "tree/file") << path;
  }
}

TEST_F(OwnershipTest, FolderClosedToItsOwnerIsOpenedByTheNewMode) {
  if (!host::kHoldsWithoutOpening) GTEST_SKIP() << "needs a system that holds a closed folder without opening it";
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    folder.makeFile("shared/tree/closed/file", "", 0600);
    folder.makeFolder("shared/tree/closed", 0);
    EXPECT_TRUE(setAttributesBelow(folder / "shared/tree", modeOnly(0755)));
    EXPECT_EQ(folder.mode("shared/tree/closed"), 0755U);
    EXPECT_EQ(folder.mode("shared/tree/closed/file"), 0755U);
  });
}

TEST_F(OwnershipTest, WhatCannotBeOpenedOrChangedFailsAndTheWalkGoesOn) {
  if (!isRoot()) GTEST_SKIP() << "needs a folder of another owner";
  folder.makeFile("tree/a/file");
  folder.makeFile("tree/closed/file", "", 0600);
  folder.makeFile("tree/refused", "", 0600);
  folder.makeFile("tree/z/file");
  for (const char* name : {"tree", "tree/a", "tree/a/file", "tree/z", "tree/z/file"}) own(name, 65534, 65534);
  folder.makeFolder("tree/closed", 0700);
  asUnprivileged([&] { EXPECT_EQ(setAttributesBelow(folder / "tree", modeOnly(0711)).failed, 2U); });
  EXPECT_EQ(folder.mode("tree/a/file"), 0711U);
  EXPECT_EQ(folder.mode("tree/z/file"), 0711U);
  EXPECT_EQ(folder.mode("tree/refused"), 0600U);
  EXPECT_EQ(folder.mode("tree/closed"), 0700U);
  EXPECT_EQ(folder.mode("tree/closed/file"), 0600U);
}

TEST_F(OwnershipTest, DeepTreeIsWalkedWithFewDescriptors) {
  const auto other = otherAccount();
  const bool changesHands = isRoot() && other;
  Attributes attributes = modeOnly(0750);
  if (changesHands) attributes.owner = other->name;
  const DeepFolder deep(folder / "deep");
  {
    const ScopedLimit limit(RLIMIT_NOFILE, 64);
    EXPECT_TRUE(setAttributesBelow(folder / "deep", attributes));
  }
  int wrong = 0;
  const int levels = DeepFolder::visit(folder / "deep", [&](int level) {
    for (const char* name : {"f", "l", "d"}) {
      struct stat status = {};
      if (fstatat(level, name, &status, AT_SYMLINK_NOFOLLOW) != 0) ++wrong;
      if (!S_ISLNK(status.st_mode) && (status.st_mode & 07777U) != 0750) ++wrong;
      if (changesHands && status.st_uid != other->uid) ++wrong;
    }
  });
  EXPECT_EQ(levels, DeepFolder::kLevels);
  EXPECT_EQ(wrong, 0);
}

TEST_F(OwnershipTest, DevicesAndFifosAreNeverOpened) {
  if (!host::EntryWatch::kIsAvailable) GTEST_SKIP() << "needs a system that tells what is opened";
  folder.makeFifo("tree/fifo");
  const bool hasDevice = mknod((folder / "tree/device").c_str(), S_IFCHR | 0600, host::nullDevice()) == 0;
  host::EntryWatch watch;
  ASSERT_TRUE(watch.addOpenings(folder / "tree/fifo"));
  EXPECT_TRUE(!hasDevice || watch.addOpenings(folder / "tree/device"));
  for (const mode_t folderMode :
       std::initializer_list<mode_t>{0755U, 0777U}) {  // one where only we can rename, one where everybody can
    folder.makeFolder("tree", folderMode);
    EXPECT_TRUE(setAttributesBelow(folder / "tree", modeOnly(folderMode ^ 0444U)));
    EXPECT_EQ(folder.mode("tree/fifo"), folderMode ^ 0444U);
    EXPECT_TRUE(!hasDevice || folder.mode("tree/device") == (folderMode ^ 0444U));
  }
  EXPECT_THAT(watch.seen(), IsEmpty());
}

TEST_F(OwnershipByRootTest, EverythingBelowGetsOwnerGroupAndMode) {
  makeTree();
  folder.makeLink("tree/link", "file");
  EXPECT_TRUE(setAttributesBelow(folder / "tree", ofOther(0750)));
  for (const std::string& path : treeEntries()) EXPECT_EQ(has(path), text(other.uid, other.gid, 0750)) << path;
  EXPECT_EQ(has("tree"), text(0, 0, 0751));
}

TEST_F(OwnershipByRootTest, OutcomeCountsFailedEntriesAndNamesTheFirst) {
  folder.makeFile("precious");
  own("precious", kStranger, kStranger);
  const auto refuse = [this](const std::string& path) {  // by a name in a folder of its new owner's
    linkTo("precious", path);
    own(path.substr(0, path.rfind('/')), other.uid, other.gid);
  };
  std::string deep = "tree";
  for (int level = 0; level < 40; ++level) deep += "/d";  // deeper than the folders that a walk keeps open
  folder.makeFolder(deep + "/x");
  folder.makeFolder(deep + "/y");
  // Whichever of the two the walk comes to first.
  for (const char* name : {"/x", "/y"}) {
    refuse(deep + name + "/second name");
    const auto outcome = setAttributesBelow(folder / "tree/", modeOnly(0750));
    EXPECT_TRUE(outcome.isTreated);
    EXPECT_EQ(outcome.failed, 1U);
    EXPECT_EQ(outcome.firstFailed, folder / (deep + name + "/second name"));
    unlink((folder / (deep + name + "/second name")).c_str());
  }
  refuse("tree/top");
  refuse(deep + "/second name");
  const auto outcome = setAttributesBelow(folder / "tree", modeOnly(0700));
  EXPECT_EQ(outcome.failed, 2U);
  EXPECT_EQ(outcome.changed, 42U);
  EXPECT_EQ(outcome.firstFailed, folder / "tree/top");
}

// ----- Entries with several names -----

class SecondNameTest : public OwnershipByRootTest {
 protected:
  struct Holder {
    uid_t owner;
    mode_t mode;
    gid_t group = 0;
  };

  /// A file of an owner's outside the tree, with a second name in a folder of the tree between two other files.
  void makeSecondName(uid_t owner, const Holder& holder) {
    removeTree();
    folder.makeFile("precious", "", 0600);
    own("precious", owner, 0);
    folder.makeFile("tree/holder/a", "", 0600);
    folder.makeFile("tree/holder/c", "", 0600);
    linkTo("precious", "tree/holder/b");
    own("tree/holder", holder.owner, holder.group);
    folder.makeFolder("tree/holder", holder.mode);
  }

  /// A file with names in two folders of the tree, all of them of one owner and group.
  void makeNames(uid_t owner, gid_t group, mode_t folderMode) const {
    removeTree();
    folder.makeFile("tree/one/name", "", 0600);
    folder.makeFolder("tree/two");
    for (const char* name : {"tree/two/name", "tree/two/again"}) linkTo("tree/one/name", name);
    for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) own(path, owner, group);
    for (const char* path : {"tree/one", "tree/two"}) folder.makeFolder(path, folderMode);
  }

  /// Repairs the tree of makeNames.
  void expectRepaired(const Attributes& repair, gid_t group) const {
    const uid_t before = folder.attributes("tree/one/name").st_uid;
    const platform::RepairOutcome outcome = setAttributesBelow(folder / "tree", repair);
    EXPECT_TRUE(outcome) << outcome.firstFailed;
    EXPECT_EQ(setAttributesBelow(folder / "tree", repair).changed, 0U);
    const uid_t after = repair.owner == other.name ? other.uid : repair.owner == "root" ? 0 : before;
    for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) {
      EXPECT_EQ(has(path), text(after, group, 0775)) << path;
    }
  }

  /// What a repair gives: the files to the other account, to root, to nobody whom the machine knows.
  std::vector<Attributes> repairs() const {
    return {ofOther(0775), {"root", other.group, 0775}, {kNoSuchName, other.group, 0775}};
  }
};

TEST_F(SecondNameTest, OfAFileThatIsNotTheFoldersOwnersIsNeverTreated) {
  const std::vector<std::pair<uid_t, Holder>> plants = {{0, {other.uid, 0755}},
                                                        {0, {kStranger, 0700}},
                                                        {0, {0, 0777}},
                                                        {0, {0, 01777}},
                                                        {0, {0, 0775, kStranger}},
                                                        {0, {kStranger, 0775}},
                                                        {kStranger, {0, 0757}},
                                                        {kStranger, {other.uid, 0755}},
                                                        {other.uid, {kStranger, 0755}},
                                                        {other.uid, {other.uid, 0777}},
                                                        {other.uid, {other.uid, 0775, kStranger}}};
  for (const auto& [owner, holder] : plants) {
    SCOPED_TRACE(text(owner, 0, 0) + " in " + text(holder.owner, 0, holder.mode));
    // One after the other: what the first leaves must not pass for a place where only its owner can put names.
    for (const Attributes& first : repairs()) {
      for (const Attributes& second : repairs()) {
        makeSecondName(owner, holder);
        EXPECT_FALSE(setAttributesBelow(folder / "tree", first));
        EXPECT_EQ(folder.mode("tree/holder/a"), 0775U);
        EXPECT_EQ(folder.mode("tree/holder/c"), 0775U);
        EXPECT_FALSE(setAttributesBelow(folder / "tree", second));
        EXPECT_EQ(has("precious"), text(owner, 0, 0600));
      }
    }
  }
}

TEST_F(SecondNameTest, OfARightFileStaysInAFolderOfItsMaker) {
  for (const Attributes& repair : repairs()) {
    makeSecondName(0, {kStranger, 0755});
    own("precious", repair.owner == other.name ? other.uid : 0, other.gid);
    setMode("precious", 0775);
    EXPECT_EQ(setAttributesBelow(folder / "tree", repair), repair.owner == kNoSuchName);
    EXPECT_EQ(folder.attributes("tree/holder").st_uid, kStranger);
  }
}

TEST_F(SecondNameTest, ThatIsPutThereDuringTheRepairIsFound) {
  makeSecondName(0, {kStranger, 0755});
  unlinkFile("tree/holder/b");
  actBeforeModeChangeOf(folder.attributes("tree/holder").st_ino, [&] { linkTo("precious", "tree/holder/b"); });
  EXPECT_FALSE(setAttributesBelow(folder / "tree", {"root", other.group, 0775}));
  EXPECT_TRUE(folder.has("tree/holder/b"));
  EXPECT_EQ(has("tree/holder"), text(kStranger, 0, 0755));
  EXPECT_FALSE(setAttributesBelow(folder / "tree", {"root", other.group, 0775}));
  EXPECT_EQ(has("precious"), text(0, 0, 0600));
}

TEST_F(SecondNameTest, InFoldersOfTheFilesOwnerIsTreatedByEveryRepair) {
  for (const Attributes& first : repairs()) {
    for (const Attributes& second : repairs()) {
      for (const uid_t owner : std::initializer_list<uid_t>{0, other.uid, kStranger}) {
        SCOPED_TRACE(text(owner, 0, 0) + " " + *first.owner + " " + *second.owner);
        makeNames(owner, 0, 0755);
        for (const Attributes& repair : {first, first, second}) {
          expectRepaired(repair, other.gid);
          setMode("tree/one/name", 0600);  // something to do for the next repair
        }
      }
    }
  }
}

// ----- Folders that are group-writable, as they all are where every user has a group of his own -----

class PrivateGroupTest : public SecondNameTest {
 protected:
  void SetUp() override {
    SecondNameTest::SetUp();
    if (IsSkipped()) return;
    const struct group* own = getgrgid(other.gid);
    if (other.group != other.name || own == nullptr || *own->gr_mem != nullptr) {
      GTEST_SKIP() << "needs an account with a group of its own";
    }
  }

  /// With a group that the machine knows, and without.
  std::vector<Attributes> groupRepairs() const {
    std::vector<Attributes> all;
    for (const char* group : {"root", kNoSuchName}) {
      for (const std::string& owner : {other.name, std::string("root"), std::string(kNoSuchName)}) {
        all.push_back({owner, group, 0775});
      }
    }
    return all;
  }
};

// Where the group that is to be given does not exist, folders are as group-writable after a repair as these.
TEST_F(PrivateGroupTest, NamesInFoldersOfTheUsersOwnGroupAreTreated) {
  for (const Attributes& repair : groupRepairs()) {
    for (const uid_t owner : {other.uid, uid_t{0}}) {
      SCOPED_TRACE(text(owner, 0, 0) + " " + *repair.owner + ":" + *repair.group);
      const gid_t group = owner == 0 ? 0 : other.gid;
      makeNames(owner, group, 0775);
      expectRepaired(repair, repair.group == "root" ? 0 : group);
      if (owner != other.uid || repair.owner == "root") continue;  // the user could put names of root's file there
      setMode("tree/one/name", 0600);
      expectRepaired(repair, repair.group == "root" ? 0 : group);
    }
  }
}

TEST_F(PrivateGroupTest, NamesThatSomebodyElseCanHavePutThereAreNot) {
  constexpr gid_t kShared = 54322;
  const std::vector<std::pair<uid_t, Holder>> plants = {
      {0, {other.uid, 0775, other.gid}},          // the user's own folder, root's file
      {0, {0, 0775, other.gid}},                  // root's folder, where the user can write
      {kStranger, {other.uid, 0775, other.gid}},  // a third one's file
      {other.uid, {other.uid, 0775, kShared}},    // his file, and a group of more than him
      {other.uid, {kStranger, 0775, other.gid}},  // his file in a folder of another one's
      {other.uid, {other.uid, 0777, other.gid}},
      {kStranger, {kStranger, 0775, kShared}}};
  for (const auto& [owner, holder] : plants) {
    SCOPED_TRACE(text(owner, 0, 0) + " in " + text(holder.owner, holder.group, holder.mode));
    for (const Attributes& first : groupRepairs()) {
      for (const Attributes& second : groupRepairs()) {
        makeSecondName(owner, holder);
        EXPECT_FALSE(setAttributesBelow(folder / "tree", first));
        (void)setAttributesBelow(folder / "tree", second);
        EXPECT_EQ(has("precious"), text(owner, 0, 0600));
      }
    }
  }
}

TEST_F(PrivateGroupTest, GroupThatIsAlsoAnotherAccountsIsNotPrivate) {
  const auto expectTreated = [this](const std::string& accounts, bool isTreated) {
    folder.makeFile(outside("/etc/passwd"), accounts);
    makeSecondName(other.uid, {other.uid, 0775, other.gid});
    EXPECT_EQ(setAttributesBelow(folder / "tree", ofOther(0775)), isTreated || ofOther().group == other.group);
    makeSecondName(other.uid, {other.uid, 0775, other.gid});
    EXPECT_EQ(setAttributesBelow(folder / "tree", {other.name, "root", 0775}), isTreated) << accounts;
    EXPECT_EQ(folder.mode("precious"), isTreated ? 0775U : 0600U) << accounts;
  };
  const std::string user = std::to_string(other.uid), group = std::to_string(other.gid);
  const std::string own = "a:x:" + user + ":" + group + "::/:/bin/sh\n";
  expectTreated(own, true);
  expectTreated("# " + group + "\n\n+::::::\n" + own + "b:x:4242:4242::/:", true);
  expectTreated(own + "b:x:4242:" + group + "::/:/bin/sh\n", false);
  expectTreated("b:x:4242:" + group + "::/:/bin/sh", false);
  folder.makeFile(outside("/etc/group"), "a:x:" + group + ":\nb:x:" + group + ":" + other.name + "\nc:x:4242:b\n");
  expectTreated(own, true);
  folder.makeFile(outside("/etc/group"), "a:x:" + group + ":\nb:x:" + group + ":" + other.name + ",b\n");
  expectTreated(own, false);
}

TEST_F(SecondNameTest, InAFolderWhoseAccessListNamesOthersIsNotTreated) {
  makeSecondName(other.uid, {other.uid, 0770});
  own("tree/holder", other.uid, other.gid);
  if (!host::grantWriting(folder / "tree/holder", kStranger)) GTEST_SKIP() << "needs access control lists";
  EXPECT_FALSE(setAttributesBelow(folder / "tree", ofOther(0775)));
  EXPECT_EQ(has("precious"), text(other.uid, 0, 0600));
}

TEST_F(SecondNameTest, OfASingleEntryIsNotTreated) {
  makeSecondName(0, {0, 0755});
  EXPECT_FALSE(setAttributes(folder / "tree/holder/b", {"root", {}, 0775}));
  EXPECT_EQ(has("precious"), text(0, 0, 0600));
}

// ----- Folders that are never walked -----

bool isProtectedFolder(const std::string& path) {
  std::string refusal;
  const platform::ScopedFd open = platform::openForRepair(path, std::nullopt, &refusal);
  return !open && refusal == "it is a folder of the system or of a user";
}

TEST_F(OwnershipTest, SystemFoldersAreProtected) {
  int found = 0;
  for (const char* path : {"/etc", "/usr", "/home", "/bin", "/var", "/tmp", "/opt", "/root", "/Library", "/Users"}) {
    if (!platform::isFolder(path)) continue;
    ++found;
    for (const char* end : {"", "/", "//", "/."})
      EXPECT_TRUE(isProtectedFolder(path + std::string(end))) << path << end;
  }
  EXPECT_GE(found, 4);
  for (const char* path : {"/", "//", "/.", "/..", "/etc/..", "/usr/../usr"})
    EXPECT_TRUE(isProtectedFolder(path)) << path;
}

TEST_F(OwnershipTest, LinkToAProtectedFolderIsProtected) {
  folder.makeLink("to root", "/");
  folder.makeLink("to etc", "/etc");
  folder.makeLink("to link", "to etc");
  for (const char* link : {"to root", "to etc", "to etc/", "to link"}) {
    EXPECT_TRUE(isProtectedFolder(folder / link)) << link;
  }
}

TEST_F(OwnershipTest, HomesOfUsersAreProtected) {
  std::vector<std::string> homes;
  setpwent();
  while (const passwd* entry = getpwent()) {
    struct stat status = {};
    const bool isFolder = stat(entry->pw_dir, &status) == 0 && S_ISDIR(status.st_mode);
    if (isFolder && (status.st_uid == entry->pw_uid || entry->pw_uid == geteuid())) homes.emplace_back(entry->pw_dir);
  }
  endpwent();
  if (homes.empty()) GTEST_SKIP() << "needs a user with a home folder";
  for (const std::string& home : homes) EXPECT_TRUE(isProtectedFolder(home)) << home;
  folder.makeLink("home", homes.front());
  EXPECT_TRUE(isProtectedFolder(folder / "home"));
}

TEST_F(OwnershipTest, OtherFoldersAreNotProtected) {
  folder.makeFolder("Applications/Product.app/Contents/MacOS/rcp");
  folder.makeFile("etc/file");
  folder.makeFolder("home");
  for (const char* path :
       {"Applications", "Applications/Product.app/Contents/MacOS/rcp", "etc", "home", "", "nowhere"}) {
    EXPECT_FALSE(isProtectedFolder(folder / path)) << path;
  }
  for (const char* path : {"/D", "/no such folder/x", ""}) EXPECT_FALSE(isProtectedFolder(path)) << path;
}

}  // namespace

}  // namespace hotfix
