#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/UserIdentity.h"
#include "Platform/posix/RepairedFolder.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using platform::Attributes;
using platform::setAttributes;
using platform::setAttributesBelow;

constexpr char kNoSuchName[] = "no such account";

class OwnershipTest : public FakeHostTest {
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

  void own(const std::string& relativePath, uid_t owner, gid_t group) const {
    ASSERT_EQ(lchown((folder / relativePath).c_str(), owner, group), 0) << std::strerror(errno);
  }

  static Attributes mode(mode_t bits) {
    Attributes attributes;
    attributes.mode = bits;
    return attributes;
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
  for (const mode_t bits : std::initializer_list<mode_t>{0U, 0640U, 04755U, 02755U, 01777U, 07777U}) {
    // What its owner cannot open would not be his again.
    if (bits == 0 && !isRoot() && !host::kHoldsWithoutOpening) continue;
    for (const char* path : {"file", "folder"}) {
      EXPECT_TRUE(setAttributes(folder / path, mode(bits))) << path;
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
  EXPECT_TRUE(setAttributesBelow(folder.path(), {kNoSuchName, kNoSuchName, 0644}));
  EXPECT_EQ(has("file"), text(before.st_uid, before.st_gid, 0644));
}

TEST_F(OwnershipTest, MissingEntryIsAFailure) {
  folder.makeFile("file");
  for (const char* path : {"nowhere", "missing/nowhere", "file/below"}) {
    EXPECT_FALSE(setAttributes(folder / path, mode(0644))) << path;
  }
  EXPECT_FALSE(setAttributes("", mode(0644)));
}

TEST_F(OwnershipTest, FifoGetsAModeWithoutWaitingForItsOtherEnd) {
  if (!host::kHoldsWithoutOpening) GTEST_SKIP() << "needs a system that holds a FIFO without opening it";
  folder.makeFifo("fifo");
  EXPECT_TRUE(setAttributes(folder / "fifo", mode(0600)));
  EXPECT_EQ(folder.mode("fifo"), 0600U);
}

TEST_F(OwnershipTest, LinkDoesNotLeadToItsTarget) {
  folder.makeFile("file", "", 0600);
  folder.makeLink("link", "file");
  (void)setAttributes(folder / "link", mode(0666));
  EXPECT_EQ(folder.mode("file"), 0600U);
}

TEST_F(OwnershipTest, ModeOfAnothersFileIsRefused) {
  folder.makeFile("file", "", 0644);
  if (!isRoot()) GTEST_SKIP() << "needs a file of another owner";
  asUnprivileged([&] { EXPECT_FALSE(setAttributes(folder / "file", mode(0666))); });
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

TEST_F(OwnershipTest, EverythingBelowGetsTheModeAndTheFolderKeepsItsOwn) {
  makeTree();
  EXPECT_TRUE(setAttributesBelow(folder / "tree", mode(0775)));
  for (const std::string& path : treeEntries()) EXPECT_EQ(folder.mode(path), 0775U) << path;
  EXPECT_EQ(folder.mode("tree"), 0751U);
}

TEST_F(OwnershipTest, EmptyFolderIsASuccess) {
  folder.makeFolder("empty", 0751);
  EXPECT_TRUE(setAttributesBelow(folder / "empty", mode(0775)));
  EXPECT_EQ(folder.mode("empty"), 0751U);
}

TEST_F(OwnershipByRootTest, OutcomeCountsWhatWasChangedAndNamesWhomTheSystemKnows) {
  makeTree();
  const auto first = setAttributesBelow(folder / "tree", {kNoSuchName, ofOther().group, 0775});
  EXPECT_EQ(first.folder, folder / "tree");
  EXPECT_EQ(first.owner, std::nullopt);
  EXPECT_EQ(first.group, ofOther().group);
  EXPECT_EQ(first.failed, 0U);
  EXPECT_EQ(first.changed, treeEntries().size());
  folder.makeFile("tree/file", "", 0600);
  EXPECT_EQ(setAttributesBelow(folder / "tree", mode(0775)).changed, 1U);
  EXPECT_EQ(setAttributesBelow(folder / "tree", mode(0775)).changed, 0U);
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
    EXPECT_FALSE(setAttributesBelow(folder / path, mode(0775))) << path;
  }
  EXPECT_FALSE(setAttributesBelow("", mode(0775)));
  EXPECT_EQ(folder.mode("tree/file"), 0600U);
  EXPECT_TRUE(setAttributesBelow(folder / "link", mode(0775)));
  for (const std::string& path : treeEntries()) EXPECT_EQ(folder.mode(path), 0775U) << path;
}

TEST_F(OwnershipTest, LinkBelowIsNoFailureAndWhatItPointsToIsNotLookedAt) {
  folder.makeFile("elsewhere/file", "", 0600);
  folder.makeFolder("elsewhere", 0700);
  folder.makeFile("tree/file", "", 0600);
  folder.makeLink("tree/link", "../elsewhere/file");
  folder.makeLink("tree/folderLink", folder / "elsewhere");
  folder.makeLink("tree/broken", "nowhere");
  EXPECT_TRUE(setAttributesBelow(folder / "tree", mode(0775)));
  EXPECT_EQ(folder.mode("tree/file"), 0775U);
  EXPECT_EQ(folder.mode("elsewhere"), 0700U);
  EXPECT_EQ(folder.mode("elsewhere/file"), 0600U);
}

TEST_F(OwnershipTest, EntryThatIsRightAlreadyIsNotTouched) {
  makeTree();
  const Attributes attributes = mode(0775);
  ASSERT_TRUE(setAttributesBelow(folder / "tree", attributes));
  ASSERT_EQ(chmod((folder / "tree/file").c_str(), 0600), 0);
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
    EXPECT_TRUE(setAttributesBelow(folder / "shared/tree", mode(0755)));
    EXPECT_EQ(folder.mode("shared/tree/closed"), 0755U);
    EXPECT_EQ(folder.mode("shared/tree/closed/file"), 0755U);
  });
}

TEST_F(OwnershipTest, FolderThatCannotBeOpenedFailsAndTheWalkGoesOn) {
  if (!isRoot()) GTEST_SKIP() << "needs a folder of another owner";
  folder.makeFile("shared/tree/a/file");
  folder.makeFile("shared/tree/closed/file", "", 0600);
  folder.makeFile("shared/tree/z/file");
  for (const char* name :
       {"shared/tree", "shared/tree/a", "shared/tree/a/file", "shared/tree/z", "shared/tree/z/file"}) {
    own(name, 65534, 65534);
  }
  folder.makeFolder("shared/tree/closed", 0700);
  asUnprivileged([&] { EXPECT_FALSE(setAttributesBelow(folder / "shared/tree", mode(0711))); });
  EXPECT_EQ(folder.mode("shared/tree/a/file"), 0711U);
  EXPECT_EQ(folder.mode("shared/tree/z/file"), 0711U);
  EXPECT_EQ(folder.mode("shared/tree/closed"), 0700U);
  EXPECT_EQ(folder.mode("shared/tree/closed/file"), 0600U);
}

TEST_F(OwnershipTest, RefusedEntryFailsAndTheWalkGoesOn) {
  if (!isRoot()) GTEST_SKIP() << "needs a file of another owner";
  folder.makeFile("tree/a", "", 0600);
  folder.makeFile("tree/refused", "", 0600);
  folder.makeFile("tree/z", "", 0600);
  for (const char* name : {"tree", "tree/a", "tree/z"}) own(name, 65534, 65534);
  asUnprivileged([&] { EXPECT_FALSE(setAttributesBelow(folder / "tree", mode(0644))); });
  EXPECT_EQ(folder.mode("tree/a"), 0644U);
  EXPECT_EQ(folder.mode("tree/z"), 0644U);
  EXPECT_EQ(folder.mode("tree/refused"), 0600U);
}

TEST_F(OwnershipTest, DeepTreeIsWalkedWithFewDescriptors) {
  const DeepFolder deep(folder / "deep");
  {
    const ScopedLimit limit(RLIMIT_NOFILE, 64);
    EXPECT_TRUE(setAttributesBelow(folder / "deep", mode(0750)));
  }
  int wrong = 0;
  const int levels = DeepFolder::visit(folder / "deep", [&](int level) {
    for (const char* name : {"f", "d"}) {
      struct stat status = {};
      if (fstatat(level, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || (status.st_mode & 07777U) != 0750) ++wrong;
    }
  });
  EXPECT_EQ(levels, DeepFolder::kLevels);
  EXPECT_EQ(wrong, 0);
}

TEST_F(OwnershipTest, LargeFolderIsWalkedWhole) {
  for (int i = 0; i < 3000; ++i) folder.makeFile("tree/file number " + std::to_string(i), "", 0600);
  EXPECT_TRUE(setAttributesBelow(folder / "tree", mode(0664)));
  int wrong = 0;
  for (const std::string& name : folder.names("tree")) wrong += folder.mode("tree/" + name) != 0664;
  EXPECT_EQ(wrong, 0);
}

TEST_F(OwnershipTest, DevicesAndFifosAreNeverOpened) {
  if (!host::OpeningWatch::kIsAvailable) GTEST_SKIP() << "needs a system that tells what is opened";
  folder.makeFifo("tree/fifo");
  const bool hasDevice = mknod((folder / "tree/device").c_str(), S_IFCHR | 0600, host::nullDevice()) == 0;
  host::OpeningWatch watch;
  ASSERT_TRUE(watch.add(folder / "tree/fifo"));
  EXPECT_TRUE(!hasDevice || watch.add(folder / "tree/device"));
  for (const mode_t folderMode :
       std::initializer_list<mode_t>{0755U, 0777U}) {  // one where only we can rename, one where everybody can
    folder.makeFolder("tree", folderMode);
    EXPECT_TRUE(setAttributesBelow(folder / "tree", mode(folderMode ^ 0444U)));
    EXPECT_EQ(folder.mode("tree/fifo"), folderMode ^ 0444U);
    EXPECT_TRUE(!hasDevice || folder.mode("tree/device") == (folderMode ^ 0444U));
  }
  EXPECT_TRUE(watch.sawNothing()) << "something was opened";
}

TEST_F(OwnershipTest, WalkLeavesNoDescriptorOpen) {
  makeTree();
  const int before = openDescriptors();
  EXPECT_TRUE(setAttributesBelow(folder / "tree", mode(0775)));
  EXPECT_FALSE(setAttributesBelow(folder / "tree/file", mode(0775)));
  EXPECT_FALSE(setAttributes(folder / "nowhere", mode(0775)));
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OwnershipByRootTest, EverythingBelowGetsOwnerGroupAndMode) {
  makeTree();
  folder.makeLink("tree/link", "file");
  EXPECT_TRUE(setAttributesBelow(folder / "tree", ofOther(0750)));
  for (const std::string& path : treeEntries()) EXPECT_EQ(has(path), text(other.uid, other.gid, 0750)) << path;
  EXPECT_EQ(has("tree"), text(0, 0, 0751));
}

TEST_F(OwnershipByRootTest, LinkBelowIsReownedItselfAndItsTargetIsNot) {
  folder.makeFile("elsewhere/file", "", 0600);
  folder.makeLink("tree/link", "../elsewhere/file");
  folder.makeLink("tree/folderLink", folder / "elsewhere");
  folder.makeLink("tree/broken", "nowhere");
  EXPECT_TRUE(setAttributesBelow(folder / "tree", ofOther()));
  for (const char* link : {"tree/link", "tree/folderLink", "tree/broken"}) {
    EXPECT_EQ(folder.attributes(link).st_uid, other.uid) << link;
    EXPECT_EQ(folder.attributes(link).st_gid, other.gid) << link;
  }
  EXPECT_EQ(folder.attributes("elsewhere").st_uid, 0U);
  EXPECT_EQ(has("elsewhere/file"), text(0, 0, 0600));
}

TEST_F(OwnershipByRootTest, OutcomeCountsFailedEntriesAndNamesTheFirst) {
  folder.makeFile("precious");
  own("precious", kStranger, kStranger);
  const auto refuse = [this](const std::string& path) {  // by a name in a folder of its new owner's
    ASSERT_EQ(link((folder / "precious").c_str(), (folder / path).c_str()), 0);
    own(path.substr(0, path.rfind('/')), other.uid, other.gid);
  };
  std::string deep = "tree";
  for (int level = 0; level < 40; ++level) deep += "/d";  // deeper than the folders that a walk keeps open
  folder.makeFolder(deep + "/x");
  folder.makeFolder(deep + "/y");
  // Whichever of the two the walk comes to first.
  for (const char* name : {"/x", "/y"}) {
    refuse(deep + name + "/second name");
    const auto outcome = setAttributesBelow(folder / "tree/", mode(0750));
    EXPECT_TRUE(outcome.isTreated);
    EXPECT_EQ(outcome.failed, 1U);
    EXPECT_EQ(outcome.firstFailed, folder / (deep + name + "/second name"));
    unlink((folder / (deep + name + "/second name")).c_str());
  }
  refuse("tree/top");
  refuse(deep + "/second name");
  const auto outcome = setAttributesBelow(folder / "tree", mode(0700));
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
    if (folder.has("tree")) {
      ASSERT_TRUE(platform::removeItem(folder / "tree"));
    }
    folder.makeFile("precious", "", 0600);
    own("precious", owner, 0);
    folder.makeFile("tree/holder/a", "", 0600);
    folder.makeFile("tree/holder/c", "", 0600);
    ASSERT_EQ(link((folder / "precious").c_str(), (folder / "tree/holder/b").c_str()), 0);
    own("tree/holder", holder.owner, holder.group);
    folder.makeFolder("tree/holder", holder.mode);
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
    ASSERT_EQ(chmod((folder / "precious").c_str(), 0775), 0);
    EXPECT_EQ(setAttributesBelow(folder / "tree", repair), repair.owner == kNoSuchName);
    EXPECT_EQ(folder.attributes("tree/holder").st_uid, kStranger);
  }
}

TEST_F(SecondNameTest, ThatIsPutThereDuringTheRepairIsFound) {
  makeSecondName(0, {kStranger, 0755});
  ASSERT_EQ(unlink((folder / "tree/holder/b").c_str()), 0);
  const auto plant = [&] { EXPECT_EQ(link((folder / "precious").c_str(), (folder / "tree/holder/b").c_str()), 0); };
  actBeforeModeChangeOf(folder.attributes("tree/holder").st_ino, plant);
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
        if (folder.has("tree")) {
          ASSERT_TRUE(platform::removeItem(folder / "tree"));
        }
        folder.makeFile("tree/one/name", "", 0600);
        folder.makeFolder("tree/two");
        ASSERT_EQ(link((folder / "tree/one/name").c_str(), (folder / "tree/two/name").c_str()), 0);
        ASSERT_EQ(link((folder / "tree/one/name").c_str(), (folder / "tree/two/again").c_str()), 0);
        for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) own(path, owner, 0);
        for (const Attributes& repair : {first, first, second}) {
          const uid_t before = folder.attributes("tree/one/name").st_uid;
          EXPECT_TRUE(setAttributesBelow(folder / "tree", repair));
          const uid_t after = repair.owner == other.name ? other.uid : repair.owner == "root" ? 0 : before;
          for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) {
            EXPECT_EQ(has(path), text(after, other.gid, 0775)) << path;
          }
          ASSERT_EQ(chmod((folder / "tree/one/name").c_str(), 0600), 0);  // something to do for the next repair
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

