#include <sys/socket.h>
#include <sys/un.h>

#include <set>

#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Platform/UserIdentity.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::Attributes;
using platform::FileBelow;
using platform::FileError;
using platform::Parents;

const std::string kTooLongName(300, 'n');

/// One entry of every kind.
class FileManagerTest : public FakeHostTest {
 protected:
  FileManagerTest() {
    folder.makeFile("file", "text");
    folder.makeFile("folder/nested", "nested text");
    folder.makeLink("link", "file");
    folder.makeLink("broken", "nowhere");
    folder.makeLink("folderLink", "folder");
    folder.makeFifo("fifo");
  }

  /// Makes the folder, and answers 0 or the failure's code.
  int codeOfCreateFolder(const std::string& relativePath, Parents parents) const {
    FileError error;
    const bool made = platform::createFolder(folder / relativePath, parents, {}, &error);
    EXPECT_EQ(made, error.code == 0);
    return error.code;
  }

  /// As readTrustedFile, with the answer about trust in one text: the bytes, "missing" or "distrusted".
  /// What becomes of a copy of a folder that has to be trusted; nothing may be there when it was not copied.
  std::string copyTrusted(const std::string& path) {
    bool isDistrusted = false;
    FileError error;
    const std::string source = path.empty() ? "" : folder / path;
    const bool isCopied = platform::copyTrustedFolder(source, folder / "copied", &isDistrusted, &error);
    EXPECT_EQ(platform::removeItem(folder / "copied"), isCopied);
    if (isCopied) return isDistrusted ? "copied though distrusted" : "copied";
    EXPECT_EQ(isDistrusted, error.code == platform::kNoReadPermission) << error.code;
    return isDistrusted ? "distrusted" : "failed with " + std::to_string(error.code);
  }

  std::string readTrusted(const std::string& relativePath) const {
    bool isDistrusted = false;
    bool isDistrustedAgain = true;
    const OptionalString contents = platform::readTrustedFile(folder / relativePath, &isDistrusted);
    EXPECT_EQ(platform::readTrustedFile(folder / relativePath, &isDistrustedAgain), contents);
    EXPECT_EQ(isDistrusted, isDistrustedAgain) << "the answer was not set";
    if (!contents) return isDistrusted ? "distrusted" : "missing";
    EXPECT_FALSE(isDistrusted);
    return *contents;
  }
};

// ----- exists, isFolder -----

TEST_F(FileManagerTest, ExistenceFollowsLinks) {
  for (const char* there :
       {"file", "folder", "folder/", "folder/nested", "link", "folderLink", "folderLink/nested", "fifo"}) {
    EXPECT_TRUE(platform::exists(folder / there)) << there;
  }
  for (const char* missing : {"broken", "nowhere", "file/below", "file/", "folder/other"}) {
    EXPECT_FALSE(platform::exists(folder / missing)) << missing;
  }
  EXPECT_FALSE(platform::exists(""));
  EXPECT_FALSE(platform::exists(folder / kTooLongName));
}

TEST_F(FileManagerTest, FoldersAndLinksToThemAreFolders) {
  for (const char* there : {"folder", "folder/", "folderLink"})
    EXPECT_TRUE(platform::isFolder(folder / there)) << there;
  for (const char* other : {"file", "folder/nested", "link", "broken", "fifo", "nowhere"}) {
    EXPECT_FALSE(platform::isFolder(folder / other)) << other;
  }
  EXPECT_FALSE(platform::isFolder(""));
}

TEST_F(FileManagerTest, LinkThatPointsToItselfIsNothing) {
  folder.makeLink("loop", "loop");
  EXPECT_FALSE(platform::exists(folder / "loop"));
  EXPECT_FALSE(platform::isFolder(folder / "loop"));
}

TEST_F(FileManagerTest, ResolvedPathFollowsAllLinks) {
  EXPECT_EQ(platform::resolvedPath(folder / "link"), folder / "file");
  EXPECT_EQ(platform::resolvedPath(folder / "folderLink/nested"), folder / "folder/nested");
  EXPECT_EQ(platform::resolvedPath(folder / "folder//../folder/./"), folder / "folder");
  EXPECT_EQ(platform::resolvedPath(folder / "fifo"), folder / "fifo");
  EXPECT_EQ(platform::resolvedPath("/"), "/");
}

