#include "Platform/FileManager.h"
#include "Tests/Platform/PlatformTest.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::FileError;

/// A question that a copy asked: the code, and the two paths relative to the test's folder.
struct Question {
  int code;
  std::string source;
  std::string target;

  friend bool operator==(const Question& left, const Question& right) {
    return left.code == right.code && left.source == right.source && left.target == right.target;
  }
  friend std::ostream& operator<<(std::ostream& stream, const Question& question) {
    return stream << question.code << " " << question.source << " -> " << question.target;
  }
};

std::vector<Question> questions;
std::function<bool(int code)> answer;  // to the next questions
std::string testFolder;

std::string relative(const std::string& path) {
  return path.compare(0, testFolder.size() + 1, testFolder + "/") == 0 ? path.substr(testFolder.size() + 1) : path;
}

bool askedPolicy(const FileError& error, const std::string& source, const std::string& target) {
  questions.push_back({error.code, relative(source), relative(target)});
  return answer(error.code);
}

bool allowExistingFiles(int code) { return code == platform::kFileExists; }

class CopyItemTest : public PlatformTest {
 protected:
  CopyItemTest() {
    questions.clear();
    answer = [](int) { return false; };
    testFolder = folder.path();
    platform::setCopyPolicy(askedPolicy);
  }
  ~CopyItemTest() override { platform::setCopyPolicy(nullptr); }

  /// Copies, and answers 0 or the code of the failure.
  int codeOfCopy(const std::string& source, const std::string& target) const {
    FileError error;
    const bool isDone = platform::copyItem(folder / source, folder / target, &error);
    EXPECT_EQ(isDone, error.code == 0) << error.code;
    EXPECT_EQ(isDone, error.description.empty()) << error.description;
    return error.code;
  }

  std::map<std::string, std::string> snapshot(const std::string& relativePath) const {
    return treeSnapshot(folder / relativePath);
  }

  void setTimes(const std::string& relativePath, time_t access, time_t modification) const {
    ASSERT_TRUE(host::setTimes(folder / relativePath, {access, 123456789}, {modification, 987654321}));
  }

  void expectTimes(const std::string& relativePath, time_t access, time_t modification) const {
    const struct stat status = folder.attributes(relativePath);
    EXPECT_EQ(host::accessTime(status).tv_sec, access) << relativePath;
    EXPECT_EQ(host::modificationTime(status).tv_sec, modification) << relativePath;
    EXPECT_EQ(host::modificationTime(status).tv_nsec, host::settableNanoseconds(987654321)) << relativePath;
  }

  /// The value of an extended attribute, or "<none>".
  std::string attributeOf(const std::string& relativePath, const char* name) const {
    char value[64];
    const ssize_t size = host::attribute(folder / relativePath, name, value, sizeof value);
    return size < 0 ? "<none>" : std::string(value, static_cast<size_t>(size));
  }

  /// \return whether the file system has such attributes.
  bool setAttribute(const std::string& relativePath, const char* name, const std::string& value) const {
    return host::setAttribute(folder / relativePath, name, value.data(), value.size()) == 0;
  }

  /// A small tree with every kind of entry that can be copied.
  void makeTree(const std::string& top) const {
    folder.makeFile(top + "/file", "text");
    folder.makeFile(top + "/.hidden", "hidden text", 0600);
    folder.makeFile(top + "/new\nline");
    folder.makeFile(top + "/sub/deeper/program", "code", 0755);
    folder.makeFolder(top + "/empty", 0711);
    folder.makeLink(top + "/link", "file");
    folder.makeLink(top + "/broken", "nowhere");
    folder.makeLink(top + "/sub/folderLink", "deeper");
  }
};

// ----- The target is missing -----

