#include <sys/socket.h>
#include <sys/un.h>

#include <set>

#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Tests/Platform/PlatformTest.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::FileBelow;
using platform::FileError;
using platform::Parents;

const std::string kTooLongName(300, 'n');

/// One entry of every kind.
class FileManagerTest : public PlatformTest {
 protected:
  FileManagerTest() {
    folder.makeFile("file", "text");
    folder.makeFile("folder/nested", "nested text");
    folder.makeLink("link", "file");
    folder.makeLink("broken", "nowhere");
    folder.makeLink("folderLink", "folder");
    folder.makeFifo("fifo");
  }

  /// The path in the test's folder; an empty path stays empty.
  std::string inFolder(const std::string& path) const { return path.empty() ? "" : folder / path; }

  /// Makes the folder, and answers 0 or the failure's code.
  int codeOfCreateFolder(const std::string& path, Parents parents) const {
    FileError error;
    const bool made = platform::createFolder(inFolder(path), parents, {}, &error);
    EXPECT_EQ(made, error.code == 0);
    return error.code;
  }

  /// "copied", "distrusted" or the code of the failure. Nothing may be there when it was not copied.
  std::string copyTrusted(const std::string& path) const {
    bool isDistrusted = false;
    FileError error;
    const bool isCopied = platform::copyTrustedFolder(inFolder(path), folder / "copied", &isDistrusted, &error);
    EXPECT_EQ(platform::removeItem(folder / "copied"), isCopied);
    if (isCopied) return isDistrusted ? "copied though distrusted" : "copied";
    EXPECT_EQ(isDistrusted, error.code == platform::kNoReadPermission) << error.code;
    return isDistrusted ? "distrusted" : "failed with " + std::to_string(error.code);
  }

  /// The bytes, "distrusted" or "missing".
  std::string readTrusted(const std::string& path) const {
    bool isDistrusted = false;
    bool isDistrustedAgain = true;
    const OptionalString contents = platform::readTrustedFile(inFolder(path), &isDistrusted);
    EXPECT_EQ(platform::readTrustedFile(inFolder(path), &isDistrustedAgain), contents);
    EXPECT_EQ(isDistrusted, isDistrustedAgain) << "the answer was not set";
    if (!contents) return isDistrusted ? "distrusted" : "missing";
    EXPECT_FALSE(isDistrusted);
    return *contents;
  }

  /// The path behind all links, relative to the test's folder if it is there.
  std::string resolved(const std::string& path) const {
    const std::string top = folder.path() + "/";
    const std::string whole = platform::resolvedPath(inFolder(path)).value_or("none");
    return whole.compare(0, top.size(), top) == 0 ? whole.substr(top.size()) : whole;
  }

  std::string namesIn(const std::string& path) const {
    const auto names = platform::namesInFolder(inFolder(path));
    return names ? ::testing::PrintToString(std::set<std::string>(names->begin(), names->end())) : "none";
  }
};

// ----- What is at a path -----

/// \return false if the path is too long for a socket.
bool makeSocket(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | host::kClosedOnExec, 0);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(descriptor);
  return true;
}

