#include <memory>

#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

TEST(TemporaryFolderTest, GoesAwayWithAllItHolds) {
  auto folder = std::make_unique<TemporaryFolder>();
  const std::string path = folder->path();
  folder->makeFile("a/b/file", "text");
  folder->makeFolder("locked/inner");
  folder->makeFolder("locked", 0);
  folder->makeLink("link", "/nowhere");
  folder->makeFifo("fifo");
  folder.reset();
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(TemporaryFolderTest, RemovalLeavesWhatALinkPointsTo) {
  const TemporaryFolder outside;
  outside.makeFile("kept", "text");
  {
    const TemporaryFolder folder;
    folder.makeLink("link", outside.path());
  }
  EXPECT_EQ(outside.read("kept"), "text");
}

TEST(TemporaryFolderTest, HelpersMakeParentsAndModes) {
  const TemporaryFolder folder;
  folder.makeFile("a/b/file", "one\ntwo\n", 0600);
  EXPECT_EQ(folder.mode("a/b/file"), 0600U);
  EXPECT_EQ(folder.lines("a/b/file"), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"a"}));
  EXPECT_TRUE(folder.has("a/b"));
  EXPECT_FALSE(folder.has("a/c"));
}

}  // namespace hotfix