TEST_F(FileManagerTest, NothingHasNoResolvedPath) {
  for (const char* missing : {"broken", "nowhere", "file/below"}) {
    EXPECT_FALSE(platform::resolvedPath(folder / missing)) << missing;
  }
  EXPECT_FALSE(platform::resolvedPath(""));
}

// ----- namesInFolder -----

TEST_F(FileManagerTest, NamesIncludeHiddenOnesAndNotTheFolderItself) {
  folder.makeFile("many/.hidden");
  folder.makeFile("many/..odd");
  folder.makeFile("many/new\nline");
  folder.makeFile(std::string("many/") + host::kOddName);
  folder.makeLink("many/broken", "nowhere");
  folder.makeFile("many/sub/not listed");
  const auto names = platform::namesInFolder(folder / "many");
  ASSERT_TRUE(names);
  EXPECT_THAT(*names, UnorderedElementsAre(".hidden", "..odd", "new\nline", host::kOddName, "broken", "sub"));
}

TEST_F(FileManagerTest, NamesOfLinkToFolderAreThoseOfTheFolder) {
  const auto names = platform::namesInFolder(folder / "folderLink");
  ASSERT_TRUE(names);
  EXPECT_THAT(*names, UnorderedElementsAre("nested"));
}

TEST_F(FileManagerTest, EmptyFolderHasNoNames) {
  folder.makeFolder("empty");
  const auto names = platform::namesInFolder(folder / "empty");
  ASSERT_TRUE(names);
  EXPECT_TRUE(names->empty());
}

TEST_F(FileManagerTest, OnlyFoldersHaveNames) {
  for (const char* other : {"file", "link", "broken", "fifo", "nowhere", "file/below"}) {
    EXPECT_FALSE(platform::namesInFolder(folder / other)) << other;
  }
  EXPECT_FALSE(platform::namesInFolder(""));
}

TEST_F(FileManagerTest, UnreadableFolderHasNoNames) {
  folder.makeFolder("unreadable", 0300);
  asUnprivileged([&] { EXPECT_FALSE(platform::namesInFolder(folder / "unreadable")); });
}

TEST_F(FileManagerTest, LargeFolderIsListedWhole) {
  for (int i = 0; i < 3000; ++i) folder.makeFile("large/entry number " + std::to_string(i));
  const auto names = platform::namesInFolder(folder / "large");
  ASSERT_TRUE(names);
  EXPECT_EQ(std::set<std::string>(names->begin(), names->end()).size(), 3000U);
  EXPECT_EQ(names->size(), 3000U);
}

// ----- createFolder -----

TEST_F(FileManagerTest, FolderIsMadeWithAllRightsLessTheUmask) {
  const ScopedUmask mask(027);
  EXPECT_EQ(codeOfCreateFolder("new", Parents::Required), 0);
  EXPECT_EQ(codeOfCreateFolder("a/b/c", Parents::Created), 0);
  for (const char* made : {"new", "a", "a/b", "a/b/c"}) {
    EXPECT_TRUE(platform::isFolder(folder / made)) << made;
    EXPECT_EQ(folder.mode(made), 0750U) << made;
  }
}

TEST_F(FileManagerTest, MissingParentIsFailureUnlessParentsAreCreated) {
  EXPECT_EQ(codeOfCreateFolder("a/b", Parents::Required), platform::kNoSuchFileWhileWriting);
  EXPECT_FALSE(folder.has("a"));
  EXPECT_EQ(codeOfCreateFolder("a/b", Parents::Created), 0);
}

TEST_F(FileManagerTest, ExistingFolderIsFailureUnlessParentsAreCreated) {
  for (const char* there : {"folder", "folderLink"}) {
    EXPECT_EQ(codeOfCreateFolder(there, Parents::Required), platform::kFileExists) << there;
    EXPECT_EQ(codeOfCreateFolder(there, Parents::Created), 0) << there;
  }
  EXPECT_EQ(folder.read("folder/nested"), "nested text");
}