TEST_F(FileManagerTest, EachKindOfEntryIsToldApart) {
  const std::string distrusted = "distrusted", missing = "missing", none = "none", failed = "failed with 260";
  folder.makeFolder("empty");
  folder.makeLink("loop", "loop");
  folder.makeLink("fifoLink", "fifo");
  folder.makeLink("deviceLink", "/dev/zero");
  folder.makeFile("group's file", "shared", 0664);
  folder.makeFile("open file", "shared", 0646);
  for (const char* mode : {"0775", "0757", "0777", "1777"}) {
    folder.makeFolder(mode, static_cast<mode_t>(std::stoul(mode, nullptr, 8)));
  }
  // A path, its kind, the path behind all links, the bytes, the bytes of a trusted file, the copy of a trusted folder,
  // and the names in the folder.
  std::vector<std::vector<std::string>> rows = {
      {"file", "entry", "file", "text", "text", distrusted, none},
      {"group's file", "entry", "group's file", "shared", "shared", distrusted, none},
      {"open file", "entry", "open file", "shared", distrusted, distrusted, none},
      {"folder", "folder", "folder", none, distrusted, "copied", "{ \"nested\" }"},
      {"folder/", "folder", "folder", none, distrusted, "copied", "{ \"nested\" }"},
      {"folder//../folder/./", "folder", "folder", none, distrusted, "copied", "{ \"nested\" }"},
      {"empty", "folder", "empty", none, distrusted, "copied", "{}"},
      {"0775", "folder", "0775", none, distrusted, "copied", "{}"},
      {"0757", "folder", "0757", none, distrusted, distrusted, "{}"},
      {"0777", "folder", "0777", none, distrusted, distrusted, "{}"},
      {"1777", "folder", "1777", none, distrusted, distrusted, "{}"},
      {"folder/nested", "entry", "folder/nested", "nested text", "nested text", distrusted, none},
      {"folderLink/nested", "entry", "folder/nested", "nested text", "nested text", distrusted, none},
      {"link", "entry", "file", "text", distrusted, distrusted, none},
      {"folderLink", "folder", "folder", none, distrusted, distrusted, "{ \"nested\" }"},
      {"folderLink/", "folder", "folder", none, distrusted, distrusted, "{ \"nested\" }"},
      {"broken", missing, none, none, distrusted, distrusted, none},
      {"loop", missing, none, none, distrusted, distrusted, none},
      {"fifo", "entry", "fifo", none, distrusted, distrusted, none},
      {"fifoLink", "entry", "fifo", none, distrusted, distrusted, none},
      {"deviceLink", "entry", "/dev/zero", none, distrusted, distrusted, none},
      {"nowhere", missing, none, none, missing, failed, none},
      {"folder/nowhere", missing, none, none, missing, failed, none},
      {"missing/nowhere", missing, none, none, missing, failed, none},
      {"file/", missing, none, none, missing, distrusted, none},
      {"file/below", missing, none, none, missing, "failed with 256", none},
      {kTooLongName, missing, none, none, missing, "failed with 256", none},
      {"", missing, none, none, missing, failed, none},
  };
  if (makeSocket(folder / "socket")) {
    rows.push_back({"socket", "entry", "socket", none, distrusted, distrusted, none});
  }
  if (mknod((folder / "device").c_str(), S_IFCHR | 0600, host::nullDevice()) == 0) {
    rows.push_back({"device", "entry", "device", none, distrusted, distrusted, none});
  }
  for (const std::vector<std::string>& row : rows) {
    const std::string& path = row[0];
    const bool isFolder = platform::isFolder(inFolder(path));
    const std::string kind = platform::exists(inFolder(path)) ? isFolder ? "folder" : "entry" : "missing";
    EXPECT_THAT(row, ElementsAre(path, kind, resolved(path), platform::readFile(inFolder(path)).value_or(none),
                                 readTrusted(path), copyTrusted(path), namesIn(path)));
  }
  EXPECT_EQ(platform::resolvedPath("/"), "/");
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

TEST_F(FileManagerTest, UnreadableFolderHasNoNames) {
  folder.makeFolder("unreadable", 0300);
  asUnprivileged([&] { EXPECT_FALSE(platform::namesInFolder(folder / "unreadable")); });
}

TEST_F(FileManagerTest, LargeFolderIsListedRepairedAndRemovedWhole) {
  for (int i = 0; i < 3000; ++i) {
    folder.makeFile("large/entry number " + std::to_string(i), "", 0600);
    if (i % 10 == 0) folder.makeFolder("large/folder number " + std::to_string(i));
  }
  auto names = platform::namesInFolder(folder / "large");
  ASSERT_TRUE(names);
  std::sort(names->begin(), names->end());
  EXPECT_TRUE(*names == folder.names("large"));
  EXPECT_EQ(names->size(), 3300U);
  EXPECT_TRUE(platform::setAttributesBelow(folder / "large", modeOnly(0640)));
  for (const std::string& name : *names) ASSERT_EQ(folder.mode("large/" + name), 0640U) << name;
  EXPECT_TRUE(platform::removeItem(folder / "large"));
  EXPECT_FALSE(folder.has("large"));
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

TEST_F(FileManagerTest, FolderIsThereOrTheFailureHasItsCode) {
  using platform::kFileExists;
  using platform::kNoSuchFileWhileWriting;
  using platform::kOtherWritingFailure;
  const struct {
    const char* path;
    int required, created;  ///< the codes with either kind of parents, first the required ones
  } rows[] = {
      {"a/b", kNoSuchFileWhileWriting, 0},
      {"c//d///e//", kNoSuchFileWhileWriting, 0},
      {"f/", 0, 0},
      {"~/~root", kNoSuchFileWhileWriting, 0},
      {"folderLink/a/b", kNoSuchFileWhileWriting, 0},
      {"folder", kFileExists, 0},
      {"folderLink", kFileExists, 0},
      {"file", kFileExists, kFileExists},
      {"link", kFileExists, kFileExists},
      {"broken", kFileExists, kFileExists},
      {"fifo", kFileExists, kFileExists},
      {"file/new", kOtherWritingFailure, kOtherWritingFailure},
      {"link/new", kOtherWritingFailure, kOtherWritingFailure},
      {"file/a/b", kOtherWritingFailure, kOtherWritingFailure},
      {"broken/new", kNoSuchFileWhileWriting, kOtherWritingFailure},
      {"", kNoSuchFileWhileWriting, kNoSuchFileWhileWriting},
  };
  for (const auto& [path, required, created] : rows) {
    SCOPED_TRACE(path);
    for (const Parents parents : {Parents::Required, Parents::Created}) {
      const auto before = treeSnapshot(folder.path());
      const int code = codeOfCreateFolder(path, parents);
      EXPECT_EQ(code, parents == Parents::Required ? required : created);
      if (code == 0) {
        EXPECT_TRUE(platform::isFolder(folder / path));
      } else {
        EXPECT_EQ(treeSnapshot(folder.path()), before);
      }
    }
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

TEST_F(FileManagerTest, FailureNamesThePathAndTheReason) {
  FileError error;
  ASSERT_FALSE(platform::createFolder(folder / "missing/new", Parents::Required, {}, &error));
  EXPECT_THAT(error.description, HasSubstr(folder / "missing/new"));
  EXPECT_THAT(error.description, HasSubstr(std::strerror(ENOENT)));
  EXPECT_THAT(log(), ::testing::IsEmpty());
}

TEST_F(FileManagerTest, AttributesGoToNewFoldersOnly) {
  folder.makeFolder("there", 0711);
  EXPECT_TRUE(platform::createFolder(folder / "there/a/b", Parents::Created, modeOnly(02775)));
  EXPECT_TRUE(platform::createFolder(folder / "there/c", Parents::Required, modeOnly(02775)));
  EXPECT_EQ(folder.mode("there"), 0711U);
  for (const char* made : {"there/a", "there/a/b", "there/c"}) EXPECT_EQ(folder.mode(made), 02775U) << made;
  EXPECT_TRUE(platform::createFolder(folder / "there/a", Parents::Created, modeOnly(0700)));
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
  EXPECT_TRUE(platform::createFile(folder / "new", "text", {"no such user", "no such group", {}}));
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    EXPECT_TRUE(platform::createFolder(folder / "shared/a/b", Parents::Created, {"root", {}, {}}));
    EXPECT_TRUE(platform::isFolder(folder / "shared/a/b"));
    EXPECT_TRUE(platform::createFile(folder / "shared/new", "text", {"root", {}, {}}));
    EXPECT_EQ(folder.read("shared/new"), "text");
  });
}

// ----- createFile -----

TEST_F(FileManagerTest, CreatedFileHasContentsAndAttributes) {
  EXPECT_TRUE(platform::createFile(folder / "new", std::string("a\0b", 3), modeOnly(0640)));
  EXPECT_EQ(folder.read("new"), std::string("a\0b", 3));
  EXPECT_EQ(folder.mode("new"), 0640U);
  EXPECT_TRUE(platform::createFile(folder / "file", "", modeOnly(0640)));
  EXPECT_EQ(folder.read("file"), "");
  EXPECT_EQ(folder.mode("file"), 0640U);
}

TEST_F(FileManagerTest, CreatedFileReplacesALinkAndNotItsTarget) {
  EXPECT_TRUE(platform::createFile(folder / "link", "new", {}));
  EXPECT_TRUE(S_ISREG(folder.attributes("link").st_mode));
  EXPECT_EQ(folder.read("link"), "new");
  EXPECT_EQ(folder.read("file"), "text");
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

TEST_F(FileManagerTest, FileOfMoreThanAGibibyteIsNotRead) {
  folder.makeFile("huge");
  for (const off_t size : {(off_t{1} << 30) + 1, off_t{5} << 30}) {  // the second needs more than 32 bits
    setSize("huge", size);
    EXPECT_FALSE(platform::readFile(folder / "huge")) << size;
  }
}

TEST_F(FileManagerTest, FileLargerThanTheMemoryThatIsLeftIsNotRead) {
  if (sizeof(void*) > 4) GTEST_SKIP() << "needs a process with few addresses";
  const std::string path = folder.makeFile("huge");
  for (const off_t size : {off_t{600} << 20, off_t{1} << 30}) {
    setSize("huge", size);
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

// ----- readTrustedFile -----

TEST_F(FileManagerTest, FileOfRootIsTrustedByEveryone) {
  const OptionalString contents = platform::readFile("/etc/passwd");
  if (!contents) GTEST_SKIP() << "needs a file of root that everyone may read";
  asUnprivileged([&] {
    bool isDistrusted = true;
    EXPECT_EQ(platform::readTrustedFile("/etc/passwd", &isDistrusted), contents);
    EXPECT_FALSE(isDistrusted);
  });
}

TEST_F(FileManagerTest, WhatSomebodyElseOwnsIsDistrustedUnlessTheInvokingUserIsMeant) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  for (const char* path : {"file", "folder"}) own(path, other->uid, 0);
  setEnvironment("USER", {});
  setEnvironment("SUDO_UID", {});
  EXPECT_EQ(readTrusted("file"), "distrusted");
  EXPECT_EQ(copyTrusted("folder"), "distrusted");
  setEnvironment("SUDO_UID", std::to_string(other->uid));
  EXPECT_EQ(readTrusted("file"), "text");
  EXPECT_EQ(copyTrusted("folder"), "copied");
}

// ----- copyTrustedFolder -----

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

// ----- FileBelow -----

class FileBelowTest : public FileManagerTest {
 protected:
  FileBelowTest() { folder.makeFile("data/sub/file", "text", 0640); }

  static bool replace(const FileBelow& file, const std::string& contents) {
    return file.replace([&contents](const platform::PartWriter& write) { return write(contents); });
  }
};

TEST_F(FileBelowTest, FileIsReadAndReplacedWithItsOwnersAndMode) {
  if (isRoot()) own("data/sub/file", 54321, 54322);
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
  setSize("data/sub/file", static_cast<off_t>(platform::kLargestFileBelow) + 1);
  const FileBelow file(folder / "data", "sub/file");
  EXPECT_TRUE(file.isThere());
  EXPECT_FALSE(file.read());
}

TEST_F(FileBelowTest, DevicesAndFifosAreNeverOpened) {
  if (!host::EntryWatch::kIsAvailable) GTEST_SKIP() << "needs a system that tells what is opened";
  const std::string fifo = folder.makeFifo("data/fifo");
  const std::string device = folder / "data/device";
  const bool hasDevice = mknod(device.c_str(), S_IFCHR | 0600, host::nullDevice()) == 0;
  host::EntryWatch watch;
  ASSERT_TRUE(watch.addOpenings(fifo));
  EXPECT_TRUE(!hasDevice || watch.addOpenings(device));
  for (const char* name : {"fifo", "device"}) {
    const std::string path = folder / "data/" + name;
    EXPECT_FALSE(FileBelow(folder / "data", name).isThere());
    bool isDistrusted = false;
    EXPECT_FALSE(platform::readTrustedFile(path, &isDistrusted));
    EXPECT_TRUE(isDistrusted || !hasDevice);
    EXPECT_FALSE(platform::readFile(path));
  }
  linkTo("data/fifo", "kept");
  const int trace = platform::openTraceFile(fifo);
  EXPECT_GE(trace, 0);
  close(trace);
  EXPECT_TRUE(S_ISREG(folder.attributes("data/fifo").st_mode));
  EXPECT_THAT(watch.seen(), IsEmpty());
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
  linkTo("precious", "data/second");
  EXPECT_FALSE(FileBelow(folder / "data", "second").isThere());
}

TEST_F(FileBelowTest, WhatIsPutInItsPlaceIsNeitherReadNorGivesItsAttributes) {
  folder.makeFile("elsewhere/file", "precious", 0600);
  const FileBelow file(folder / "data", "sub/file");
  unlinkFile("data/sub/file");
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
  move("data/sub", "data/away");
  folder.makeLink("data/sub", folder / "elsewhere");
  EXPECT_EQ(file.read(), "text");
  EXPECT_TRUE(replace(file, "new"));
  EXPECT_EQ(folder.read("data/away/file"), "new");
  EXPECT_EQ(folder.read("elsewhere/file"), "precious");
}

}  // namespace

}  // namespace hotfix
