#include "Platform/FileManager.h"
#include "Tests/Platform/PlatformTest.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::removeItem;

class RemoveItemTest : public PlatformTest {
 protected:
  RemoveItemTest() {
    rmdir((folder / "outside/tmp").c_str());
    rmdir((folder / "outside").c_str());
  }

  /// A folder that nothing may happen to.
  void makeBystander() const {
    folder.makeFile("bystander/file", "text");
    folder.makeFile("bystander/sub/nested", "text");
  }
  void expectBystanderUnharmed() const {
    EXPECT_THAT(treeSnapshot(folder / "bystander"),
                ElementsAre(std::pair<const std::string, std::string>("file", "file: text"),
                            std::pair<const std::string, std::string>("sub", "folder"),
                            std::pair<const std::string, std::string>("sub/nested", "file: text")));
  }
};

TEST_F(RemoveItemTest, FileFifoOrLinkIsRemovedAndNotWhatTheLinkPointsTo) {
  makeBystander();
  folder.makeFile("file", "text", 0);
  folder.makeFifo("fifo");
  folder.makeLink("link", "bystander/file");
  folder.makeLink("folderLink", "bystander");
  folder.makeLink("folderLink with slashes", "bystander");
  folder.makeLink("broken", "nowhere");
  for (const char* path : {"file", "fifo", "link", "folderLink", "folderLink with slashes//", "broken"}) {
    EXPECT_TRUE(removeItem(folder / path)) << path;
  }
  EXPECT_THAT(folder.names(), ElementsAre("bystander"));
  expectBystanderUnharmed();
}

TEST_F(RemoveItemTest, FolderIsRemovedWithAllItHolds) {
  makeBystander();
  folder.makeFile("tree/file");
  folder.makeFile("tree/.hidden");
  folder.makeFile("tree/..odd");
  folder.makeFile(std::string("tree/new\nline/") + host::kOddName + "/-rf");
  folder.makeFile("tree/a/b/c/d", "text", 0);
  folder.makeFolder("tree/empty");
  folder.makeLink("tree/a/link", folder / "bystander");
  folder.makeLink("tree/broken", "nowhere");
  folder.makeFifo("tree/fifo");
  EXPECT_TRUE(removeItem(folder / "tree/"));
  EXPECT_THAT(folder.names(), ElementsAre("bystander"));
  expectBystanderUnharmed();
}

TEST_F(RemoveItemTest, FolderIsRemovedThroughALinkInTheMiddleOfItsPath) {
  folder.makeFile("real/tree/file");
  folder.makeLink("link", "real");
  EXPECT_TRUE(removeItem(folder / "link/tree"));
  EXPECT_THAT(folder.names("real"), IsEmpty());
}

TEST_F(RemoveItemTest, WhatIsNotThereCannotBeRemoved) {
  folder.makeFile("file", "text");
  for (const char* missing : {"nowhere", "missing/nowhere", "file/below"}) {
    EXPECT_FALSE(removeItem(folder / missing)) << missing;
  }
  EXPECT_FALSE(removeItem(""));
  EXPECT_EQ(folder.read("file"), "text");
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RemoveItemTest, DeepTreeIsRemovedWithFewDescriptors) {
  const DeepFolder deep(folder / "deep");
  const ScopedLimit limit(RLIMIT_NOFILE, 64);
  EXPECT_TRUE(removeItem(folder / "deep"));
  EXPECT_FALSE(folder.has("deep"));
}

TEST_F(RemoveItemTest, FirstFailureStopsAndRemovedEntriesStayRemoved) {
  makeBystander();
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    folder.makeFile("shared/tree/removable/locked/file", "text");
    folder.makeFolder("shared/tree/removable/locked", 0555);
    EXPECT_FALSE(removeItem(folder / "shared/tree"));
    EXPECT_TRUE(folder.has("shared/tree/removable/locked/file"));
    folder.makeFolder("shared/tree/removable/locked", 0755);
    EXPECT_TRUE(removeItem(folder / "shared/tree"));
    EXPECT_FALSE(folder.has("shared/tree"));
  });
}

TEST_F(RemoveItemTest, EmptyFolderIsRemovedAlsoWhenItCannotBeRead) {
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    folder.makeFolder("shared/tree/empty", 0);
    folder.makeFolder("shared/alone", 0);
    EXPECT_TRUE(removeItem(folder / "shared/tree"));
    EXPECT_TRUE(removeItem(folder / "shared/alone"));
    EXPECT_THAT(folder.names("shared"), IsEmpty());
  });
}

TEST_F(RemoveItemTest, FileInALockedFolderCannotBeRemoved) {
  folder.makeFile("locked/file", "text");
  folder.makeFolder("locked", 0555);
  asUnprivileged([&] { EXPECT_FALSE(removeItem(folder / "locked/file")); });
  EXPECT_EQ(folder.read("locked/file"), "text");
}

TEST_F(RemoveItemTest, NothingOutsideIsRemovedWhileFoldersAreExchangedForLinks) {
  makeBystander();
  for (int attempt = 0; attempt < 100 && !HasFailure(); ++attempt) {
    folder.makeFile("tree/sub/file");
    for (int i = 0; i < 50; ++i) folder.makeFile("tree/" + std::to_string(i));  // looked at before the sub-folder
    folder.makeLink("spare", folder / "bystander");
    if (!canExchange(folder / "tree/sub", folder / "spare")) GTEST_SKIP() << "needs atomic exchanges";
    {
      const Exchanger exchanger(folder / "tree/sub", folder / "spare");
      while (exchanger.rounds() < 5) std::this_thread::yield();
      (void)removeItem(folder / "tree");
    }
    for (const char* rest : {"tree", "spare"}) (void)removeItem(folder / rest);
    expectBystanderUnharmed();
  }
}

}  // namespace

}  // namespace hotfix