  void makeTreeOf(uid_t owner, gid_t group) const {
    if (folder.has("tree")) {
      ASSERT_TRUE(platform::removeItem(folder / "tree"));
    }
    folder.makeFile("tree/one/name", "", 0664);
    folder.makeFolder("tree/two");
    ASSERT_EQ(link((folder / "tree/one/name").c_str(), (folder / "tree/two/name").c_str()), 0);
    for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) own(path, owner, group);
    for (const char* path : {"tree/one", "tree/two"}) folder.makeFolder(path, 0775);
  }
};

TEST_F(PrivateGroupTest, NamesInFoldersOfTheUsersOwnGroupAreTreated) {
  for (const Attributes& repair : groupRepairs()) {
    for (const uid_t owner : {other.uid, uid_t{0}}) {
      SCOPED_TRACE(text(owner, 0, 0) + " " + *repair.owner + ":" + *repair.group);
      const gid_t group = owner == 0 ? 0 : other.gid;
      makeTreeOf(owner, group);
      for (int time = 0; time < 2; ++time) {
        const platform::RepairOutcome outcome = setAttributesBelow(folder / "tree", repair);
        EXPECT_TRUE(outcome) << outcome.firstFailed;
        EXPECT_EQ(outcome.changed > 0, time == 0);
      }
      const uid_t after = repair.owner == other.name ? other.uid : repair.owner == "root" ? 0 : owner;
      for (const char* path : {"tree/one", "tree/two", "tree/one/name"}) {
        EXPECT_EQ(has(path), text(after, repair.group == "root" ? 0 : group, 0775)) << path;
      }
    }
  }
}