TEST_F(FileManagerTest, TopIsAnExistingFolder) {
  const auto expectThere = [] {
    FileError error;
    EXPECT_TRUE(platform::createFolder("/", Parents::Created));
    EXPECT_FALSE(platform::createFolder("/", Parents::Required, {}, &error));
    EXPECT_EQ(error.code, platform::kFileExists);
  };
  expectThere();
  if (!host::kCanRefuseCalls) return;
  inChild([&] {
    ASSERT_TRUE(host::refuseNewFolders(EISDIR));  // what macOS says to it
    expectThere();
  });
}

TEST_F(FileManagerTest, OnlyARefusalOfTheSystemInsideABundleMayBeProtection) {
  if (!host::kCanRefuseCalls) GTEST_SKIP() << "needs a system that refuses a process its calls";
  folder.makeFolder("Name.app/Contents");
  folder.makeFolder("Name.apple/.app");
  const auto isProtected = [&](const std::string& path) {
    FileError error;
    EXPECT_FALSE(platform::createFolder(folder / path, Parents::Required, {}, &error));
    return error.isProtected;
  };
  EXPECT_FALSE(isProtected("Name.app/nowhere/new")) << "missing, not refused";
  inChild([&] {
    ASSERT_TRUE(host::refuseNewFolders(EPERM));
    EXPECT_FALSE(isProtected("Name.app/Contents/new")) << "on a system that protects none";
    protectBundles(true);
    EXPECT_TRUE(isProtected("Name.app/Contents/new"));
    EXPECT_TRUE(isProtected("new.app"));
    EXPECT_FALSE(isProtected("new"));
    EXPECT_FALSE(isProtected("Name.apple/.app/new"));
  });
  inChild([&] {
    protectBundles(true);
    ASSERT_TRUE(host::refuseNewFolders(EACCES));
    EXPECT_FALSE(isProtected("Name.app/Contents/new")) << "a right is missing";
  });
}