TEST_F(CopyItemTest, MissingSourceIsAReadingFailureAndNotAsked) {
  answer = [](int) { return true; };
  EXPECT_EQ(codeOfCopy("nowhere", "copy"), platform::kNoSuchFileWhileReading);
  EXPECT_EQ(codeOfCopy("nowhere/below", "copy"), platform::kNoSuchFileWhileReading);
  folder.makeFile("there");
  EXPECT_EQ(codeOfCopy("nowhere", "there"), platform::kNoSuchFileWhileReading);
  EXPECT_THAT(questions, IsEmpty());
  EXPECT_FALSE(folder.has("copy"));
}

TEST_F(CopyItemTest, FailureNamesThePathAndTheReason) {
  FileError error;
  ASSERT_FALSE(platform::copyItem(folder / "nowhere", folder / "copy", &error));
  EXPECT_THAT(error.description, HasSubstr(folder / "nowhere"));
  EXPECT_THAT(error.description, HasSubstr(std::strerror(ENOENT)));
  EXPECT_FALSE(platform::copyItem(folder / "nowhere", folder / "copy"));  // nobody asks for the reason
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(CopyItemTest, FileIsCopiedWithModeAndTimes) {
  const std::string bytes = std::string("a\0b\n", 4) + std::string(200'000, 'x');
  for (const mode_t mode : std::initializer_list<mode_t>{0640U, 0400U, 0777U, 0U}) {
    const std::string copy = "copy" + std::to_string(mode);
    if (!isRoot() && (mode & 0400U) == 0) continue;
    const std::string file = "file" + std::to_string(mode);
    folder.makeFile(file, bytes, mode);
    setTimes(file, 1'000'000'000, 1'100'000'000);
    EXPECT_EQ(codeOfCopy(file, copy), 0);
    EXPECT_EQ(folder.mode(copy), mode);
    expectTimes(copy, 1'000'000'000, 1'100'000'000);
    EXPECT_TRUE(folder.read(copy) == bytes);
  }
  EXPECT_THAT(questions, IsEmpty());
}

TEST_F(CopyItemTest, CopyOfAFileIsOnTheDiskBeforeTheReturn) {
  folder.makeFile("file", "text");
  folder.makeFolder("here");
  std::vector<std::string> synced;
  beforeSync = [&](int descriptor) {
    struct stat status = {};
    ASSERT_EQ(fstat(descriptor, &status), 0);
    const bool isNamed = platform::exists(folder / "here/copy");
    const bool isCopy = S_ISREG(status.st_mode) && status.st_size == 4 && !isNamed;
    const bool isFolder = status.st_ino == folder.attributes("here").st_ino;
    synced.push_back(isCopy ? "copy" : isFolder && isNamed ? "folder" : "something else");
  };
  EXPECT_EQ(codeOfCopy("file", "here/copy"), 0);
  beforeSync = nullptr;
  EXPECT_THAT(synced, ElementsAre("copy", "folder"));
  EXPECT_THAT(platform::namesInFolder(folder / "here"), ::testing::Optional(ElementsAre("copy")));
}

TEST_F(CopyItemTest, FileIsCopiedWhereThereAreNoLinks) {
  if (!host::kCanRefuseCalls) GTEST_SKIP() << "needs a system that can refuse a process its calls";
  folder.makeFile("source/file", "text", 0640);
  std::string copy = "copy";
  for (const int error : {EPERM, ENOSYS, ENOTSUP, EOPNOTSUPP, EMLINK}) {
    copy += "+";  // two of the errors are one on Linux
    inChild([&] {
      ASSERT_TRUE(host::refuseLinks(error));
      EXPECT_EQ(codeOfCopy("source", copy), 0) << std::strerror(error);
    });
    EXPECT_EQ(snapshot(copy), snapshot("source")) << std::strerror(error);
    EXPECT_EQ(folder.mode(copy + "/file"), 0640U);
  }
}

TEST_F(CopyItemTest, UmaskDoesNotChangeACopy) {
  folder.makeFile("source/file", "", 0666);
  folder.makeFolder("source/open", 0777);
  const ScopedUmask mask(077);
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  EXPECT_EQ(folder.mode("copy"), 0755U);
  EXPECT_EQ(folder.mode("copy/file"), 0666U);
  EXPECT_EQ(folder.mode("copy/open"), 0777U);
}

TEST_F(CopyItemTest, LinkIsCopiedAsALinkWithItsTimes) {
  folder.makeFile("folder/nested");
  folder.makeLink("broken", "no/where");
  folder.makeLink("folderLink", "folder");
  setTimes("broken", 1'000'000'000, 1'100'000'000);
  EXPECT_EQ(codeOfCopy("broken", "copied broken"), 0);
  EXPECT_EQ(codeOfCopy("folderLink", "copied link"), 0);
  EXPECT_EQ(codeOfCopy("folderLink/", "copied link with a slash"), 0);
  const auto copies = snapshot("");
  EXPECT_EQ(copies.at("copied broken"), "link: no/where");
  EXPECT_EQ(copies.at("copied link"), "link: folder");
  EXPECT_EQ(copies.at("copied link with a slash"), "link: folder");
  // Reading a link may change its access time.
  EXPECT_EQ(host::modificationTime(folder.attributes("copied broken")).tv_sec, 1'100'000'000);
}

TEST_F(CopyItemTest, FolderIsCopiedWithAllItHolds) {
  makeTree("source");
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  EXPECT_EQ(snapshot("copy"), snapshot("source"));
  EXPECT_EQ(folder.mode("copy/.hidden"), 0600U);
  EXPECT_EQ(folder.mode("copy/sub/deeper/program"), 0755U);
  EXPECT_EQ(folder.mode("copy/empty"), 0711U);
  EXPECT_THAT(questions, IsEmpty());
}

TEST_F(CopyItemTest, FolderHasItsModeAndTimesOnceItsContentIsThere) {
  folder.makeFile("source/locked/file");
  folder.makeFolder("source/locked", 0555);
  setTimes("source/locked", 1'000'000'000, 1'100'000'000);
  setTimes("source", 1'200'000'000, 1'300'000'000);
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  EXPECT_EQ(folder.mode("copy/locked"), 0555U);
  EXPECT_TRUE(folder.has("copy/locked/file"));
  EXPECT_EQ(host::modificationTime(folder.attributes("copy/locked")).tv_sec, 1'100'000'000);
  EXPECT_EQ(host::modificationTime(folder.attributes("copy")).tv_sec, 1'300'000'000);
}

TEST_F(CopyItemTest, SlashAtTheEndMakesNoDifference) {
  makeTree("source");
  for (const char* slashes : {"/", "//"}) {
    const std::string copy = std::string("copy") + std::to_string(std::strlen(slashes));
    EXPECT_EQ(codeOfCopy(std::string("source") + slashes, copy + slashes), 0);
    EXPECT_EQ(snapshot(copy), snapshot("source"));
  }
}

TEST_F(CopyItemTest, TopThatCannotBeCopiedIsAskedOnce) {
  makeTree("source");
  folder.makeFile("file", "text");
  folder.makeFifo("fifo");
  folder.makeFolder("locked", 0555);
  const std::string tooLong(300, 'n');
  const auto expectAsked = [&](int code, const std::string& source, const std::string& target) {
    SCOPED_TRACE(source + " to " + target);
    questions.clear();
    answer = [](int) { return false; };
    EXPECT_EQ(codeOfCopy(source, target), code);
    answer = [](int) { return true; };
    EXPECT_EQ(codeOfCopy(source, target), 0);
    const Question question{code, source, target};
    EXPECT_THAT(questions, ElementsAre(question, question));
  };
  const auto before = snapshot("");
  EXPECT_FALSE(platform::copyItem("/dev/null", folder / "copy"));
  for (const char* source : {"file", "source"}) {
    expectAsked(platform::kNoSuchFileWhileWriting, source, "missing/copy");
    expectAsked(platform::kOtherWritingFailure, source, tooLong);
    asUnprivileged([&] { expectAsked(platform::kNoWritePermission, source, "locked/copy"); });
  }
  expectAsked(platform::kOtherWritingFailure, "file", "file/copy");
  expectAsked(platform::kOtherWritingFailure, "fifo", "copy");
  EXPECT_EQ(snapshot(""), before);
}

TEST_F(CopyItemTest, ExtendedAttributesAreCopied) {
  const std::string value("a\0b", 3);
  folder.makeFile("source/file", "text");
  for (const char* path : {"source", "source/file"}) {
    if (!setAttribute(path, "user.hotfix.note", value)) {
      GTEST_SKIP() << "needs a file system with extended attributes: " << std::strerror(errno);
    }
    ASSERT_TRUE(setAttribute(path, "user.hotfix.empty", ""));
  }
  setMode("source/file", 0444);
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  for (const char* path : {"copy", "copy/file"}) {
    EXPECT_EQ(attributeOf(path, "user.hotfix.note"), value) << path;
    EXPECT_EQ(attributeOf(path, "user.hotfix.empty"), "") << path;
  }
  EXPECT_EQ(folder.mode("copy/file"), 0444U);
}

TEST_F(CopyItemTest, MergeLeavesExistingFoldersTheirOtherExtendedAttributes) {
  answer = allowExistingFiles;
  folder.makeFolder("source");
  folder.makeFolder("target");
  if (!setAttribute("source", "user.hotfix.note", "new")) {
    GTEST_SKIP() << "needs a file system with extended attributes: " << std::strerror(errno);
  }
  ASSERT_TRUE(setAttribute("target", "user.hotfix.note", "older"));
  ASSERT_TRUE(setAttribute("target", "user.hotfix.own", "own"));
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_EQ(attributeOf("target", "user.hotfix.note"), "new");
  EXPECT_EQ(attributeOf("target", "user.hotfix.own"), "own");
}

TEST_F(CopyItemTest, FileCapabilitiesAreCopied) {
  if (!host::kHasFileCapabilities) GTEST_SKIP() << "needs a system whose files can have capabilities";
  folder.makeFile("file", "code", 0755);
  const std::string capability = std::string("\x01\0\0\x02\0\x04", 6) + std::string(14, '\0');  // CAP_NET_BIND_SERVICE
  if (!setAttribute("file", "security.capability", capability)) {
    GTEST_SKIP() << "needs the rights to give a file capabilities: " << std::strerror(errno);
  }
  EXPECT_EQ(codeOfCopy("file", "copy"), 0);
  EXPECT_EQ(attributeOf("copy", "security.capability"), capability);
}

TEST_F(CopyItemTest, OwnerGroupAndSetIdBitsAreKeptForRoot) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  folder.makeFile("source/file", "code");
  folder.makeLink("source/link", "nowhere");
  folder.makeFolder("source/sub");
  for (const char* path : {"source/sub", "source/file", "source/link"}) own(path, other->uid, other->gid);
  setMode("source/file", 06755);
  setMode("source/sub", 03771);
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  for (const char* path : {"copy/sub", "copy/file", "copy/link"}) {
    EXPECT_EQ(folder.attributes(path).st_uid, other->uid) << path;
    EXPECT_EQ(folder.attributes(path).st_gid, other->gid) << path;
  }
  EXPECT_EQ(folder.mode("copy/file"), 06755U);
  EXPECT_EQ(folder.mode("copy/sub"), 03771U);
}

TEST_F(CopyItemTest, SetIdBitsStayInAFolderWhereOthersCanPutFiles) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  folder.makeFile("source/file", "code", 06755);
  const auto copied = [&](const std::string& source, const std::string& file) {
    EXPECT_EQ(codeOfCopy(source, "copy"), 0);
    const mode_t mode = folder.mode(file);
    EXPECT_TRUE(platform::removeItem(folder / "copy"));
    return mode;
  };
  for (const mode_t shared : std::initializer_list<mode_t>{0775U, 0757U, 01777U}) {
    folder.makeFolder("source", shared);
    EXPECT_EQ(copied("source", "copy/file"), 0755U) << shared;
    EXPECT_EQ(copied("source/file", "copy"), 0755U) << shared;
  }
  folder.makeFolder("source", 0755);
  EXPECT_EQ(copied("source/file", "copy"), 06755U);
  own("source", other->uid, 0);
  EXPECT_EQ(copied("source", "copy/file"), 0755U);
  EXPECT_EQ(copied("source/file", "copy"), 0755U);
}

TEST_F(CopyItemTest, GroupIsKeptAndSetIdBitsAreNotWhereTheOwnerCannotBe) {
  if (!isRoot()) GTEST_SKIP() << "needs the rights to leave a file to another owner";
  constexpr gid_t kGroup = 54321;
  folder.makeFile("source/file", "code");
  own("source/file", 0, kGroup);
  setMode("source/file", 06755);
  folder.makeFolder("shared", 0777);
  inChild([&] {
    becomeUnprivileged(&kGroup);
    EXPECT_EQ(codeOfCopy("source/file", "shared/copy"), 0);
    EXPECT_NE(folder.attributes("shared/copy").st_uid, 0U);
    EXPECT_EQ(folder.attributes("shared/copy").st_gid, kGroup);
    EXPECT_EQ(folder.mode("shared/copy"), 0755U);
  });
}

TEST_F(CopyItemTest, LargeFileWithHolesIsCopiedWhole) {
  const std::string path = folder.makeFile("sparse", "begin");
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  constexpr off_t kEnd = off_t{30} << 20;
  EXPECT_EQ(pwrite(file, "middle", 6, kEnd / 2), 6);
  EXPECT_EQ(pwrite(file, "end", 3, kEnd), 3);
  close(file);
  EXPECT_EQ(codeOfCopy("sparse", "copy"), 0);
  EXPECT_TRUE(folder.read("copy") == folder.read("sparse"));
}

TEST_F(CopyItemTest, FileThatHoldsMoreThanItsSizeSaysIsCopiedWhole) {
  if (!platform::exists("/proc/version")) GTEST_SKIP() << "needs files whose size is not known";
  ASSERT_TRUE(platform::copyItem("/proc/version", folder / "copy"));
  EXPECT_EQ(platform::readFile("/proc/version"), folder.read("copy"));
}

TEST_F(CopyItemTest, UnreadableSourceIsAsked) {
  folder.makeFile("unreadable", "text", 0200);
  folder.makeFolder("shared", 0777);
  asUnprivileged([&] {
    EXPECT_NE(codeOfCopy("unreadable", "shared/copy"), 0);
    EXPECT_EQ(questions.size(), 1U);
    EXPECT_FALSE(folder.has("shared/copy"));
  });
}

TEST_F(CopyItemTest, FileThatCannotBeWrittenWholeLeavesNothing) {
  folder.makeFile("source/large", std::string(100'000, 'x'));
  {
    const ScopedLimit limit(RLIMIT_FSIZE, 50'000);
    EXPECT_EQ(codeOfCopy("source", "copy"), platform::kOtherWritingFailure);
  }
  EXPECT_THAT(questions, ElementsAre(Question{platform::kOtherWritingFailure, "source/large", "copy/large"}));
  EXPECT_THAT(folder.names("copy"), IsEmpty());
}

// ----- Something is at the target -----

TEST_F(CopyItemTest, FileOrLinkNeverReplacesAnything) {
  folder.makeFile("source", "new");
  folder.makeLink("sourceLink", "new");
  folder.makeFile("file", "old");
  folder.makeFile("folder/nested", "nested text");
  folder.makeLink("link", "file");
  folder.makeLink("broken", "nowhere");
  folder.makeLink("folderLink", "folder");
  folder.makeFifo("fifo");
  const auto before = snapshot("");
  for (const char* source : {"source", "sourceLink"}) {
    for (const char* target : {"file", "folder", "link", "broken", "folderLink", "fifo", source}) {
      SCOPED_TRACE(std::string(source) + " onto " + target);
      questions.clear();
      answer = [](int) { return false; };
      EXPECT_EQ(codeOfCopy(source, target), platform::kFileExists);
      answer = allowExistingFiles;
      EXPECT_EQ(codeOfCopy(source, target), 0);
      const Question question{platform::kFileExists, source, target};
      EXPECT_THAT(questions, ElementsAre(question, question));
    }
  }
  EXPECT_EQ(snapshot(""), before);
}

TEST_F(CopyItemTest, TemporaryNameThatSomebodyTakesIsNotUsedAgain) {
  if (!host::EntryWatch::kIsAvailable) GTEST_SKIP() << "needs a system that tells what is made";
  const std::map<bool, std::string> kinds = {{true, "new"}, {false, "taken"}};
  for (int number = 0; number < 20; ++number) {
    for (const auto& [isNew, kind] : kinds) {
      const std::string name = kind + std::to_string(number);
      folder.makeFile("source/" + name, "text of " + name);
      if (!isNew) folder.makeFile("target/" + name, "old");
    }
  }
  host::EntryWatch watch;
  ASSERT_TRUE(watch.addNewNames(folder / "target"));
  std::vector<std::string> temporaryNames;
  // At each file that is there already, plants one under the name that the copies before it have used.
  answer = [&](int code) {
    for (const std::string& name : watch.seen()) {
      if (name.find(".tmp.") != 0 || folder.has("target/" + name)) continue;
      folder.makeFile("target/" + name, "planted");
      temporaryNames.push_back(name);
    }
    return code == platform::kFileExists;
  };
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_EQ(questions.size(), 1 + 20U) << "the folder and its files";
  EXPECT_GE(temporaryNames.size(), 2U) << "no other name was used";
  for (const std::string& name : temporaryNames) EXPECT_EQ(folder.read("target/" + name), "planted");
  EXPECT_EQ(folder.names("target").size(), 40 + temporaryNames.size());
  for (int number = 0; number < 20; ++number) {
    const std::string name = "new" + std::to_string(number);
    EXPECT_EQ(folder.read("target/" + name), "text of " + name);
  }
}

TEST_F(CopyItemTest, FolderOntoFolderCopiesNothingWhenThePolicySaysStop) {
  makeTree("source");
  folder.makeFile("target/old", "old");
  const auto before = snapshot("target");
  EXPECT_EQ(codeOfCopy("source", "target"), platform::kFileExists);
  EXPECT_THAT(questions, ElementsAre(Question{platform::kFileExists, "source", "target"}));
  platform::setCopyPolicy(nullptr);
  EXPECT_EQ(codeOfCopy("source", "target"), platform::kFileExists);
  EXPECT_EQ(snapshot("target"), before);
}

TEST_F(CopyItemTest, FolderOntoFolderMergesWhenThePolicyGoesOn) {
  answer = allowExistingFiles;
  folder.makeFile("source/both", "new");
  folder.makeFile("source/only in source", "new");
  folder.makeFile("source/sub/both", "new");
  folder.makeFile("source/sub/only in source", "new");
  folder.makeFile("source/folder in source, file in target/nested", "new");
  folder.makeFile("source/file in source, folder in target", "new");
  folder.makeFile("target/both", "old", 0600);
  folder.makeFile("target/only in target", "old");
  folder.makeFile("target/sub/both", "old");
  folder.makeFile("target/sub/only in target", "old");
  folder.makeFile("target/file in source, folder in target/nested", "old");
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_EQ(snapshot("target"), (std::map<std::string, std::string>{
                                    {"both", "file: old"},
                                    {"only in source", "file: new"},
                                    {"only in target", "file: old"},
                                    {"sub", "folder"},
                                    {"sub/both", "file: old"},
                                    {"sub/only in source", "file: new"},
                                    {"sub/only in target", "file: old"},
                                    {"folder in source, file in target", "folder"},
                                    {"folder in source, file in target/nested", "file: new"},
                                    {"file in source, folder in target", "folder"},
                                    {"file in source, folder in target/nested", "file: old"},
                                }));
  EXPECT_EQ(folder.mode("target/both"), 0600U);
  EXPECT_THAT(questions,
              UnorderedElementsAre(
                  Question{516, "source", "target"}, Question{516, "source/both", "target/both"},
                  Question{516, "source/sub", "target/sub"}, Question{516, "source/sub/both", "target/sub/both"},
                  Question{516, "source/file in source, folder in target", "target/file in source, folder in target"}));
  EXPECT_EQ(questions.front(), (Question{516, "source", "target"}));
}

TEST_F(CopyItemTest, MergeGivesExistingFoldersTheModeAndTimesOfTheSource) {
  answer = allowExistingFiles;
  folder.makeFile("source/sub/file");
  folder.makeFolder("source", 0711);
  folder.makeFolder("source/sub", 0701);
  folder.makeFolder("target/sub", 0777);
  folder.makeFolder("target", 0770);
  setTimes("source/sub", 1'000'000'000, 1'100'000'000);
  setTimes("source", 1'000'000'000, 1'200'000'000);
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_EQ(folder.mode("target"), 0711U);
  EXPECT_EQ(folder.mode("target/sub"), 0701U);
  EXPECT_EQ(host::modificationTime(folder.attributes("target")).tv_sec, 1'200'000'000);
  EXPECT_EQ(host::modificationTime(folder.attributes("target/sub")).tv_sec, 1'100'000'000);
}

TEST_F(CopyItemTest, FolderOntoItselfChangesNothing) {
  answer = allowExistingFiles;
  makeTree("source");
  const auto before = snapshot("");
  EXPECT_EQ(codeOfCopy("source", "source"), 0);
  EXPECT_EQ(snapshot(""), before);
}

TEST_F(CopyItemTest, FolderIntoItselfEnds) {
  answer = allowExistingFiles;
  makeTree("source");
  const auto before = snapshot("source");
  EXPECT_EQ(codeOfCopy("source", "source/sub/copy"), 0);
  auto copied = snapshot("source/sub/copy");
  copied.erase("sub/copy");  // the copy may hold itself, empty
  EXPECT_EQ(copied, before);
}

TEST_F(CopyItemTest, FolderOntoFileStopsAtTheFirstItemBelow) {
  for (const bool isEmpty : {true, false}) {
    questions.clear();
    answer = allowExistingFiles;
    folder.makeFolder("source");
    if (!isEmpty) folder.makeFile("source/nested");
    folder.makeFile("file", "old");
    EXPECT_EQ(codeOfCopy("source", "file"), platform::kOtherWritingFailure);
    ASSERT_EQ(questions.size(), 2U);
    EXPECT_EQ(questions[0], (Question{platform::kFileExists, "source", "file"}));
    EXPECT_EQ(questions[1].code, platform::kOtherWritingFailure);
    EXPECT_EQ(folder.read("file"), "old");

    answer = [](int) { return true; };
    EXPECT_EQ(codeOfCopy("source", "file"), 0);
    EXPECT_EQ(folder.read("file"), "old");
  }
}

TEST_F(CopyItemTest, FolderOntoALinkToAFolderMergesThere) {
  answer = allowExistingFiles;
  makeTree("source");
  folder.makeFile("elsewhere/old", "old");
  folder.makeLink("target", "elsewhere");
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_EQ(snapshot("").at("target"), "link: elsewhere");
  auto expected = snapshot("source");
  expected["old"] = "file: old";
  EXPECT_EQ(snapshot("elsewhere"), expected);
}

TEST_F(CopyItemTest, MergeNeverLeavesTheTargetThroughALinkInIt) {
  answer = allowExistingFiles;
  makeTree("source");
  folder.makeFile("elsewhere/old", "old");
  folder.makeLink("target/sub", folder / "elsewhere");
  EXPECT_EQ(codeOfCopy("source", "target"), platform::kOtherWritingFailure);
  EXPECT_EQ(questions.back().code, platform::kOtherWritingFailure);
  answer = [](int) { return true; };
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  EXPECT_THAT(folder.names("elsewhere"), ElementsAre("old"));
  EXPECT_EQ(snapshot("target").at("empty"), "folder");
}

// ----- The policy -----

TEST_F(CopyItemTest, CopyGoesOnPastAFailedItemAndStillSucceeds) {
  makeTree("source");
  folder.makeFifo("source/sub/fifo");
  answer = [](int) { return true; };
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  EXPECT_THAT(questions, ElementsAre(Question{platform::kOtherWritingFailure, "source/sub/fifo", "copy/sub/fifo"}));
  auto expected = snapshot("source");
  expected.erase("sub/fifo");
  EXPECT_EQ(snapshot("copy"), expected);
}

TEST_F(CopyItemTest, FoldersThatAStoppedCopyMadeStayWithTheModeAndTimesOfTheSource) {
  answer = allowExistingFiles;
  folder.makeFifo("source/there/new/fifo");
  folder.makeFolder("source/there/new", 0751);
  folder.makeFolder("source/there", 0711);
  folder.makeFolder("target/there", 0700);
  setTimes("source/there/new", 1'000'000'000, 1'100'000'000);
  EXPECT_EQ(codeOfCopy("source", "target"), platform::kOtherWritingFailure);
  EXPECT_EQ(folder.mode("target/there/new"), 0751U);
  EXPECT_EQ(host::modificationTime(folder.attributes("target/there/new")).tv_sec, 1'100'000'000);
  EXPECT_EQ(folder.mode("target/there"), 0700U) << "it was there before";
}

TEST_F(CopyItemTest, PolicyIsThatOfTheWholeProcess) {
  folder.makeFile("source", "new");
  folder.makeFile("target", "old");
  answer = allowExistingFiles;
  std::thread([&] { EXPECT_EQ(codeOfCopy("source", "target"), 0); }).join();
  std::thread([&] { platform::setCopyPolicy(nullptr); }).join();
  EXPECT_EQ(codeOfCopy("source", "target"), platform::kFileExists);
}

TEST_F(CopyItemTest, FailuresAreAskedInTheOrderOfTheWalk) {
  answer = allowExistingFiles;
  makeTree("source");
  makeTree("target");
  EXPECT_EQ(codeOfCopy("source", "target"), 0);
  std::vector<std::string> expected;
  const std::function<void(const std::string&)> walk = [&](const std::string& path) {
    expected.push_back(path);
    struct stat status;
    if (lstat((folder / path).c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
    const auto names = platform::namesInFolder(folder / path);
    ASSERT_TRUE(names);
    for (const std::string& name : *names) walk(path + "/" + name);
  };
  walk("source");
  std::vector<std::string> asked;
  for (const Question& question : questions) asked.push_back(question.source);
  EXPECT_EQ(asked, expected);
}

TEST_F(CopyItemTest, SourceThatVanishesIsAskedItemByItem) {
  for (const char* name : {"a", "b", "c", "d"}) folder.makeFifo(std::string("source/") + name);
  answer = [&](int) {
    for (const char* name : {"a", "b", "c", "d"}) unlink((folder / (std::string("source/") + name)).c_str());
    return true;
  };
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  ASSERT_EQ(questions.size(), 4U);
  EXPECT_EQ(questions[0].code, platform::kOtherWritingFailure);
  for (size_t i = 1; i < questions.size(); ++i) EXPECT_EQ(questions[i].code, platform::kNoSuchFileWhileReading);
  EXPECT_THAT(folder.names("copy"), IsEmpty());
}

TEST_F(CopyItemTest, TargetThatVanishesIsAskedItemByItem) {
  folder.makeFifo("source/fifo");
  folder.makeFile("source/sub/file", "text");
  answer = [&](int) {
    platform::removeItem(folder / "copy");
    return true;
  };
  const auto before = snapshot("source");
  EXPECT_EQ(codeOfCopy("source", "copy"), 0);
  EXPECT_GE(questions.size(), 1U);
  EXPECT_FALSE(folder.has("copy"));
  EXPECT_EQ(snapshot("source"), before);
}

}  // namespace

}  // namespace hotfix