// Where the group that is to be given does not exist, folders are as group-writable after a repair as this.
TEST_F(PrivateGroupTest, NamesThatAreWrongAgainAreTreatedByALaterRepair) {
  for (const std::string& owner : {other.name, std::string(kNoSuchName)}) {
    makeTreeOf(other.uid, other.gid);
    for (int time = 0; time < 2; ++time) {
      EXPECT_TRUE(setAttributesBelow(folder / "tree", {owner, kNoSuchName, 0775}));
      EXPECT_EQ(has("tree/one/name"), text(other.uid, other.gid, 0775));
      ASSERT_EQ(chmod((folder / "tree/one/name").c_str(), 0600), 0);
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

TEST_F(OwnershipByRootTest, DeepTreeChangesHands) {
  const DeepFolder deep(folder / "deep");
  {
    const ScopedLimit limit(RLIMIT_NOFILE, 64);
    EXPECT_TRUE(setAttributesBelow(folder / "deep", ofOther()));
  }
  int wrong = 0;
  const int levels = DeepFolder::visit(folder / "deep", [&](int level) {
    for (const char* name : {"f", "l", "d"}) {
      struct stat status = {};
      if (fstatat(level, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || status.st_uid != other.uid) ++wrong;
    }
  });
  EXPECT_EQ(levels, DeepFolder::kLevels);
  EXPECT_EQ(wrong, 0);
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

TEST_F(OwnershipTest, HomeOfTheUserIsProtected) {
  const OptionalString home = platform::homeFolder();
  if (!home || !platform::isFolder(*home)) GTEST_SKIP() << "needs a user with a home folder";
  EXPECT_TRUE(isProtectedFolder(*home));
  folder.makeLink("home", *home);
  EXPECT_TRUE(isProtectedFolder(folder / "home"));
}

TEST_F(OwnershipTest, HomeOfAnotherUserIsProtected) {
  int found = 0;
  setpwent();
  while (const passwd* entry = getpwent()) {
    struct stat status = {};
    if (stat(entry->pw_dir, &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != entry->pw_uid) continue;
    ++found;
    EXPECT_TRUE(isProtectedFolder(entry->pw_dir)) << entry->pw_dir;
  }
  endpwent();
  if (found == 0) GTEST_SKIP() << "needs a user with a home folder of his own";
}

TEST_F(OwnershipTest, OtherFoldersAreNotProtected) {
  folder.makeFolder("Applications/Product.app/Contents/MacOS/rcp");
  folder.makeFile("etc/file");
  folder.makeFolder("home");
  for (const char* path : {"Applications", "Applications/Product.app/Contents/MacOS/rcp", "etc", "home"}) {
    EXPECT_FALSE(isProtectedFolder(folder / path)) << path;
  }
  EXPECT_FALSE(isProtectedFolder(folder.path()));
}

TEST_F(OwnershipTest, MissingFolderIsNotProtected) {
  for (const char* path : {"/D", "/no such folder/x", ""}) EXPECT_FALSE(isProtectedFolder(path)) << path;
  EXPECT_FALSE(isProtectedFolder(folder / "nowhere"));
}

}  // namespace

}  // namespace hotfix