TEST_F(FileManagerTest, FolderIsNotMadeWhereAFileIs) {
  const auto before = treeSnapshot(folder.path());
  for (const char* taken : {"file", "link", "fifo"}) {
    EXPECT_EQ(codeOfCreateFolder(taken, Parents::Required), platform::kFileExists) << taken;
    EXPECT_EQ(codeOfCreateFolder(taken, Parents::Created), platform::kFileExists) << taken;
  }
  EXPECT_NE(codeOfCreateFolder("broken", Parents::Required), 0);
  EXPECT_NE(codeOfCreateFolder("broken", Parents::Created), 0);
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

TEST_F(FileManagerTest, FolderIsNotMadeBelowAFile) {
  const auto before = treeSnapshot(folder.path());
  for (const char* path : {"file/new", "link/new"}) {
    EXPECT_EQ(codeOfCreateFolder(path, Parents::Required), platform::kOtherWritingFailure) << path;
    EXPECT_EQ(codeOfCreateFolder(path, Parents::Created), platform::kOtherWritingFailure) << path;
  }
  EXPECT_EQ(codeOfCreateFolder("file/a/b", Parents::Created), platform::kOtherWritingFailure);
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

TEST_F(FileManagerTest, FolderIsMadeThroughALinkToAFolder) {
  EXPECT_EQ(codeOfCreateFolder("folderLink/a/b", Parents::Created), 0);
  EXPECT_TRUE(platform::isFolder(folder / "folder/a/b"));
}

TEST_F(FileManagerTest, SlashesAtTheEndAndInRowsDoNotMatter) {
  EXPECT_EQ(codeOfCreateFolder("a//b///c//", Parents::Created), 0);
  EXPECT_TRUE(platform::isFolder(folder / "a/b/c"));
  EXPECT_EQ(codeOfCreateFolder("a//b///c//", Parents::Created), 0);
  EXPECT_EQ(codeOfCreateFolder("d/", Parents::Required), 0);
  EXPECT_TRUE(platform::isFolder(folder / "d"));
}

TEST_F(FileManagerTest, TildeIsAnOrdinaryCharacter) {
  EXPECT_EQ(codeOfCreateFolder("~/~root", Parents::Created), 0);
  EXPECT_EQ(folder.names("~"), (std::vector<std::string>{"~root"}));
}

TEST_F(FileManagerTest, ParentsStayWhenTheFolderCannotBeMade) {
  EXPECT_EQ(codeOfCreateFolder("a/b/" + kTooLongName, Parents::Created), platform::kOtherWritingFailure);
  EXPECT_TRUE(platform::isFolder(folder / "a/b"));
}

TEST_F(FileManagerTest, FolderIsNotMadeWithoutPermission) {
  folder.makeFolder("locked", 0555);
  asUnprivileged([&] {
    EXPECT_EQ(codeOfCreateFolder("locked/new", Parents::Required), platform::kNoWritePermission);
    EXPECT_EQ(codeOfCreateFolder("locked/new", Parents::Created), platform::kNoWritePermission);
    EXPECT_EQ(codeOfCreateFolder("locked/new/deep", Parents::Created), platform::kNoWritePermission);
  });
}

TEST_F(FileManagerTest, EmptyPathIsNoFolder) {
  FileError error;
  EXPECT_FALSE(platform::createFolder("", Parents::Required, {}, &error));
  EXPECT_EQ(error.code, platform::kNoSuchFileWhileWriting);
  EXPECT_FALSE(platform::createFolder("", Parents::Created));
}

TEST_F(FileManagerTest, FailureNamesThePathAndTheReason) {
  FileError error;
  ASSERT_FALSE(platform::createFolder(folder / "missing/new", Parents::Required, {}, &error));
  EXPECT_THAT(error.description, HasSubstr(folder / "missing/new"));
  EXPECT_THAT(error.description, HasSubstr(std::strerror(ENOENT)));
  EXPECT_THAT(log(), ::testing::IsEmpty());
}

TEST_F(FileManagerTest, AttributesGoToNewFoldersOnly) {
  folder.makeFolder("there", 0711);
  Attributes attributes;
  attributes.mode = 02775;
  EXPECT_TRUE(platform::createFolder(folder / "there/a/b", Parents::Created, attributes));
  EXPECT_TRUE(platform::createFolder(folder / "there/c", Parents::Required, attributes));
  EXPECT_EQ(folder.mode("there"), 0711U);
  for (const char* made : {"there/a", "there/a/b", "there/c"}) EXPECT_EQ(folder.mode(made), 02775U) << made;
  attributes.mode = 0700;
  EXPECT_TRUE(platform::createFolder(folder / "there/a", Parents::Created, attributes));
  EXPECT_EQ(folder.mode("there/a"), 02775U);
}

TEST_F(FileManagerTest, NewFolderGetsOwnerAndGroup) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  ASSERT_TRUE(platform::createFolder(folder / "a/b", Parents::Created, {other->name, other->group, 0750}));
  for (const char* made : {"a", "a/b"}) {
    EXPECT_EQ(folder.attributes(made).st_uid, other->uid);
    EXPECT_EQ(folder.attributes(made).st_gid, other->gid);
    EXPECT_EQ(folder.mode(made), 0750U);
  }
}

TEST_F(FileManagerTest, RefusedAttributesAreNoFailure) {
  EXPECT_TRUE(platform::createFolder(folder / "a/b", Parents::Created, {"no such user", "no such group", 0700}));
  EXPECT_EQ(folder.mode("a/b"), 0700U);
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    EXPECT_TRUE(platform::createFolder(folder / "shared/a/b", Parents::Created, {"root", {}, {}}));
    EXPECT_TRUE(platform::isFolder(folder / "shared/a/b"));
  });
}

// ----- createFile -----

