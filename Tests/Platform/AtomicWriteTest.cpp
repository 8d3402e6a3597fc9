#include "Platform/FileManager.h"
#include "Tests/Platform/PlatformTest.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

std::function<void(int descriptor)> beforeSync;

/// Takes the place of the C library's own for this program, so that a test can tell when what was synced.
extern "C" int fsync(int descriptor) {
  if (beforeSync) beforeSync(descriptor);
  return host::sync(descriptor);
}

namespace {

using platform::writeFileAtomically;

class AtomicWriteTest : public PlatformTest {
 protected:
  AtomicWriteTest() { folder.makeFolder("here"); }
  ~AtomicWriteTest() override { beforeSync = nullptr; }

  bool write(const std::string& relativePath, const std::string& contents) const {
    return writeFileAtomically(folder / relativePath, contents);
  }
};

TEST_F(AtomicWriteTest, NewFileHasTheBytesAndTheDefaultMode) {
  const ScopedUmask mask(027);
  const std::string bytes = std::string("a\0b\r\n", 5) + std::string(300'000, '\xff');
  EXPECT_TRUE(write("here/file", bytes));
  EXPECT_TRUE(folder.read("here/file") == bytes);
  EXPECT_EQ(folder.mode("here/file"), 0640U);
  EXPECT_TRUE(write("here/empty", ""));
  EXPECT_EQ(folder.read("here/empty"), "");
  EXPECT_THAT(folder.names("here"), ElementsAre("empty", "file"));
}

TEST_F(AtomicWriteTest, FileKeepsItsOwnersAndMode) {
  for (const mode_t mode : std::initializer_list<mode_t>{0600U, 0444U, 0775U, 0U, 06755U}) {
    folder.makeFile("here/file", "old");
    if (isRoot()) own("here/file", 12345, 23456);
    setMode("here/file", mode);
    const struct stat before = folder.attributes("here/file");
    EXPECT_TRUE(write("here/file", "new"));
    const struct stat after = folder.attributes("here/file");
    EXPECT_EQ(folder.mode("here/file"), mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    setMode("here/file", 0600);
    EXPECT_EQ(folder.read("here/file"), "new");
  }
}

TEST_F(AtomicWriteTest, OwnerThatCannotBeKeptIsNoFailure) {
  if (!isRoot()) GTEST_SKIP() << "needs the rights to leave a file to another owner";
  constexpr gid_t kGroup = 54321;
  folder.makeFolder("shared", 0777);
  folder.makeFile("shared/file", "old");
  own("shared/file", 12345, kGroup);
  setMode("shared/file", 06644);
  inChild([&] {
    becomeUnprivileged(&kGroup);
    EXPECT_TRUE(write("shared/file", "new"));
  });
  EXPECT_EQ(folder.read("shared/file"), "new");
  EXPECT_EQ(folder.attributes("shared/file").st_uid, 65534U);
  EXPECT_EQ(folder.attributes("shared/file").st_gid, kGroup);
  EXPECT_EQ(folder.mode("shared/file"), 0644U) << "set-id bits were the old owner's";
}

TEST_F(AtomicWriteTest, FileIsReplacedAndNotChanged) {
  folder.makeFile("here/file", "old");
  linkTo("here/file", "other name");
  const int reader = open((folder / "here/file").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_TRUE(write("here/file", "new"));
  char text[8] = {};
  EXPECT_EQ(read(reader, text, sizeof text), 3);
  EXPECT_STREQ(text, "old");
  close(reader);
  EXPECT_EQ(folder.read("other name"), "old");
  EXPECT_EQ(folder.read("here/file"), "new");
}

TEST_F(AtomicWriteTest, LinkIsReplacedByAFileWithTheAttributesOfItsTarget) {
  folder.makeFile("target", "old", 0604);
  if (isRoot()) own("target", 12345, 23456);
  folder.makeLink("here/link", "../target");
  EXPECT_TRUE(write("here/link", "new"));
  const struct stat status = folder.attributes("here/link");
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_mode & 07777U, 0604U);
  EXPECT_EQ(status.st_uid, folder.attributes("target").st_uid);
  EXPECT_EQ(status.st_gid, folder.attributes("target").st_gid);
  EXPECT_EQ(folder.read("here/link"), "new");
  EXPECT_EQ(folder.read("target"), "old");
}

TEST_F(AtomicWriteTest, BrokenLinkAndFifoAreReplacedByANewFile) {
  const ScopedUmask mask(022);
  folder.makeLink("here/link", "nowhere");
  EXPECT_TRUE(write("here/link", "new"));
  EXPECT_TRUE(S_ISREG(folder.attributes("here/link").st_mode));
  EXPECT_EQ(folder.mode("here/link"), 0644U);
  folder.makeFifo("here/fifo");
  EXPECT_TRUE(write("here/fifo", "new"));
  EXPECT_EQ(folder.read("here/fifo"), "new");
  EXPECT_THAT(folder.names("here"), ElementsAre("fifo", "link"));
}

TEST_F(AtomicWriteTest, FileIsWrittenThroughALinkInTheMiddleOfItsPath) {
  folder.makeLink("link", "here");
  EXPECT_TRUE(write("link/file", "new"));
  EXPECT_EQ(folder.read("here/file"), "new");
  EXPECT_EQ(treeSnapshot(folder.path()).at("link"), "link: here");
}

TEST_F(AtomicWriteTest, FailureLeavesEverythingAsItWas) {
  folder.makeFile("here/folder/nested", "text");
  folder.makeFile("here/file", "text");
  folder.makeFolder("here/empty");
  const auto before = treeSnapshot(folder.path());
  for (const char* path : {"here/folder", "here/empty", "here/file/below", "missing/file"}) {
    EXPECT_FALSE(write(path, "new")) << path;
    EXPECT_FALSE(platform::writeTrustedFile(folder / path, "new")) << path;
    EXPECT_EQ(treeSnapshot(folder.path()), before) << path;
  }
  EXPECT_FALSE(writeFileAtomically("", "new"));
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AtomicWriteTest, ReadOnlyFolderIsAFailure) {
  folder.makeFile("locked/file", "old");
  folder.makeFolder("locked", 0555);
  asUnprivileged([&] {
    EXPECT_FALSE(write("locked/file", "new"));
    EXPECT_FALSE(write("locked/other", "new"));
    EXPECT_THAT(folder.names("locked"), ElementsAre("file"));
  });
  EXPECT_EQ(folder.read("locked/file"), "old");
}

TEST_F(AtomicWriteTest, TooLargeAFileLeavesTheOldOneAndNoTemporaryFile) {
  folder.makeFile("here/file", "old");
  {
    const ScopedLimit limit(RLIMIT_FSIZE, 5000);
    EXPECT_FALSE(write("here/file", std::string(100'000, 'x')));
    EXPECT_FALSE(write("here/other", std::string(100'000, 'x')));
  }
  EXPECT_THAT(folder.names("here"), ElementsAre("file"));
  EXPECT_EQ(folder.read("here/file"), "old");
}

TEST_F(AtomicWriteTest, FullVolumeLeavesTheOldFileAndNoTemporaryFile) {
  inChild([&] {
    if (!host::mountSmallVolume(folder / "here")) return;
    folder.makeFolder("mounted");
    folder.makeFile("here/file", "old");
    EXPECT_FALSE(write("here/file", std::string(1'000'000, 'x')));
    EXPECT_EQ(folder.read("here/file"), "old");
    EXPECT_THAT(folder.names("here"), ElementsAre("file"));
    EXPECT_TRUE(write("here/file", "new"));
    EXPECT_EQ(folder.read("here/file"), "new");
  });
  if (!folder.has("mounted")) GTEST_SKIP() << "needs the rights to mount a volume";
}

TEST_F(AtomicWriteTest, BytesAreOnTheDiskBeforeTheNameAndTheNameBeforeTheReturn) {
  folder.makeFile("here/file", "old");
  std::vector<std::string> events;
  beforeSync = [&](int descriptor) {
    struct stat status = {};
    ASSERT_EQ(fstat(descriptor, &status), 0);
    const bool isFolder = S_ISDIR(status.st_mode);
    EXPECT_TRUE(isFolder ? status.st_ino == folder.attributes("here").st_ino : status.st_size == 3);
    events.push_back(std::string(isFolder ? "folder" : "file") + " while " + folder.read("here/file"));
  };
  EXPECT_TRUE(write("here/file", "new"));
  EXPECT_THAT(events, ElementsAre("file while old", "folder while new"));
}

TEST_F(AtomicWriteTest, NewContentsOfASecretFileAreNeverOpenToOthers) {
  const ScopedUmask mask(0);
  folder.makeFile("here/secret", "old", 0600);
  std::atomic<bool> stopped{false};
  std::atomic<int> seen{0};
  std::atomic<int> open{0};
  std::thread onlooker([&] {
    while (!stopped) {
      for (const std::string& name : folder.names("here")) {
        struct stat status = {};
        if (name == "secret" || lstat((folder / ("here/" + name)).c_str(), &status) != 0) continue;
        ++seen;
        if ((status.st_mode & 077U) != 0) ++open;
      }
    }
  });
  const std::string large(1'000'000, 'x');
  while (seen < 20 && open == 0 && write("here/secret", large)) continue;
  stopped = true;
  onlooker.join();
  EXPECT_EQ(open, 0);
  EXPECT_GE(seen, 1);
}

TEST_F(AtomicWriteTest, TemporaryFilesHaveNamesThatCannotBeForeseen) {
  std::vector<std::string> names;
  beforeSync = [&](int) {
    for (const std::string& name : folder.names("here")) {
      if (name != "file") names.push_back(name);
    }
  };
  EXPECT_TRUE(write("here/file", "first"));
  EXPECT_TRUE(write("here/file", "second"));
  ASSERT_EQ(names.size(), 2U);
  EXPECT_NE(names[0], names[1]);
}

TEST_F(AtomicWriteTest, ReadersAndWritersAtTheSameTimeSeeWholeFilesOnly) {
  constexpr int kWriters = 3;
  constexpr size_t kSize = 20'000;
  std::atomic<int> running{kWriters};
  std::atomic<int> failures{0};
  std::vector<std::thread> writers;
  folder.makeFile("here/file", std::string(kSize, 'a'));
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.emplace_back([&, writer] {
      for (int i = 0; i < 60; ++i) {
        if (!write("here/file", std::string(kSize, static_cast<char>('a' + writer)))) ++failures;
      }
      --running;
    });
  }
  while (running > 0) {
    const std::string contents = platform::readFile(folder / "here/file").value_or("");
    EXPECT_EQ(contents.size(), kSize);
    EXPECT_EQ(contents.find_first_not_of(contents[0]), std::string::npos);
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(failures, 0);
  EXPECT_THAT(folder.names("here"), ElementsAre("file"));
}

// ----- writeTrustedFile -----

TEST_F(AtomicWriteTest, NewTrustedFileIsNotOpenToEverybodyAndKeepsItsMode) {
  const ScopedUmask mask(0);
  EXPECT_TRUE(platform::writeTrustedFile(folder / "here/file", "first"));
  EXPECT_EQ(folder.mode("here/file"), 0664U);
  setMode("here/file", 0600);
  EXPECT_TRUE(platform::writeTrustedFile(folder / "here/file", "new"));
  EXPECT_EQ(folder.mode("here/file"), 0600U);
  EXPECT_EQ(folder.read("here/file"), "new");
}

TEST_F(AtomicWriteTest, NothingIsTakenOverFromAFileThatIsNotTrusted) {
  const ScopedUmask mask(022);
  folder.makeFile("other", "old", 0600);
  folder.makeFile("here/open", "old", 0602);
  folder.makeLink("here/link", "../other");
  folder.makeFifo("here/fifo");
  folder.makeFile("here/first name", "old", 0600);
  linkTo("here/first name", "here/second name");
  for (const char* name : {"open", "link", "fifo", "second name"}) {
    SCOPED_TRACE(name);
    const std::string file = std::string("here/") + name;
    EXPECT_TRUE(platform::writeTrustedFile(folder / file, "new"));
    EXPECT_TRUE(S_ISREG(folder.attributes(file).st_mode));
    EXPECT_EQ(folder.mode(file), 0644U);
    EXPECT_EQ(folder.read(file), "new");
  }
  for (const char* file : {"other", "here/first name"}) {
    EXPECT_EQ(folder.read(file), "old");
    EXPECT_EQ(folder.mode(file), 0600U);
  }
}

}  // namespace

}  // namespace hotfix
