#include "Platform/StandardStreams.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using platform::printLine;
using platform::ScopedStandardDescriptors;

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

bool isNullDevice(int descriptor) {
  struct stat opened = {};
  struct stat device = {};
  return fstat(descriptor, &opened) == 0 && stat("/dev/null", &device) == 0 && opened.st_rdev == device.st_rdev &&
         S_ISCHR(opened.st_mode);
}

bool isPending(int signal) {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

class StandardStreamsTest : public ::testing::Test {
 protected:
  /// What standard output gets while \a body runs.
  template <class Body>
  std::string printed(Body body) const {
    const int output = open((folder / "output").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    {
      const ScopedRedirection redirection(STDOUT_FILENO, output);
      body();
    }
    close(output);
    return folder.read("output");
  }

  TemporaryFolder folder;
};

// ----- printLine -----

TEST_F(StandardStreamsTest, LineEndsWithANewline) {
  EXPECT_EQ(printed([] { printLine("text"); }), "text\n");
  EXPECT_EQ(printed([] { printLine(""); }), "\n");
  EXPECT_EQ(printed([] { printLine("100%s%n\n"); }), "100%s%n\n\n");
  EXPECT_EQ(printed([] { printLine(std::string("a\0b", 3)); }), std::string("a\0b\n", 4));
}

TEST_F(StandardStreamsTest, LineIsPrintedAtOnceAndInOrder) {
  printed([&] {
    std::fputs("first ", stdout);
    printLine("second");
    EXPECT_EQ(folder.read("output"), "first second\n");
  });
}

TEST_F(StandardStreamsTest, LongLineIsPrintedWholeToASlowReader) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  size_t count = 0;
  std::thread reader([&] {
    char buffer[1000];
    for (ssize_t length = 1; (length = read(ends[0], buffer, sizeof buffer)) > 0;) count += static_cast<size_t>(length);
  });
  {
    const ScopedRedirection redirection(STDOUT_FILENO, ends[1]);
    close(ends[1]);
    printLine(std::string(1'000'000, 'x'));
  }
  reader.join();
  close(ends[0]);
  EXPECT_EQ(count, 1'000'001U);
}

TEST_F(StandardStreamsTest, ClosedOutputIsPassedOver) {
  inChild([] {
    close(STDOUT_FILENO);
    printLine("text");
    EXPECT_FALSE(isOpen(STDOUT_FILENO));
  });
}

TEST_F(StandardStreamsTest, ReaderThatHasGoneIsPassedOver) {
  inChild([] {
    const ScopedBrokenPipe pipe(STDOUT_FILENO);
    std::fputs("held back by stdio", stdout);
    printLine("text");
    printLine("again");
    EXPECT_FALSE(isPending(SIGPIPE));
    sigset_t blocked;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
    struct sigaction action = {};
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
  });
}

TEST_F(StandardStreamsTest, FileAtItsSizeLimitIsPassedOver) {
  inChild([this] {
    EXPECT_EQ(printed([] {
                const ScopedLimit limit(RLIMIT_FSIZE, 4);
                std::fputs("text held back by stdio", stdout);
                printLine("text");
                EXPECT_FALSE(isPending(SIGXFSZ));
              }),
              "text");
  });
}

TEST_F(StandardStreamsTest, SignalsOfSomebodyElseStayPending) {
  inChild([] {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&signals, signal);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
    for (const int signal : {SIGPIPE, SIGXFSZ}) raise(signal);
    printLine("");
    sigset_t blocked;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      EXPECT_TRUE(isPending(signal));
      EXPECT_EQ(sigismember(&blocked, signal), 1);
    }
  });
}

TEST_F(StandardStreamsTest, TerminalAloneGetsALineSanitized) {
  const std::string line = "File /a\x1B[2J\x9B was not found.";
  EXPECT_EQ(printed([&] { printLine(line); }), line + "\n");
  const int person = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_TRUE(grantpt(person) == 0 && unlockpt(person) == 0);
  const int program = open(ptsname(person), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(program, 0);
  {
    const ScopedRedirection redirection(STDOUT_FILENO, program);
    printLine(line);
  }
  char shown[100] = {};
  EXPECT_GT(read(person, shown, sizeof shown - 1), 0);
  EXPECT_STREQ(shown, "File /a?[2J\xEF\xBF\xBD was not found.\r\n");
  close(program);
  close(person);
}

TEST_F(StandardStreamsTest, TextToStandardErrorIsWrittenAsItIsAndAReaderThatHasGoneIsPassedOver) {
  inChild([this] {
    {
      const ScopedRedirection errors(STDERR_FILENO, open(folder.makeFile("errors").c_str(), O_WRONLY | O_CLOEXEC));
      platform::writeToStandardError("\x1B[0m no newline");
    }
    EXPECT_EQ(folder.read("errors"), "\x1B[0m no newline");
    const ScopedBrokenPipe errors(STDERR_FILENO);
    platform::writeToStandardError("text");
    EXPECT_FALSE(isPending(SIGPIPE));
  });
}

TEST_F(StandardStreamsTest, FullDeviceIsPassedOver) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  if (full < 0) GTEST_SKIP() << "needs a device that is always full";
  inChild([&] {
    ASSERT_EQ(dup2(full, STDOUT_FILENO), STDOUT_FILENO);
    printLine("text");
    EXPECT_EQ(std::fflush(stdout), 0) << "something was left to be written at exit";
  });
  close(full);
}

// ----- ScopedStandardDescriptors -----

TEST_F(StandardStreamsTest, ClosedStandardDescriptorsAreTheNullDeviceForAWhile) {
  for (int closed = 0; closed < 8; ++closed) {  // every subset of the three
    SCOPED_TRACE(closed);
    inChild([&] {
      const auto wasClosed = [closed](int descriptor) { return (closed >> descriptor & 1) != 0; };
      for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        ASSERT_EQ(dup2(open("/dev/zero", O_RDWR | O_CLOEXEC), descriptor), descriptor);
      }
      for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (wasClosed(descriptor)) close(descriptor);
      }
      {
        const ScopedStandardDescriptors scope;
        for (int descriptor = 0; descriptor <= 2; ++descriptor) {
          EXPECT_EQ(isNullDevice(descriptor), wasClosed(descriptor)) << descriptor;
          EXPECT_TRUE(isOpen(descriptor)) << descriptor;
          EXPECT_EQ((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0, wasClosed(descriptor)) << descriptor;
        }
        const int opened = open("/dev/zero", O_RDONLY | O_CLOEXEC);
        EXPECT_GT(opened, 2);
        close(opened);
      }
      for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        EXPECT_EQ(isOpen(descriptor), !wasClosed(descriptor)) << descriptor;
      }
    });
  }
}

}  // namespace

}  // namespace hotfix