TEST_F(FileManagerTest, CreatedFileHasContentsAndAttributes) {
  Attributes attributes;
  attributes.mode = 0640;
  EXPECT_TRUE(platform::createFile(folder / "new", std::string("a\0b", 3), attributes));
  EXPECT_EQ(folder.read("new"), std::string("a\0b", 3));
  EXPECT_EQ(folder.mode("new"), 0640U);
  EXPECT_TRUE(platform::createFile(folder / "file", "", attributes));
  EXPECT_EQ(folder.read("file"), "");
  EXPECT_EQ(folder.mode("file"), 0640U);
}

TEST_F(FileManagerTest, CreatedFileReplacesALinkAndNotItsTarget) {
  EXPECT_TRUE(platform::createFile(folder / "link", "new", {}));
  EXPECT_TRUE(S_ISREG(folder.attributes("link").st_mode));
  EXPECT_EQ(folder.read("link"), "new");
  EXPECT_EQ(folder.read("file"), "text");
}

TEST_F(FileManagerTest, CreatedFileKeepsItsContentsWhenAttributesAreRefused) {
  EXPECT_TRUE(platform::createFile(folder / "new", "text", {"no such user", "no such group", {}}));
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    EXPECT_TRUE(platform::createFile(folder / "shared/new", "text", {"root", {}, {}}));
    EXPECT_EQ(folder.read("shared/new"), "text");
  });
}

TEST_F(FileManagerTest, FileIsNotCreatedWhereAFolderIsOrBelowAFile) {
  const auto before = treeSnapshot(folder.path());
  for (const char* path : {"folder", "file/below", "missing/below"}) {
    EXPECT_FALSE(platform::createFile(folder / path, "new", {})) << path;
  }
  EXPECT_FALSE(platform::createFile("", "new", {}));
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

// ----- readFile -----

TEST_F(FileManagerTest, ReadGivesAllBytes) {
  std::string bytes;
  for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i % 256);
  folder.makeFile("bytes", bytes);
  folder.makeFile("empty");
  EXPECT_TRUE(platform::readFile(folder / "bytes") == bytes);
  EXPECT_EQ(platform::readFile(folder / "empty"), "");
  EXPECT_EQ(platform::readFile(folder / "link"), "text");
  EXPECT_EQ(platform::readFile(folder / "folderLink/nested"), "nested text");
}

TEST_F(FileManagerTest, OnlyRegularFilesAreRead) {
  for (const char* other : {"folder", "folderLink", "broken", "fifo", "nowhere", "file/below"}) {
    EXPECT_FALSE(platform::readFile(folder / other)) << other;
  }
  EXPECT_FALSE(platform::readFile(""));
  EXPECT_FALSE(platform::readFile("/dev/null"));
  EXPECT_FALSE(platform::readFile("/dev/zero"));
}

TEST_F(FileManagerTest, LinkToAFifoIsNotRead) {
  folder.makeLink("fifoLink", "fifo");
  EXPECT_FALSE(platform::readFile(folder / "fifoLink"));
}

TEST_F(FileManagerTest, SocketIsNotRead) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = folder / "socket";
  if (path.size() >= sizeof address.sun_path) GTEST_SKIP() << "the test's folder has too long a path for a socket";
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | host::kClosedOnExec, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_FALSE(platform::readFile(path));
  close(descriptor);
}

TEST_F(FileManagerTest, FileOfMoreThanAGibibyteIsNotRead) {
  const std::string path = folder.makeFile("huge");
  ASSERT_EQ(truncate(path.c_str(), (off_t{1} << 30) + 1), 0);
  EXPECT_FALSE(platform::readFile(path));
  ASSERT_EQ(truncate(path.c_str(), off_t{5} << 30), 0);  // more than 32 bits hold
  EXPECT_FALSE(platform::readFile(path));
}

TEST_F(FileManagerTest, FileLargerThanTheMemoryThatIsLeftIsNotRead) {
  if (sizeof(void*) > 4) GTEST_SKIP() << "needs a process with few addresses";
  const std::string path = folder.makeFile("huge");
  for (const off_t size : {off_t{600} << 20, off_t{1} << 30}) {
    ASSERT_EQ(truncate(path.c_str(), size), 0);
    const OptionalString contents = platform::readFile(path);  // may succeed on a lucky day; never throws
    EXPECT_TRUE(!contents || contents->size() == static_cast<size_t>(size));
  }
}

