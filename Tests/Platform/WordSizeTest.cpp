// What could differ between a build of 64 bits and one of 32, and which tests name it: they pass in both.
//
// Place                                  | What could differ                | Tests
// ---------------------------------------|----------------------------------|----------------------------------------
// stat, fstat, lstat, fstatat            | size past 2 GiB: an error        | ExtremeFileTest
//                                        | time past 2038: an error         | ExtremeFileTest, ...OfAnotherAge...,
//                                        |                                  | TimesBefore1902AreKept
// FileManager: writeFileAtomically       | what it replaces passes for new  | ExtremeFileTest
// FileManager: contentsOf                | size cut to 32 bits              | ExtremeFileTest
// EntryChanges: copyData                 | offset past 2 GiB: an error      | LargeFileIsCopied
// SystemLog: openTraceFile               | size, and offset from then on    | ExtremeFileTest,
//                                        |                                  | TraceOfLargeSizeIsAppendedTo
// Descriptors: writeAll                  | offset past 4 GiB                | LineIsPrintedBehindFourGibibytes
// Descriptors: namesIn; FolderWalk       | place in a folder cut to 32 bits | FileManagerTest: LargeFolderIs...
// readdir, stat; CopyItem: isTarget      | node cut to 32 bits              | NodesAboveThirtyTwoBitsAre...
// chown, stat; UserIdentity: SUDO_UID    | id: 16 bits, or with a sign      | LargeOwnerAndGroupAreSeenAndKept
// EntryChanges: futimens, utimensat      | time: 1901 to 2038               | CopyKeepsFarTimes, TimesBefore1902...
// LocalTime: time, localtime_r           | time: until 2038                 | SystemTimeGoesPast2038
// InstallUtil, SystemLog: a time as text | nothing but what LocalTime has   | TraceLineAfter2038IsOfThatTime
// Property lists: readers and writer     | integer as a long                | their own tests of integers
// Property lists: readers and writer     | date as a time_t                 | their own tests of dates
// UserDefaults: booleanValue             | integer cut to 32 bits           | BooleanValueTest: OtherValues
// BinaryPropertyListReader               | number cut, or product wrapped   | its own tests of numbers that wrap
// TextNumber, the result of a run        | number as a long: other limits   | NumberIsClampedToThirtyTwoBits
//
// Of no test: a document of more than 2 GiB handed to libxml2, whose lengths are int. No text is that long in 32 bits,
// and no file of more than 1 GiB is read in either.

#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include <climits>
#include <cstdint>
#include <ctime>
#include <ostream>

#include "Platform/FileManager.h"
#include "Platform/ProcessList.h"
#include "Platform/PropertyList.h"
#include "Platform/StandardStreams.h"
#include "Support/TextNumber.h"
#include "Tests/Platform/PlatformTest.h"

