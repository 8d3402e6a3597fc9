#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

class CopyFolderTest : public FakeHostTest {
 protected:
  CopyFolderTest() {
    platform::setCopyPolicy(InstanceService::fileManagerShouldProceedAfterError);
    folder.makeFile("source/file", "new");
    folder.makeFile("to/file", "old");
  }

  /// Merges source into to and compares the result; the source must stay as it is.
  void expectMerged(const Tree& expected) const {
    const Tree before = treeSnapshot(folder / "source");
    InstallUtil::copyFolderFrom(folder / "source", folder / "to");
    EXPECT_EQ(treeSnapshot(folder / "to"), expected);
    EXPECT_EQ(treeSnapshot(folder / "source"), before);
    EXPECT_TRUE(log().empty());
  }
};

// ----- Files and folders -----

TEST_F(CopyFolderTest, NothingHappensWithoutASourceAndADestination) {
  const Tree before = treeSnapshot(folder.path());
  const OptionalString source = folder / "source";
  for (const OptionalString& other : {kNone, OptionalString(folder / "missing")}) {
    InstallUtil::copyFolderFrom(other, folder / "to");
    InstallUtil::copyFolderFrom(other, folder / "new");
  }
  InstallUtil::copyFolderFrom(source, kNone);
  InstallUtil::copyFolderFrom(source, folder / "missing/to");
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

TEST_F(CopyFolderTest, MissingDestinationBecomesACopy) {
  folder.makeFile("source/.hidden", "2", 0640);
  folder.makeFile("source/a/b/c", "3");
  folder.makeFolder("source/empty", 0700);
  folder.makeLink("source/link", "file");
  InstallUtil::copyFolderFrom(folder / "source", folder / "new");
  EXPECT_EQ(treeSnapshot(folder / "new"), treeSnapshot(folder / "source"));
  EXPECT_EQ(folder.mode("new/.hidden"), 0640U);
  EXPECT_EQ(folder.mode("new/empty"), 0700U);
  InstallUtil::copyFolderFrom(folder / "source/file", folder / "new file");
  EXPECT_EQ(folder.read("new file"), "new");
}

TEST_F(CopyFolderTest, PlainFileLeavesAnExistingDestinationAlone) {
  const Tree before = treeSnapshot(folder.path());
  for (const char* to : {"to", "to/file"}) InstallUtil::copyFolderFrom(folder / "source/file", folder / to);
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

TEST_F(CopyFolderTest, MergeReplacesFilesMergesFoldersAndKeepsTheRest) {
  folder.makeFile("source/only source", "new");
  folder.makeFile("source/a/file", "new", 0600);
  folder.makeFile("source/a/b/file", "new");
  folder.makeFolder("source/a", 0700);
  folder.makeFile("source/new folder/file", "new");
  folder.makeFile("to/only to", "old");
  folder.makeFile("to/a/file", "old");
  folder.makeFile("to/a/only to", "old");
  folder.makeFile("to/a/b/only to", "old");
  folder.makeFolder("to/a", 0711);
  expectMerged({{"a", "folder"},
                {"a/b", "folder"},
                {"a/b/file", "file: new"},
                {"a/b/only to", "file: old"},
                {"a/file", "file: new"},
                {"a/only to", "file: old"},
                {"file", "file: new"},
                {"new folder", "folder"},
                {"new folder/file", "file: new"},
                {"only source", "file: new"},
                {"only to", "file: old"}});
  EXPECT_EQ(folder.mode("to/a/file"), 0600U);
  EXPECT_EQ(folder.mode("to/a"), 0711U) << "a folder that was there keeps its mode";
}

TEST_F(CopyFolderTest, FileReplacesWhatHasItsNameAndFolderLeavesAFile) {
  folder.makeFile("target", "precious");
  folder.makeFile("source/folder", "new");
  folder.makeFile("to/folder/inside/file", "old");
  folder.makeFile("source/link", "new");
  folder.makeLink("to/link", "../target");
  folder.makeFile("source/name/inner/file", "new");
  folder.makeFile("to/name", "old");
  expectMerged({{"file", "file: new"}, {"folder", "file: new"}, {"link", "file: new"}, {"name", "file: old"}});
  EXPECT_EQ(folder.read("target"), "precious");
}

TEST_F(CopyFolderTest, OneFailureDoesNotStopTheOthers) {
  folder.makeFifo("source/fifo");
  Tree expected = {{"file", "file: new"}};
  for (int number = 0; number < 20; ++number) {
    const std::string name = std::to_string(number);
    folder.makeFile("source/" + name, "new");
    expected[name] = "file: new";
  }
  expectMerged(expected);
}

// ----- Links to folders -----

TEST_F(CopyFolderTest, LinkIsCopiedAsALinkWhereNothingIs) {
  folder.makeLink("source/back", ".");
  expectMerged({{"back", "link: ."}, {"file", "file: new"}});
}

TEST_F(CopyFolderTest, LinkToAFolderIsFollowedIntoAnExistingFolder) {
  folder.makeFile("elsewhere/deep/file", "new");
  folder.makeLink("source/linked", folder / "elsewhere");
  folder.makeFile("to/linked/own", "old");
  expectMerged({{"file", "file: new"},
                {"linked", "folder"},
                {"linked/deep", "folder"},
                {"linked/deep/file", "file: new"},
                {"linked/own", "file: old"}});
}

TEST_F(CopyFolderTest, LinkBackToAnyEnclosingFolderIsNotFollowed) {
  folder.makeFile("source/a/b/file", "new");
  folder.makeLink("source/a/b/middle", "..");
  folder.makeLink("source/a/b/top", folder / "source");
  folder.makeFolder("to/a/b/middle");
  folder.makeFolder("to/a/b/top");
  expectMerged({{"a", "folder"},
                {"a/b", "folder"},
                {"a/b/file", "file: new"},
                {"a/b/middle", "folder"},
                {"a/b/top", "folder"},
                {"file", "file: new"}});
}

TEST_F(CopyFolderTest, FoldersThatLinkToEachOtherAreMergedOnce) {
  folder.makeFile("source/a/in a", "new");
  folder.makeFile("source/b/in b", "new");
  folder.makeLink("source/a/other", "../b");
  folder.makeLink("source/b/other", "../a");
  folder.makeFolder("to/a/other/other");
  folder.makeFolder("to/b/other/other");
  expectMerged({{"a", "folder"},
                {"a/in a", "file: new"},
                {"a/other", "folder"},
                {"a/other/in b", "file: new"},
                {"a/other/other", "folder"},
                {"b", "folder"},
                {"b/in b", "file: new"},
                {"b/other", "folder"},
                {"b/other/in a", "file: new"},
                {"b/other/other", "folder"},
                {"file", "file: new"}});
}

TEST_F(CopyFolderTest, FolderIsMergedUnderEachOfItsNames) {
  folder.makeFile("source/a/file", "new");
  folder.makeLink("source/first", "a");
  folder.makeLink("source/second", "a");
  folder.makeFolder("to/a");
  folder.makeFolder("to/first");
  folder.makeFolder("to/second");
  expectMerged({{"a", "folder"},
                {"a/file", "file: new"},
                {"file", "file: new"},
                {"first", "folder"},
                {"first/file", "file: new"},
                {"second", "folder"},
                {"second/file", "file: new"}});
}

TEST_F(CopyFolderTest, SourceThatIsALinkKnowsItsOwnFolder) {
  folder.makeLink("source/back", folder / "source");
  folder.makeLink("alias", "source");
  folder.makeFolder("to/back");
  for (const char* name : {"alias", "alias/"}) {
    InstallUtil::copyFolderFrom(folder / name, folder / "to");
    EXPECT_EQ(treeSnapshot(folder / "to"), (Tree{{"back", "folder"}, {"file", "file: new"}})) << name;
  }
}

TEST_F(CopyFolderTest, LinksToFilesAndToNothingReplaceWhatHasTheirName) {
  folder.makeLink("source/to a file", "file");
  folder.makeLink("source/to nothing", "nowhere");
  folder.makeFile("to/to a file/own", "old");
  folder.makeFile("to/to nothing", "old");
  expectMerged({{"file", "file: new"}, {"to a file", "link: file"}, {"to nothing", "link: nowhere"}});
}

TEST_F(CopyFolderTest, FolderIsNotMergedIntoItself) {
  ASSERT_TRUE(platform::removeItem(folder / "to"));
  folder.makeLink("to", "source");
  const Tree before = treeSnapshot(folder / "source");
  InstallUtil::copyFolderFrom(folder / "source", folder / "to");
  EXPECT_EQ(treeSnapshot(folder / "source"), before);
}

TEST_F(CopyFolderTest, SecondMergeOfALinkLosesNothingInTheLinkedFolder) {
  // The first merge copies the link, so that the second meets the same folder on both sides.
  folder.makeFile("elsewhere/deep/file", "precious");
  folder.makeLink("source/linked", folder / "elsewhere");
  for (int pass = 0; pass < 2; ++pass) {
    expectMerged({{"file", "file: new"}, {"linked", "link: " + (folder / "elsewhere")}});
    EXPECT_EQ(treeSnapshot(folder / "elsewhere"), (Tree{{"deep", "folder"}, {"deep/file", "file: precious"}}));
  }
}

}  // namespace

}  // namespace hotfix