TEST_F(FileManagerTest, FileThatHoldsMoreThanItsSizeSaysIsReadWhole) {
  if (!platform::exists("/proc/self/limits")) GTEST_SKIP() << "needs files whose size is not known";
  const OptionalString limits = platform::readFile("/proc/self/limits");
  ASSERT_TRUE(limits);
  EXPECT_THAT(*limits, HasSubstr("Max realtime timeout"));
}

TEST_F(FileManagerTest, UnreadableFileIsNotRead) {
  folder.makeFile("unreadable", "text", 0200);
  asUnprivileged([&] { EXPECT_FALSE(platform::readFile(folder / "unreadable")); });
}

TEST_F(FileManagerTest, OperationsLeaveNoDescriptorOpen) {
  const int before = openDescriptors();
  bool isDistrusted = false;
  for (const char* path : {"file", "folder", "link", "broken", "folderLink", "fifo", "nowhere"}) {
    platform::readFile(folder / path);
    platform::readTrustedFile(folder / path, &isDistrusted);
    platform::copyTrustedFolder(folder / path, folder / "copy", &isDistrusted);
    platform::namesInFolder(folder / path);
    platform::createFolder(folder / path, Parents::Created);
    platform::createFile(folder / path, "new", {});
    platform::removeItem(folder / path);
  }
  EXPECT_EQ(openDescriptors(), before);
}

// ----- readTrustedFile -----

TEST_F(FileManagerTest, OwnRegularFileIsTrusted) {
  folder.makeFile("group writable", "shared with the group", 0664);
  EXPECT_EQ(readTrusted("file"), "text");
  EXPECT_EQ(readTrusted("group writable"), "shared with the group");
  EXPECT_EQ(readTrusted("folderLink/nested"), "nested text");
}

TEST_F(FileManagerTest, NothingThereIsMissingAndNotDistrusted) {
  EXPECT_EQ(readTrusted("nowhere"), "missing");
  EXPECT_EQ(readTrusted("missing/nowhere"), "missing");
}

TEST_F(FileManagerTest, WhatIsNoRegularFileIsDistrusted) {
  for (const char* other : {"link", "broken", "folder", "folderLink", "fifo"}) {
    EXPECT_EQ(readTrusted(other), "distrusted") << other;
  }
}

TEST_F(FileManagerTest, FileThatEveryoneMayWriteIsDistrusted) {
  folder.makeFile("open to all", "text", 0646);
  EXPECT_EQ(readTrusted("open to all"), "distrusted");
}

TEST_F(FileManagerTest, FileOfRootIsTrustedByEveryone) {
  const OptionalString contents = platform::readFile("/etc/passwd");
  if (!contents) GTEST_SKIP() << "needs a file of root that everyone may read";
  asUnprivileged([&] {
    bool isDistrusted = true;
    EXPECT_EQ(platform::readTrustedFile("/etc/passwd", &isDistrusted), contents);
    EXPECT_FALSE(isDistrusted);
  });
}

TEST_F(FileManagerTest, FileOfSomebodyElseIsDistrustedUnlessTheInvokingUserIsMeant) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  ASSERT_EQ(chown((folder / "file").c_str(), other->uid, 0), 0);
  setEnvironment("SUDO_UID", {});
  EXPECT_EQ(readTrusted("file"), "distrusted");
  setEnvironment("USER", other->name);
  EXPECT_EQ(readTrusted("file"), "text");
  setEnvironment("USER", {});
  EXPECT_EQ(readTrusted("file"), "distrusted");
  setEnvironment("SUDO_UID", std::to_string(other->uid));
  EXPECT_EQ(readTrusted("file"), "text");
}

TEST_F(FileManagerTest, DeviceIsDistrusted) {
  if (mknod((folder / "device").c_str(), S_IFCHR | 0600, host::nullDevice()) != 0) {
    GTEST_SKIP() << "needs the rights to make a device: " << std::strerror(errno);
  }
  EXPECT_EQ(readTrusted("device"), "distrusted");
}

// ----- copyTrustedFolder -----