namespace hotfix {

namespace {

bool passesHoles = false;  // whether a copy of file data leaves out what is not there

/// Copies like copy_file_range(2), between the descriptors' positions, but passes a hole as one. The system's own
/// writes the hole as data on most file systems.
ssize_t copyPassingHoles(int from, int to, size_t length) {
  constexpr off_t kPiece = 4096;
  struct stat status = {};
  const off_t start = lseek(from, 0, SEEK_CUR);
  if (start < 0 || fstat(from, &status) != 0) return -1;
  off_t end = std::min<off_t>(status.st_size, start + static_cast<off_t>(length));
  if (start >= end) return 0;
  const off_t data = lseek(from, start, SEEK_DATA);  // -1: there is only a hole
  char piece[kPiece];
  if (data == start) {
    end = std::min(end, start + kPiece);
    const auto size = static_cast<size_t>(end - start);
    if (pread(from, piece, size, start) != end - start || write(to, piece, size) != end - start) return -1;
  } else {
    if (data > start) end = std::min(end, data);
    const off_t target = lseek(to, end - start, SEEK_CUR);
    if (target < 0 || ftruncate(to, target) != 0) return -1;
  }
  if (lseek(from, end, SEEK_SET) != end) return -1;
  return static_cast<ssize_t>(end - start);
}

}  // namespace

/// Takes the place of the C library's own for this program, so that a test can copy a file of gigabytes in no time.
extern "C" ssize_t copy_file_range(int from, off64_t* fromAt, int to, off64_t* toAt, size_t length, unsigned flags) {
  if (passesHoles) return copyPassingHoles(from, to, length);
  return static_cast<ssize_t>(syscall(SYS_copy_file_range, from, fromAt, to, toAt, length, flags));
}

namespace {

using platform::LogLevel;

constexpr off_t kTwoGibibytes = off_t{1} << 31;
constexpr off_t kFourGibibytes = off_t{1} << 32;
constexpr off_t kLargeSizes[] = {kTwoGibibytes, kFourGibibytes + 10, 2 * kFourGibibytes - 1, (off_t{1} << 40) + 10};

/// Seconds since 1970 at the start of a year.
constexpr std::int64_t k1890 = -2'524'521'600;
constexpr std::int64_t k2040 = 2'208'988'800;
constexpr std::int64_t k2100 = 4'102'444'800;
constexpr std::int64_t kFarTimes[] = {k1890, k2040, k2100};

bool allowExistingFiles(const platform::FileError& error, const std::string&, const std::string&) {
  return error.code == platform::kFileExists;
}

/// Removes a tree without looking at what it holds: a build that cannot hold the time, size or node of an entry could
/// not tell what it is, and would leave it behind.
void removeUnseen(const std::string& path) {
  if (unlink(path.c_str()) == 0) return;
  DIR* stream = opendir(path.c_str());
  if (stream == nullptr) return;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") removeUnseen(path + "/" + name);
  }
  closedir(stream);
  rmdir(path.c_str());
}

/// What the system has about an entry, a link not followed, in types that do not depend on the word size.
struct statx status(const std::string& path) {
  struct statx result = {};
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &result) != 0) {
    ADD_FAILURE() << "statx " << path << ": " << std::strerror(errno);
  }
  return result;
}

