#include <sys/socket.h>

#include <cstdlib>

#include "Platform/SystemLog.h"
#include "Tests/Platform/PlatformTest.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::LogLevel;

/// What stands between the time and the level.
std::string origin() {
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  return std::string(" ") + host + " " + host::programName() + "[" + std::to_string(getpid()) + "] ";
}

/// Made before any test and gone after all that they make: logs while the process ends, as a thread still may.
struct LateMessage {
  bool isWanted = false;
  ~LateMessage() {
    if (isWanted) platform::log(LogLevel::Info, "late");
  }
} lateMessage;

class SystemLogTest : public PlatformTest {
 protected:
  SystemLogTest() : file(open((folder / "trace").c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {
    EXPECT_GE(file, 0);
  }
  ~SystemLogTest() override {
    platform::removeLogFile(file);
    close(file);
  }

  /// The bytes after the level that a message makes in the trace file.
  std::string traced(const std::string& message) const {
    EXPECT_EQ(ftruncate(file, 0), 0);
    platform::addLogFile(file);
    platform::log(LogLevel::Info, "%s", message.c_str());
    platform::removeLogFile(file);
    const std::string line = folder.read("trace");
    const std::string mark = " <Info>: ";
    const size_t at = line.find(mark);
    return at == std::string::npos ? "<no line>" : line.substr(at + mark.size());
  }

  int file;
};

// ----- Lines -----

TEST_F(SystemLogTest, LineHasTheStandardForm) {
  platform::addLogFile(file);
  setClock({2026, 11, 3, 9, 5, 7});
  platform::log(LogLevel::Error, "a %s of %d parts", "message", 2);
  setClock({2026, 11, 20, 9, 5, 7});
  for (const LogLevel level : {LogLevel::Warning, LogLevel::Notice, LogLevel::Info}) platform::log(level, "text");
  const std::string later = "Nov 20 09:05:07" + origin();
  EXPECT_THAT(folder.lines("trace"),
              ElementsAre("Nov  3 09:05:07" + origin() + "<Error>: a message of 2 parts", later + "<Warning>: text",
                          later + "<Notice>: text", later + "<Info>: text"));
}

TEST_F(SystemLogTest, SystemLogGetsLevelAndUnchangedText) {
  platform::log(LogLevel::Warning, "two\nlines %s", "\b");
  EXPECT_THAT(log(), ElementsAre(LogLine{4, "two\nlines \b"}));
}

TEST_F(SystemLogTest, MessageCannotLookLikeTwo) {
  for (const char* newline : {"\n", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
    EXPECT_EQ(traced(std::string("one") + newline + "two"), "one\n\ttwo\n");
    EXPECT_EQ(traced(newline), "\n\t\n");
  }
  EXPECT_EQ(traced("one\r\ntwo"), "one\n\t\n\ttwo\n");
}

TEST_F(SystemLogTest, BackspaceIsShown) { EXPECT_EQ(traced("a\b\bb"), "a^H^Hb\n"); }

TEST_F(SystemLogTest, OtherCharactersStayAsTheyAre) {
  for (const char* text : {"", "tab\t", "\x1b[31m", "\x01\x7f", "\xC3\xA9\xE2\x80\xA6", "\xC2", "\xE2\x80", "\xE2",
                           "\xC2\x84", "\xE2\x80\xA7", "\x85", "100%s %n"}) {
    EXPECT_EQ(traced(text), text + std::string("\n")) << text;
  }
}

TEST_F(SystemLogTest, LongMessagesAreWhole) {
  const std::string text(1U << 20, 'x');
  EXPECT_TRUE(traced(text) == text + "\n");
  EXPECT_TRUE(log().back().second == text);
}

TEST_F(SystemLogTest, LineIsOneWrite) {
  int ends[2];
  ASSERT_TRUE(host::connectPackets(ends));  // one write, one packet
  platform::addLogFile(ends[0]);
  platform::log(LogLevel::Info, "%s", (std::string(5000, 'x') + "\nsecond line").c_str());
  platform::removeLogFile(ends[0]);
  char packet[8192];
  const ssize_t length = recv(ends[1], packet, sizeof packet, MSG_DONTWAIT);
  ASSERT_GT(length, 5000);
  EXPECT_EQ(packet[length - 1], '\n');
  EXPECT_EQ(recv(ends[1], packet, sizeof packet, MSG_DONTWAIT), -1);
  for (const int end : ends) close(end);
}

TEST_F(SystemLogTest, LinesOfSeveralThreadsDoNotMix) {
  platform::addLogFile(file);
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c'}) {
    threads.emplace_back([letter] {
      for (int i = 0; i < 200; ++i) platform::log(LogLevel::Info, "%s", std::string(1000, letter).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> lines = folder.lines("trace");
  EXPECT_EQ(lines.size(), 600U);
  for (const std::string& line : lines) {
    const std::string text = line.substr(line.find("<Info>: ") + 8);
    ASSERT_TRUE(text == std::string(1000, text.front())) << line;
  }
}

TEST_F(SystemLogTest, ErrorNumberOfTheCallerIsKept) {
  platform::addLogFile(file);
  errno = EDOM;
  platform::log(LogLevel::Error, "text");
  EXPECT_EQ(errno, EDOM);
}

// ----- Files -----

TEST_F(SystemLogTest, EveryAddedFileGetsTheLine) {
  const int second = open((folder / "second").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  platform::addLogFile(file);
  platform::addLogFile(second);
  platform::log(LogLevel::Info, "text");
  platform::removeLogFile(second);
  close(second);
  EXPECT_EQ(folder.lines("trace").size(), 1U);
  EXPECT_EQ(folder.read("trace"), folder.read("second"));
}

TEST_F(SystemLogTest, FileThatIsAddedTwiceIsRemovedAtOnceAndStaysOpen) {
  platform::removeLogFile(file);  // was never added
  platform::addLogFile(file);
  platform::addLogFile(file);
  platform::log(LogLevel::Info, "text");
  platform::removeLogFile(file);
  platform::log(LogLevel::Info, "text");
  EXPECT_EQ(folder.lines("trace").size(), 1U);
  EXPECT_NE(fcntl(file, F_GETFD), -1);
}

TEST_F(SystemLogTest, FileThatCannotBeWrittenIsNoLongerUsed) {
  const int bad = open((folder / "trace").c_str(), O_RDONLY | O_CLOEXEC);
  platform::addLogFile(bad);
  platform::addLogFile(file);
  platform::log(LogLevel::Info, "first");
  ASSERT_EQ(dup2(file, bad), bad);  // could be written now
  platform::log(LogLevel::Info, "second");
  EXPECT_EQ(folder.lines("trace").size(), 2U);
  platform::addLogFile(bad);
  platform::log(LogLevel::Info, "third");
  EXPECT_EQ(folder.lines("trace").size(), 4U);
  platform::removeLogFile(bad);
  close(bad);
  EXPECT_EQ(log().size(), 3U);
}

TEST_F(SystemLogTest, ClosedFileIsPassedOver) {
  const int closed = open((folder / "trace").c_str(), O_WRONLY | O_CLOEXEC);
  platform::addLogFile(closed);
  close(closed);
  platform::log(LogLevel::Info, "text");
  platform::removeLogFile(closed);
  platform::addLogFile(-1);
  platform::log(LogLevel::Info, "text");
  EXPECT_EQ(log().size(), 2U);
}

TEST_F(SystemLogTest, PipeWhoseReaderHasGoneDoesNotEndTheProcess) {
  inChild([this] {
    const ScopedBrokenPipe pipe(file);
    platform::addLogFile(file);
    platform::log(LogLevel::Info, "text");
  });
}

TEST_F(SystemLogTest, FilesAreUsedUntilTheProcessHasEnded) {
  platform::addLogFile(file);
  inChild([] {
    lateMessage.isWanted = true;
    std::exit(0);
  });
  EXPECT_THAT(folder.lines("trace"), ElementsAre(::testing::EndsWith(" <Info>: late")));
}

// ----- openTraceFile -----

class TraceFileTest : public PlatformTest {
 protected:
  /// Opens the trace file and writes a text to it, as the log would.
  bool trace() const {
    const int descriptor = platform::openTraceFile(folder / "trace");
    if (descriptor < 0) return false;
    EXPECT_EQ(write(descriptor, "new", 3), 3);
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    close(descriptor);
    return true;
  }

  void expectNewTraceFile() const {
    EXPECT_TRUE(S_ISREG(folder.attributes("trace").st_mode));
    EXPECT_EQ(folder.attributes("trace").st_nlink, 1U);
    EXPECT_EQ(folder.attributes("trace").st_uid, geteuid());
    EXPECT_EQ(folder.mode("trace"), 0644U);
    EXPECT_EQ(folder.read("trace"), "new");
  }
};

TEST_F(TraceFileTest, MissingFileIsMade) {
  const ScopedUmask mask(0);
  EXPECT_TRUE(trace());
  expectNewTraceFile();
}

TEST_F(TraceFileTest, OwnFileIsEmptiedAndUsed) {
  folder.makeFile("trace", "a longer old text", 0600);
  const ino_t before = folder.attributes("trace").st_ino;
  EXPECT_TRUE(trace());
  EXPECT_EQ(folder.read("trace"), "new");
  EXPECT_EQ(folder.attributes("trace").st_ino, before);
  EXPECT_EQ(folder.mode("trace"), 0600U);
}

TEST_F(TraceFileTest, AnythingElseIsReplacedAndNotTouched) {
  const ScopedUmask mask(022);
  folder.makeFile("precious", "text", 0600);
  const std::pair<const char*, std::function<void()>> plants[] = {
      {"link", [this] { folder.makeLink("trace", "precious"); }},
      {"broken link", [this] { folder.makeLink("trace", "nowhere"); }},
      {"second name", [this] { linkTo("precious", "trace"); }},
      {"FIFO", [this] { folder.makeFifo("trace"); }},
      {"device", [this] { (void)!mknod((folder / "trace").c_str(), S_IFCHR | 0666, host::nullDevice()); }},
  };
  for (const auto& [name, plant] : plants) {
    SCOPED_TRACE(name);
    plant();
    if (!folder.has("trace")) continue;  // a device needs the rights to make one
    EXPECT_TRUE(trace());
    expectNewTraceFile();
    unlinkFile("trace");
  }
  EXPECT_EQ(folder.read("precious"), "text");
  EXPECT_THAT(folder.names(), ElementsAre("outside", "precious"));
}

TEST_F(TraceFileTest, FifoWithAReaderIsReplacedToo) {
  const ScopedUmask mask(022);
  const int reader = open(folder.makeFifo("trace").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  EXPECT_TRUE(trace());
  expectNewTraceFile();
  char text[8];
  EXPECT_LE(read(reader, text, sizeof text), 0);
  close(reader);
}

TEST_F(TraceFileTest, FolderLeavesNoTraceFile) {
  folder.makeFile("trace/nested", "text");
  const auto before = treeSnapshot(folder.path());
  EXPECT_FALSE(trace());
  EXPECT_EQ(treeSnapshot(folder.path()), before);
}

TEST_F(TraceFileTest, MissingFolderLeavesNoTraceFile) {
  EXPECT_EQ(platform::openTraceFile(folder / "missing/trace"), -1);
  folder.makeFile("file");
  EXPECT_EQ(platform::openTraceFile(folder / "file/trace"), -1);
  EXPECT_EQ(platform::openTraceFile(""), -1);
}

TEST_F(TraceFileTest, SomebodyElsesFileIsMadeAnewUnlessTheInvokingUserIsMeant) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to give files away, and somebody to have them";
  const ScopedUmask mask(022);
  setEnvironment("SUDO_UID", {});
  folder.makeFile("trace", "planted", 0666);
  own("trace", other->uid, other->gid);
  EXPECT_TRUE(trace());
  expectNewTraceFile();

  own("trace", other->uid, other->gid);
  setEnvironment("USER", other->name);
  EXPECT_TRUE(trace());
  EXPECT_EQ(folder.attributes("trace").st_uid, other->uid);
  EXPECT_EQ(folder.read("trace"), "new");
}

TEST_F(TraceFileTest, FileThatCannotBeRemovedLeavesNoTraceFile) {
  if (!isRoot()) GTEST_SKIP() << "needs a file of another owner";
  folder.makeFile("trace", "text", 0644);
  asUnprivileged([&] { EXPECT_FALSE(trace()); });
  EXPECT_EQ(folder.read("trace"), "text");
}

TEST_F(TraceFileTest, TwoOpeningsAddToTheSameText) {
  const int first = platform::openTraceFile(folder / "trace");
  const int second = platform::openTraceFile(folder / "trace");
  EXPECT_EQ(write(first, "one", 3), 3);
  EXPECT_EQ(write(second, "two", 3), 3);
  EXPECT_EQ(folder.read("trace"), "onetwo");
  close(first);
  close(second);
}

}  // namespace

}  // namespace hotfix