TEST_F(FileManagerTest, OwnFolderIsTrustedUnlessEveryoneMayWriteThere) {
  EXPECT_EQ(copyTrusted("folder"), "copied");
  folder.makeFolder("folder", 0775);
  EXPECT_EQ(copyTrusted("folder"), "copied");
  for (const mode_t shared : std::initializer_list<mode_t>{0757U, 0777U, 01777U}) {
    folder.makeFolder("folder", shared);
    EXPECT_EQ(copyTrusted("folder"), "distrusted") << shared;
  }
}

TEST_F(FileManagerTest, WhatIsNoFolderIsNoTrustedFolder) {
  for (const char* other : {"file", "link", "broken", "folderLink", "fifo"}) {
    EXPECT_EQ(copyTrusted(other), "distrusted") << other;
  }
}

TEST_F(FileManagerTest, MissingFolderIsNotDistrusted) {
  EXPECT_EQ(copyTrusted("nowhere"), "failed with 260");
  EXPECT_EQ(copyTrusted(""), "failed with 260");
}

TEST_F(FileManagerTest, SlashAtTheEndMakesNoLinkATrustedFolder) {
  EXPECT_EQ(copyTrusted("folder/"), "copied");
  EXPECT_EQ(copyTrusted("folderLink/"), "distrusted");
}

TEST_F(FileManagerTest, PolicyIsNotAskedAboutADistrustedFolder) {
  static int asked;
  asked = 0;
  platform::setCopyPolicy([](const FileError&, const std::string&, const std::string&) {
    ++asked;
    return true;
  });
  EXPECT_EQ(copyTrusted("folderLink"), "distrusted");
  platform::setCopyPolicy(nullptr);
  EXPECT_EQ(asked, 0);
}

TEST_F(FileManagerTest, FolderOfSomebodyElseIsTrustedOnlyWhenTheInvokingUserIsMeant) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  ASSERT_EQ(chown((folder / "folder").c_str(), other->uid, 0), 0);
  setEnvironment("SUDO_UID", {});
  EXPECT_EQ(copyTrusted("folder"), "distrusted");
  setEnvironment("SUDO_UID", std::to_string(other->uid));
  EXPECT_EQ(copyTrusted("folder"), "copied");
}

// ----- FileBelow -----

class FileBelowTest : public FileManagerTest {
 protected:
  FileBelowTest() { folder.makeFile("data/sub/file", "text", 0640); }

  static bool replace(const FileBelow& file, const std::string& contents) {
    return file.replace([&contents](const platform::PartWriter& write) { return write(contents); });
  }
};

TEST_F(FileBelowTest, FileIsReadAndReplacedWithItsOwnersAndMode) {
  if (isRoot()) {
    ASSERT_EQ(chown((folder / "data/sub/file").c_str(), 54321, 54322), 0);
  }
  folder.makeLink("data link", "data");
  const struct stat before = folder.attributes("data/sub/file");
  const FileBelow file(folder / "data link", "sub/file");
  ASSERT_TRUE(file.isThere());
  EXPECT_EQ(file.read(), "text");
  EXPECT_EQ(file.read(), "text");
  EXPECT_TRUE(replace(file, "new"));
  EXPECT_EQ(folder.read("data/sub/file"), "new");
  const struct stat after = folder.attributes("data/sub/file");
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_THAT(folder.names("data/sub"), UnorderedElementsAre("file"));
}

TEST_F(FileBelowTest, WhatIsNoFileIsNotThere) {
  const auto expectMissing = [&](const std::string& path) {
    const FileBelow file(folder / "data", path);
    EXPECT_FALSE(file.isThere()) << path;
    EXPECT_FALSE(file.read()) << path;
    EXPECT_FALSE(replace(file, "new")) << path;
  };
  folder.makeFifo("data/fifo");
  for (const char* path : {"nowhere", "sub/nowhere", "sub", "sub/file/below", "fifo"}) expectMissing(path);
  EXPECT_FALSE(FileBelow(folder / "nowhere", "sub/file").isThere());
}