/// Gives an entry, a link not followed, a time. \return whether it can have it: not all file systems hold all times.
bool setTime(const std::string& path, std::int64_t seconds) {
  // The system's own form, as the C library's has the word size's.
  struct {
    std::int64_t seconds;
    std::int64_t nanoseconds;
  } const times[] = {{seconds, 123456789}, {seconds, 123456789}};
#ifdef SYS_utimensat_time64
  constexpr long kCall = SYS_utimensat_time64;
#else
  constexpr long kCall = SYS_utimensat;
#endif
  EXPECT_EQ(syscall(kCall, AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  return status(path).stx_mtime.tv_sec == seconds;
}

class WordSizeTest : public PlatformTest {
 protected:
  ~WordSizeTest() override {
    passesHoles = false;
    platform::setCopyPolicy(nullptr);
    for (const std::string& name : folder.names()) removeUnseen(folder / name);
  }

  /// The bytes of a file from \a place on, at most a few.
  std::string bytesAt(const std::string& relativePath, off_t place) const {
    char text[512] = {};
    const int file = open((folder / relativePath).c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = pread(file, text, sizeof text, place);
    close(file);
    return std::string(text, count > 0 ? static_cast<size_t>(count) : 0);
  }
};

// ----- Files whose size or time does not fit into 32 bits -----

struct Extreme {
  const char* name;
  off_t size = 0;         ///< 0 for a small file
  std::int64_t time = 0;  ///< 0 for the time of the test
};
std::ostream& operator<<(std::ostream& stream, const Extreme& extreme) { return stream << extreme.name; }

class ExtremeFileTest : public WordSizeTest, public ::testing::WithParamInterface<Extreme> {
 protected:
  void SetUp() override {
    if (!setTime(folder.makeFile("probe"), time)) GTEST_SKIP() << "needs a file system that can hold this time";
    unlinkFile("probe");
  }

  /// A file of the size in a folder "tree". Both have the time.
  std::string makeExtremeFile(mode_t mode = 0644) const {
    std::string path = folder.makeFile("tree/file", "{ a = b; }", mode);
    if (isLarge) setSize("tree/file", GetParam().size);
    EXPECT_TRUE(setTime(path, time) && setTime(folder / "tree", time));
    return path;
  }

  const bool isLarge = GetParam().size != 0;
  const std::int64_t time = GetParam().time != 0 ? GetParam().time : std::time(nullptr);
};

// The second and the last size are small in their lower 32 bits.
INSTANTIATE_TEST_SUITE_P(Extremes, ExtremeFileTest,
                         ::testing::Values(Extreme{"TwoGibibytes", kLargeSizes[0]},
                                           Extreme{"MoreThanFourGibibytes", kLargeSizes[1]},
                                           Extreme{"LessThanEightGibibytes", kLargeSizes[2]},
                                           Extreme{"MoreThanATebibyte", kLargeSizes[3]}, Extreme{"Of1890", 0, k1890},
                                           Extreme{"Of2040", 0, k2040}, Extreme{"Of2100", 0, k2100}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(ExtremeFileTest, Exists) {
  const std::string file = makeExtremeFile();
  const std::string link = folder.makeLink("link", "tree/file");
  EXPECT_TRUE(setTime(link, time));
  for (const std::string& path : {file, link, folder / "tree"}) EXPECT_TRUE(platform::exists(path)) << path;
  EXPECT_TRUE(platform::isFolder(folder / "tree"));
  EXPECT_FALSE(platform::isFolder(file));
  EXPECT_EQ(platform::resolvedPath(link), file);
  bool isDistrusted = true;
  EXPECT_TRUE(setTime(folder.makeFolder("empty"), time));
  EXPECT_TRUE(platform::copyTrustedFolder(folder / "empty", folder / "copied", &isDistrusted));
  EXPECT_FALSE(isDistrusted);
}

TEST_P(ExtremeFileTest, IsReadUnlessItIsLarge) {
  const std::string path = makeExtremeFile();
  bool isDistrusted = true;
  EXPECT_EQ(platform::readFile(path), isLarge ? OptionalString() : "{ a = b; }");
  EXPECT_EQ(platform::readTrustedFile(path, &isDistrusted), isLarge ? OptionalString() : "{ a = b; }");
  EXPECT_FALSE(isDistrusted);
  EXPECT_EQ(platform::readDictionary(path).has_value(), !isLarge);
}

TEST_P(ExtremeFileTest, IsReplacedAndItsModeKept) {
  const std::string path = makeExtremeFile(0640);
  EXPECT_TRUE(platform::writeFileAtomically(path, "new"));
  EXPECT_EQ(status(path).stx_mode & 07777U, 0640U);
  EXPECT_EQ(folder.read("tree/file"), "new");
  EXPECT_THAT(folder.names("tree"), ElementsAre("file"));
}

TEST_P(ExtremeFileTest, GetsItsAttributes) {
  const std::string path = makeExtremeFile(0600);
  EXPECT_TRUE(platform::setAttributesBelow(folder.path(), modeOnly(0770)));
  EXPECT_EQ(status(path).stx_mode & 07777U, 0770U);
  EXPECT_EQ(status(folder / "tree").stx_mode & 07777U, 0770U);
  EXPECT_EQ(status(path).stx_mtime.tv_sec, time);
  EXPECT_TRUE(platform::setAttributes(path, modeOnly(0775)));
  EXPECT_EQ(status(path).stx_mode & 07777U, 0775U);
}

TEST_P(ExtremeFileTest, IsRemoved) {
  EXPECT_TRUE(platform::removeItem(makeExtremeFile()));
  makeExtremeFile();
  EXPECT_TRUE(platform::removeItem(folder / "tree"));
  EXPECT_THAT(folder.names(), ElementsAre("outside"));
}

TEST_P(ExtremeFileTest, IsEmptiedAsATrace) {
  const std::string path = makeExtremeFile();
  const auto node = status(path).stx_ino;
  const int held = open(path.c_str(), O_RDONLY | O_CLOEXEC);  // else a new file may get the node of the old one
  const int file = platform::openTraceFile(path);
  EXPECT_GE(file, 0);
  close(file);
  close(held);
  EXPECT_EQ(status(path).stx_size, 0U);
  EXPECT_EQ(status(path).stx_ino, node) << "made anew";
}

// ----- Sizes and offsets -----

TEST_F(WordSizeTest, LargeFileIsCopied) {
  constexpr off_t kPlace = kFourGibibytes + 8192;
  const std::string path = folder.makeFile("large", "{ a = b; }");
  setSize("large", kPlace);
  const int file = open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC);
  ASSERT_EQ(write(file, "end", 3), 3);
  const off_t data = lseek(file, kTwoGibibytes, SEEK_DATA);
  close(file);
  if (data != kPlace / 4096 * 4096) GTEST_SKIP() << "needs a file system that tells where a file has holes";
  passesHoles = true;
  EXPECT_TRUE(platform::copyItem(path, folder / "copy"));
  EXPECT_EQ(folder.attributes("copy").st_size, kPlace + 3);
  EXPECT_EQ(bytesAt("copy", 0).substr(0, 10), "{ a = b; }");
  EXPECT_EQ(bytesAt("copy", kPlace), "end");
}

TEST_F(WordSizeTest, TraceOfLargeSizeIsAppendedTo) {
  folder.makeFile("emptied", "old");
  for (const char* name : {"emptied", "new"}) {
    const int file = platform::openTraceFile(folder / name);
    platform::addLogFile(file);
    for (const off_t size : kLargeSizes) {
      ASSERT_EQ(ftruncate(file, size), 0);
      platform::log(LogLevel::Info, "here");
      EXPECT_THAT(bytesAt(name, size), HasSubstr(" <Info>: here\n")) << size;
    }
    platform::removeLogFile(file);
    close(file);
  }
}

TEST_F(WordSizeTest, LineIsPrintedBehindFourGibibytes) {
  folder.makeFile("output");
  setSize("output", kFourGibibytes);
  const int file = open((folder / "output").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  {
    const ScopedRedirection output(STDOUT_FILENO, file);
    platform::printLine("here");
  }
  close(file);
  EXPECT_EQ(bytesAt("output", kFourGibibytes), "here\n");
}

// ----- Nodes, owners and groups -----

TEST_F(WordSizeTest, NodesAboveThirtyTwoBitsAreCopiedChangedAndRemoved) {
  // An overlay puts the number of the file system that an entry comes from into the highest bits of its node.
  const auto make = [](const std::string& path) { return mkdir(path.c_str(), 0755) == 0; };
  const std::string top = folder.makeFolder("top");
  inChild([&] {
    if (!host::giveOwnMounts()) return;
    const std::string lower = top + "/lower";
    const std::string upper = top + "/upper";
    const std::string merged = top + "/merged";
    ASSERT_TRUE(make(lower) && make(upper) && make(merged));
    if (mount("none", lower.c_str(), "tmpfs", 0, "") != 0 || mount("none", upper.c_str(), "tmpfs", 0, "") != 0 ||
        !make(lower + "/targets") || !make(upper + "/files") || !make(upper + "/work")) {
      return;
    }
    constexpr int kCount = 64;
    for (int index = 0; index < kCount; ++index) make(lower + "/targets/" + std::to_string(index));
    const std::string options =
        "xino=on,lowerdir=" + lower + ",upperdir=" + upper + "/files,workdir=" + upper + "/work";
    if (mount("none", merged.c_str(), "overlay", 0, options.c_str()) != 0) return;
    const auto sourceFile = [](int index) { return "top/merged/source/" + std::to_string(index) + "/file"; };
    for (int index = 0; index < kCount; ++index) folder.makeFile(sourceFile(index));

    // Two folders that only the upper half of the node tells apart: one to copy, and one to copy into.
    std::string target;
    for (int index = 0; index < kCount * kCount && target.empty(); ++index) {
      const auto one = status(merged + "/source/" + std::to_string(index / kCount)).stx_ino;
      const std::string path = merged + "/targets/" + std::to_string(index % kCount);
      const auto other = status(path).stx_ino;
      if (other >> 32 != one >> 32 && static_cast<std::uint32_t>(one) == static_cast<std::uint32_t>(other)) {
        target = path;
      }
    }
    if (target.empty()) return;
    folder.makeFolder("tried");

    EXPECT_TRUE(platform::exists(target) && platform::isFolder(target));
    platform::setCopyPolicy(allowExistingFiles);
    EXPECT_TRUE(platform::copyItem(merged + "/source", target));
    for (int index = 0; index < kCount; ++index) {
      EXPECT_TRUE(platform::exists(target + "/" + std::to_string(index) + "/file")) << index;
    }
    EXPECT_TRUE(platform::setAttributesBelow(merged, modeOnly(0775)));
    EXPECT_EQ(status(target).stx_mode & 07777U, 0775U);
    EXPECT_TRUE(platform::removeItem(merged + "/targets"));
    EXPECT_FALSE(platform::exists(target));
  });
  if (!folder.has("tried")) GTEST_SKIP() << "needs the rights to mount an overlay, of file systems with small nodes";
}

TEST_F(WordSizeTest, LargeOwnerAndGroupAreSeenAndKept) {
  if (!isRoot()) GTEST_SKIP() << "needs the rights to give files away";
  constexpr uid_t kOwner = 4'000'000'001;
  constexpr gid_t kGroup = 4'000'000'002;
  const std::string path = folder.makeFile("file", "{ a = b; }");
  if (chown(path.c_str(), kOwner, kGroup) != 0) GTEST_SKIP() << "needs an account for every number";
  bool isDistrusted = false;
  EXPECT_FALSE(platform::readTrustedFile(path, &isDistrusted));
  EXPECT_TRUE(isDistrusted);
  setEnvironment("SUDO_UID", std::to_string(kOwner));
  EXPECT_EQ(platform::readTrustedFile(path, &isDistrusted), "{ a = b; }");

  EXPECT_TRUE(platform::copyItem(path, folder / "copy"));
  EXPECT_TRUE(platform::writeFileAtomically(path, "new"));
  for (const char* name : {"file", "copy"}) {
    EXPECT_EQ(folder.attributes(name).st_uid, kOwner) << name;
    EXPECT_EQ(folder.attributes(name).st_gid, kGroup) << name;
  }
}

// ----- Times of files -----

TEST_F(WordSizeTest, ProgramOfAnotherAgeKeepsItsName) {
  // The kernel puts this behind the name of a program that was removed, but it may be the name of one that was not.
  const std::string path = folder.makeFile("program (deleted)", "", 0755);
  runProcess(4711, path);
  for (const std::int64_t time : kFarTimes) {
    if (!setTime(path, time)) continue;
    EXPECT_THAT(platform::processInformation(platform::kBundleExecutableKey), ElementsAre(path)) << time;
  }
}

TEST_F(WordSizeTest, CopyKeepsFarTimes) {
  const std::string file = folder.makeFile("tree/sub/file", "text");
  const std::string link = folder.makeLink("tree/link", "nowhere");
  for (const std::int64_t time : {k2040, k2100}) {
    for (const char* name : {"tree/sub/file", "tree/link", "tree/sub", "tree"}) {
      EXPECT_TRUE(setTime(folder / name, time)) << name;
    }
    const std::string copy = folder / "copy of " + std::to_string(time);
    EXPECT_TRUE(platform::copyItem(folder / "tree", copy)) << time;
    for (const std::string entry : {"", "/link", "/sub", "/sub/file"}) {
      EXPECT_EQ(status(copy + entry).stx_mtime.tv_sec, time) << entry;
      EXPECT_EQ(status(copy + entry).stx_mtime.tv_nsec, 123456789U) << entry;
    }
  }
}

TEST_F(WordSizeTest, TimesBefore1902AreKept) {
  const std::string top = folder.makeFolder("top");
  inChild([&] {
    if (!host::giveOwnMounts() || mount("none", top.c_str(), "tmpfs", 0, "") != 0) return;
    const std::string file = folder.makeFile("top/tree/file", "text", 0640);
    if (!setTime(file, k1890) || !setTime(top + "/tree", k1890)) return;
    folder.makeFolder("tried");
    EXPECT_TRUE(platform::isFolder(top + "/tree"));
    EXPECT_TRUE(platform::copyItem(top + "/tree", top + "/copy"));
    EXPECT_EQ(status(top + "/copy").stx_mtime.tv_sec, k1890);
    EXPECT_EQ(status(top + "/copy/file").stx_mtime.tv_sec, k1890);
    EXPECT_EQ(platform::readFile(file), "text");
    EXPECT_TRUE(platform::writeFileAtomically(file, "new"));
    EXPECT_EQ(status(file).stx_mode & 07777U, 0640U);
    EXPECT_TRUE(platform::removeItem(top + "/copy"));
  });
  if (!folder.has("tried")) GTEST_SKIP() << "needs the rights to mount a volume that holds times before 1902";
}

// ----- The clock -----

TEST_F(WordSizeTest, SystemTimeGoesPast2038) {
  // What the clock is read into; the clock itself is the machine's.
  EXPECT_EQ(sizeof(std::time_t), 8U);
  const std::pair<std::int64_t, int> years[] = {{k1890, 1890}, {k2040, 2040}, {k2100, 2100}};
  for (const auto& [start, year] : years) {
    const auto midsummer = static_cast<std::time_t>(start + 180 * std::int64_t{86'400});
    std::tm local = {};
    ASSERT_NE(localtime_r(&midsummer, &local), nullptr);
    EXPECT_EQ(local.tm_year + 1900, year);
  }
}

TEST_F(WordSizeTest, TraceLineAfter2038IsOfThatTime) {
  const int file = platform::openTraceFile(folder / "trace");
  platform::addLogFile(file);
  setClock({2040, 2, 9, 4, 5, 6});
  platform::log(LogLevel::Info, "here");
  platform::removeLogFile(file);
  close(file);
  EXPECT_THAT(folder.read("trace"), StartsWith("Feb  9 04:05:06 "));
}

// ----- Numbers in texts -----

TEST_F(WordSizeTest, NumberIsClampedToThirtyTwoBits) {
  const std::pair<const char*, std::int32_t> numbers[] = {
      {"2147483646", 2147483646},   {"2147483647", INT32_MAX},          {"2147483648", INT32_MAX},
      {"4294967295", INT32_MAX},    {"4294967296", INT32_MAX},          {"4294967298", INT32_MAX},
      {"99999999999", INT32_MAX},   {"9223372036854775808", INT32_MAX}, {"18446744073709551616", INT32_MAX},
      {"-2147483647", -2147483647}, {"-2147483648", INT32_MIN},         {"-2147483649", INT32_MIN},
      {"-4294967294", INT32_MIN},   {"-99999999999", INT32_MIN},        {"-9223372036854775809", INT32_MIN}};
  for (const auto& [text, number] : numbers) EXPECT_EQ(text::integerAtStart(text), number) << text;
}

}  // namespace

}  // namespace hotfix