TEST_F(FileBelowTest, LargeFileIsThereButNotRead) {
  ASSERT_EQ(truncate((folder / "data/sub/file").c_str(), static_cast<off_t>(platform::kLargestFileBelow) + 1), 0);
  const FileBelow file(folder / "data", "sub/file");
  EXPECT_TRUE(file.isThere());
  EXPECT_FALSE(file.read());
}

TEST_F(FileBelowTest, DevicesAndFifosAreNeverOpened) {
  if (!host::OpeningWatch::kIsAvailable) GTEST_SKIP() << "needs a system that tells what is opened";
  const std::string fifo = folder.makeFifo("data/fifo");
  const std::string device = folder / "data/device";
  const bool hasDevice = mknod(device.c_str(), S_IFCHR | 0600, host::nullDevice()) == 0;
  host::OpeningWatch watch;
  ASSERT_TRUE(watch.add(fifo));
  EXPECT_TRUE(!hasDevice || watch.add(device));
  for (const char* name : {"fifo", "device"}) {
    const std::string path = folder / "data/" + name;
    EXPECT_FALSE(FileBelow(folder / "data", name).isThere());
    bool isDistrusted = false;
    EXPECT_FALSE(platform::readTrustedFile(path, &isDistrusted));
    EXPECT_TRUE(isDistrusted || !hasDevice);
    EXPECT_FALSE(platform::readFile(path));
  }
  ASSERT_EQ(link(fifo.c_str(), (folder / "kept").c_str()), 0);
  const int trace = platform::openTraceFile(fifo);
  EXPECT_GE(trace, 0);
  close(trace);
  EXPECT_TRUE(S_ISREG(folder.attributes("data/fifo").st_mode));
  EXPECT_TRUE(watch.sawNothing()) << "something was opened";
}

TEST_F(FileBelowTest, NoLinkBelowTheFolderIsFollowed) {
  folder.makeFile("elsewhere/file", "precious", 0600);
  folder.makeLink("data/link", folder / "elsewhere");
  folder.makeLink("data/sub/link", folder / "elsewhere/file");
  EXPECT_FALSE(FileBelow(folder / "data", "link/file").isThere());
  EXPECT_FALSE(FileBelow(folder / "data", "sub/link").isThere());
}

TEST_F(FileBelowTest, FileWithASecondNameIsNotThere) {
  folder.makeFile("precious", "precious", 0600);
  ASSERT_EQ(link((folder / "precious").c_str(), (folder / "data/second").c_str()), 0);
  EXPECT_FALSE(FileBelow(folder / "data", "second").isThere());
}

TEST_F(FileBelowTest, WhatIsPutInItsPlaceIsNeitherReadNorGivesItsAttributes) {
  folder.makeFile("elsewhere/file", "precious", 0600);
  const FileBelow file(folder / "data", "sub/file");
  ASSERT_EQ(unlink((folder / "data/sub/file").c_str()), 0);
  folder.makeLink("data/sub/file", folder / "elsewhere/file");
  EXPECT_EQ(file.read(), "text");
  EXPECT_TRUE(replace(file, "new"));
  EXPECT_EQ(folder.mode("data/sub/file"), 0640U);
  EXPECT_EQ(folder.read("data/sub/file"), "new");
  EXPECT_EQ(folder.read("elsewhere/file"), "precious");
  EXPECT_EQ(folder.mode("elsewhere/file"), 0600U);
}

TEST_F(FileBelowTest, FolderThatIsExchangedForALinkIsNotLeft) {
  folder.makeFile("elsewhere/file", "precious", 0600);
  const FileBelow file(folder / "data", "sub/file");
  ASSERT_EQ(rename((folder / "data/sub").c_str(), (folder / "data/away").c_str()), 0);
  folder.makeLink("data/sub", folder / "elsewhere");
  EXPECT_EQ(file.read(), "text");
  EXPECT_TRUE(replace(file, "new"));
  EXPECT_EQ(folder.read("data/away/file"), "new");
  EXPECT_EQ(folder.read("elsewhere/file"), "precious");
}

}  // namespace

}  // namespace hotfix
