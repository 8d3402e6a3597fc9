#include <sys/ioctl.h>
#include <sys/time.h>
#include <termios.h>

#include <chrono>

#include "Platform/ChildProcess.h"
#include "Platform/UserIdentity.h"
#include "Support/Progress.h"
#include "Tests/Platform/PlatformTest.h"

namespace hotfix {

namespace {

using platform::ChildProcess;
using platform::firstLineOfShellCommand;
using platform::runAndWait;
using platform::runShellCommand;

constexpr char kShell[] = "/bin/sh";

/// Sets what a signal does, for this test.
class ScopedSignalAction {
 public:
  ScopedSignalAction(int signal, void (*action)(int)) : _signal(signal) {
    struct sigaction changed = {};
    changed.sa_handler = action;  // without SA_RESTART: calls are interrupted
    EXPECT_EQ(sigaction(signal, &changed, &_before), 0);
  }
  ScopedSignalAction(const ScopedSignalAction&) = delete;
  ScopedSignalAction& operator=(const ScopedSignalAction&) = delete;
  ~ScopedSignalAction() { sigaction(_signal, &_before, nullptr); }

 private:
  int _signal;
  struct sigaction _before = {};
};

class ChildProcessTest : public PlatformTest {
 protected:
  /// Quoted for the shell; the test's folder has no apostrophe in its path.
  std::string quoted(const std::string& relativePath) const { return "'" + (folder / relativePath) + "'"; }

  /// Runs shell text as a ChildProcess.
  static void runScript(const std::string& text) { runAndWait(kShell, {"-c", text}); }

  /// Writes a line to a FIFO as soon as a child reads from it; gives up on a child that never comes.
  void tellReader(const std::string& relativePath) const {
    int writer = -1;
    for (int attempt = 0; writer < 0 && attempt < 10'000; ++attempt) {
      writer = open((folder / relativePath).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      if (writer < 0) usleep(1000);
    }
    EXPECT_EQ(write(writer, "go\n", 3), 3) << "nobody reads";
    close(writer);
  }

  std::string readIfThere(const std::string& relativePath) const {
    return folder.has(relativePath) ? folder.read(relativePath) : "<missing>";
  }

  /// What the process writes to its two outputs while \a body runs.
  template <class Body>
  std::pair<std::string, std::string> outputsOf(Body body) const {
    const int output = open(folder.makeFile("output").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    const int errors = open(folder.makeFile("errors").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    {
      const ScopedRedirection out(STDOUT_FILENO, output);
      const ScopedRedirection err(STDERR_FILENO, errors);
      body();
    }
    close(output);
    close(errors);
    return {folder.read("output"), folder.read("errors")};
  }

  /// Runs \a body in a child that has a terminal of its own as standard input, where a text has been typed. Ends one
  /// that waits for a stopped process.
  template <class Body>
  static void atTerminal(const std::string& typed, Body body) {
    inChild([&] {
      alarm(20);
      setsid();
      const int person = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
      ASSERT_TRUE(grantpt(person) == 0 && unlockpt(person) == 0);
      const int terminal = open(ptsname(person), O_RDWR | O_NOCTTY | O_CLOEXEC);
      ASSERT_EQ(ioctl(terminal, TIOCSCTTY, 0), 0) << std::strerror(errno);
      ASSERT_EQ(dup2(terminal, STDIN_FILENO), STDIN_FILENO);
      ASSERT_EQ(write(person, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
      body();
    });
  }
};

// ----- What a child gets -----

TEST_F(ChildProcessTest, ArgumentZeroIsThePath) {
  runScript("printf %s \"$0\" > " + quoted("zero"));
  EXPECT_EQ(readIfThere("zero"), kShell);
  folder.makeLink("other shell", kShell);
  runAndWait(folder / "other shell", {"-c", "printf %s \"$0\" > " + quoted("zero")});
  EXPECT_EQ(readIfThere("zero"), folder / "other shell");
}

TEST_F(ChildProcessTest, ArgumentsArriveAsTheyAre) {
  const std::string program =
      folder.makeScript("a program", "for a in \"$@\"; do printf '<%s>' \"$a\"; done > " + quoted("arguments"));
  runAndWait(program, {"", "two words", "new\nline", "*", "$HOME", "'\"\\`", "-c", "\xff", ""});
  EXPECT_EQ(readIfThere("arguments"), "<><two words><new\nline><*><$HOME><'\"\\`><-c><\xff><>");
  runAndWait(program, {});
  EXPECT_EQ(readIfThere("arguments"), "");
  const std::string longOne(100'000, 'x');
  runAndWait(program, {longOne});
  EXPECT_TRUE(readIfThere("arguments") == "<" + longOne + ">");
}

TEST_F(ChildProcessTest, EnvironmentAndWorkingFolderAreTheCallers) {
  setEnvironment("HOTFIX_TEST", "a value");
  runScript("printf '%s %s' \"$HOTFIX_TEST\" \"$(pwd -P)\" > " + quoted("seen"));
  char* current = getcwd(nullptr, 0);
  EXPECT_EQ(readIfThere("seen"), std::string("a value ") + current);
  std::free(current);
}

TEST_F(ChildProcessTest, StandardInputIsTheCallers) {
  const int input = open(folder.makeFile("input", "typed\n").c_str(), O_RDONLY | O_CLOEXEC);
  {
    const ScopedRedirection redirection(STDIN_FILENO, input);
    runScript("cat > " + quoted("seen"));
  }
  close(input);
  EXPECT_EQ(readIfThere("seen"), "typed\n");
}

TEST_F(ChildProcessTest, OutputsGoToTheNullDevice) {
  const auto outputs = outputsOf([this] {
    runScript("echo out; echo err >&2; for n in 1 2; do [ /dev/fd/$n -ef /dev/null ] && echo $n >> " + quoted("null") +
              "; done");
  });
  EXPECT_THAT(outputs, Pair("", ""));
  EXPECT_THAT(folder.lines("null"), ElementsAre("1", "2"));
}

TEST_F(ChildProcessTest, ChildLeadsItsOwnProcessGroup) {
  // A process group with the child's number exists just when the child is its leader.
  runScript("kill -s 0 -- -$$ && echo leader > " + quoted("seen"));
  EXPECT_EQ(readIfThere("seen"), "leader\n");
}

TEST_F(ChildProcessTest, ChildIsNotStoppedByTheTerminal) {
  atTerminal("typed\n", [this] {
    runScript("read x; echo $? > " + quoted("seen") + "; read x < /dev/tty; echo $? >> " + quoted("seen"));
    runAndWait(std::string("/bin/stty"), {"-icanon"});
    struct termios settings = {};
    EXPECT_EQ(tcgetattr(STDIN_FILENO, &settings), 0);
    EXPECT_EQ(settings.c_lflag & ICANON, 0U);
  });
  EXPECT_EQ(readIfThere("seen"), "1\n1\n");
}

TEST_F(ChildProcessTest, SystemShellReadsTheTerminal) {
  atTerminal("typed\nagain\n",
             [this] { runShellCommand("read x && read y < /dev/tty && echo $x $y > " + quoted("seen")); });
  EXPECT_EQ(readIfThere("seen"), "typed again\n");
  atTerminal("typed\n", [] { EXPECT_EQ(firstLineOfShellCommand("read x && echo $x", 100), "typed"); });
}

TEST_F(ChildProcessTest, OnlyStandardDescriptorsAreInherited) {
  const int source = open("/dev/null", O_RDWR);  // NOLINT: not closed on exec, and deliberately
  ASSERT_GT(source, 2);
  std::vector<int> opened{source};
  for (const int number : {7, 50, 200, 900}) {
    if (fcntl(number, F_GETFD) == -1 && dup2(source, number) == number) opened.push_back(number);
  }
  EXPECT_GE(opened.size(), 3U);
  std::string text = "exec 1>> " + quoted("seen") + "; for n in";
  for (const int number : opened) text += " " + std::to_string(number);
  text += "; do [ -e /dev/fd/$n ] && echo inherited $n; done; echo done";
  runScript(text);
  runShellCommand(text);
  (void)firstLineOfShellCommand(text, 100);
  for (const int number : opened) close(number);
  EXPECT_THAT(folder.lines("seen"), ElementsAre("done", "done", "done"));
}

TEST_F(ChildProcessTest, SignalsOfTheCallerAreNotTheChilds) {
  // Not by way of a shell, which puts its own signals right.
  if (access("/proc/self/status", R_OK) != 0) GTEST_SKIP() << "needs /proc to look at a child's signals";
  {
    const ScopedSignalAction pipeIgnored(SIGPIPE, SIG_IGN);
    const ScopedSignalAction childIgnored(SIGCHLD, SIG_IGN);
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    runAndWait(std::string("/bin/cp"), {"/proc/self/status", folder / "status"});
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  int found = 0;
  for (const std::string& line : folder.lines("status")) {
    const std::string field = line.substr(0, line.find(':'));
    if (field != "SigBlk" && field != "SigIgn") continue;
    ++found;
    const unsigned long long bits = std::strtoull(line.c_str() + field.size() + 1, nullptr, 16);
    for (const int signal : {SIGPIPE, SIGCHLD, SIGTERM}) EXPECT_EQ(bits >> (signal - 1) & 1U, 0U) << line;
  }
  EXPECT_EQ(found, 2);
}

// ----- Waiting -----

/// Without and with a listener that wants ticks.
class WaitingTest : public ChildProcessTest, public progress::Listener, public ::testing::WithParamInterface<bool> {
 protected:
  WaitingTest() {
    if (GetParam()) progress::setListener(this);
  }
  ~WaitingTest() override { progress::setListener(nullptr); }

  void begin(const char*) override {}
  void warn(const std::string&) override {}
  void end(const StepResult&) override {}
  void childStarted(const std::string& program, long process) override {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    _children.push_back(program + (process > 0 && kill(static_cast<pid_t>(process), 0) == 0 ? " runs" : " is gone") +
                        (sigismember(&blocked, SIGTERM) == 1 ? ", no signal yet" : ""));
  }
  void childEnded() override { _children.emplace_back("ended"); }
  void hotfixRemoved() override {}
  bool wantsTicks() const override { return true; }
  void tick() override { ++_ticks; }

  int _ticks = 0;
  std::vector<std::string> _children;
};

INSTANTIATE_TEST_SUITE_P(Watched, WaitingTest, ::testing::Bool());

TEST_P(WaitingTest, ListenerGetsTicksManyTimesASecond) {
  const auto begin = std::chrono::steady_clock::now();
  runScript("sleep 0.2");
  const std::chrono::duration<double> lasted = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(_ticks > 0, GetParam());
  EXPECT_LE(_ticks, 10 + 50 * lasted.count()) << "it keeps the processor busy";
}

TEST_P(WaitingTest, WaitingReturnsWhenTheChildHasExited) {
  // The child cannot go on before the other end of the FIFO is opened, which happens after it was started.
  folder.makeFifo("fifo");
  ChildProcess child(kShell, {"-c", "read line < " + quoted("fifo") + "; sleep 0.1; echo ended > " + quoted("seen")});
  EXPECT_FALSE(folder.has("seen"));
  tellReader("fifo");
  child.waitUntilExit();
  EXPECT_EQ(readIfThere("seen"), "ended\n");
  child.waitUntilExit();  // again: nothing to wait for
}

TEST_P(WaitingTest, ListenerKnowsTheChildBeforeASignalCanEndTheProcess) {
  runScript("exit 0");
  runAndWait(folder / "nowhere", {});
  runShellCommand("exit 0");  // ends with its caller
  EXPECT_EQ(_children, GetParam() ? (std::vector<std::string>{std::string(kShell) + " runs, no signal yet", "ended"})
                                  : std::vector<std::string>());
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_EQ(sigismember(&blocked, SIGTERM), 0);
}

TEST_P(WaitingTest, ObjectWaitsBeforeItGoes) {
  { const ChildProcess child(kShell, {"-c", "sleep 0.1; echo ended > " + quoted("seen")}); }
  EXPECT_EQ(readIfThere("seen"), "ended\n");
}

TEST_P(WaitingTest, ChildrenLeaveNoZombies) {
  runScript("exit 0");
  runShellCommand("exit 1");
  (void)firstLineOfShellCommand("exit 2", 10);
  runAndWait(folder / "nowhere", {});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_P(WaitingTest, WaitingIsRightWhereChildrenAreIgnored) {
  const ScopedSignalAction ignored(SIGCHLD, SIG_IGN);
  runScript("sleep 0.1; echo ended > " + quoted("seen"));
  EXPECT_EQ(readIfThere("seen"), "ended\n");
  runShellCommand("sleep 0.1; echo ended > " + quoted("seen too"));
  EXPECT_EQ(readIfThere("seen too"), "ended\n");
  EXPECT_EQ(firstLineOfShellCommand("echo line; sleep 0.1; echo ended > " + quoted("seen three"), 100), "line");
  EXPECT_EQ(readIfThere("seen three"), "ended\n");
}

TEST_P(WaitingTest, WaitingIsRightWhereChildrenAreReapedElsewhere) {
  std::atomic<bool> stopped{false};
  std::thread reaper([&] {
    while (!stopped) (void)waitpid(-1, nullptr, 0);
  });
  for (int i = 0; i < 10; ++i) {
    const std::string name = "seen" + std::to_string(i);
    runScript("sleep 0.02; echo ended > " + quoted(name));
    EXPECT_EQ(readIfThere(name), "ended\n");
  }
  stopped = true;
  reaper.join();
}

void doNothing(int) {}

TEST_P(WaitingTest, SignalsOfTheCallerDoNotEndTheWaiting) {
  const ScopedSignalAction handled(SIGALRM, doNothing);
  const itimerval often = {{0, 1000}, {0, 1000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
  runScript("sleep 0.1; echo ended > " + quoted("seen"));
  EXPECT_EQ(readIfThere("seen"), "ended\n");
  EXPECT_EQ(firstLineOfShellCommand("sleep 0.1; echo line; sleep 0.1; echo ended > " + quoted("seen too"), 100),
            "line");
  EXPECT_EQ(readIfThere("seen too"), "ended\n");
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_P(WaitingTest, ChildThatFailsOrIsKilledHasEnded) {
  runScript("exit 7");
  runShellCommand("exit 7");
  EXPECT_EQ(firstLineOfShellCommand("echo line; exit 7", 100), "line");
  runScript("kill -KILL $$; echo survived > " + quoted("seen"));
  EXPECT_EQ(readIfThere("seen"), "<missing>");
  EXPECT_EQ(firstLineOfShellCommand("echo line; kill -KILL $$", 100), "line");
  EXPECT_THAT(log(), IsEmpty());
}

// ----- What cannot be started -----

TEST_F(ChildProcessTest, ProgramThatCannotBeStartedIsOneLineInTheLog) {
  folder.makeFolder("folder");
  folder.makeFile("not executable", "#!/bin/sh\n");
  folder.makeFile("without interpreter", "echo started\n", 0755);
  folder.makeFile("empty", "", 0755);
  folder.makeFile("missing interpreter", "#!/no/such/interpreter\n", 0755);
  folder.makeLink("broken", "nowhere");
  const std::pair<std::string, int> programs[] = {{"sh", ENOENT},  // without a search path
                                                  {folder / "100%s%n", ENOENT},
                                                  {folder / "folder", EACCES},
                                                  {folder / "not executable", EACCES},
                                                  {folder / "without interpreter", ENOEXEC},
                                                  {folder / "empty", ENOEXEC},
                                                  {folder / "missing interpreter", ENOENT},
                                                  {folder / "broken", ENOENT},
                                                  {folder / "empty/below", ENOTDIR}};
  for (const auto& [path, reason] : programs) {
    clearLog();
    ChildProcess child(path, {"argument"});
    child.waitUntilExit();
    EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(AllOf(HasSubstr(path), HasSubstr(std::strerror(reason)))));
    EXPECT_EQ(log().size(), 1U);
    EXPECT_EQ(child.error(), std::strerror(reason));
  }
  clearLog();
  runAndWait({}, {"argument"});
  EXPECT_THAT(log(platform::LogLevel::Error), ElementsAre(HasSubstr("(null)")));
}

// ----- Shell commands -----

TEST_F(ChildProcessTest, ShellCommandHasTheCallersOutputs) {
  EXPECT_THAT(outputsOf([] { runShellCommand("echo out; echo err >&2"); }), Pair("out\n", "err\n"));
}

TEST_F(ChildProcessTest, ShellCommandIsWaitedForAndReadByTheShell) {
  runShellCommand("sleep 0.1; x='a b'; printf '%s|' $x \"$x\" > " + quoted("seen"));
  EXPECT_EQ(readIfThere("seen"), "a|b|a b|");
}

TEST_F(ChildProcessTest, FirstLineIsCutAtTheNewlineTheLimitOrANul) {
  const struct {
    const char* command;
    size_t limit;
    OptionalString line;
  } rows[] = {
      {"echo first; echo second", 1022, "first"},
      {"printf 'no newline'", 1022, "no newline"},
      {"echo; echo second", 1022, ""},
      {"printf 'carriage\\r\\n'", 1022, "carriage\r"},
      {"echo ' blanks stay '", 1022, " blanks stay "},
      {"printf one; sleep 0.05; printf two; sleep 0.05; echo three; echo", 1022, "onetwothree"},
      {"echo abcdefgh", 5, "abcde"},
      {"echo abcde", 5, "abcde"},
      {"echo abcde", 6, "abcde"},
      {"echo abcde", 1, "a"},
      {"printf 'ab\\0cd\\n'", 1022, "ab"},
      {"printf '\\0cd\\n'", 1022, ""},
      {"true", 1022, {}},
      {"/no/such/program 2> /dev/null", 1022, {}},
      {"exec >&-", 1022, {}},
      {"", 1022, {}},
      {"echo first; exec yes 'more and more'", 1022, "first"},
      {"head -c 5000000 /dev/zero | tr '\\0' x", 1022, std::string(1022, 'x')},
  };
  for (const auto& row : rows) EXPECT_EQ(firstLineOfShellCommand(row.command, row.limit), row.line) << row.command;
}

TEST_F(ChildProcessTest, BackgroundProcessThatHoldsTheOutputIsNotWaitedFor) {
  folder.makeFifo("fifo");
  EXPECT_EQ(firstLineOfShellCommand("read line < " + quoted("fifo") + " & echo first", 1022), "first");
  tellReader("fifo");  // it still runs
}

TEST_F(ChildProcessTest, StandardErrorOfTheFirstLineCommandIsDropped) {
  const auto run = [] { EXPECT_EQ(firstLineOfShellCommand("echo err >&2; echo line", 100), "line"); };
  EXPECT_THAT(outputsOf(run), Pair("", ""));
}

TEST_F(ChildProcessTest, FirstLineIsReadAlsoWhereStandardDescriptorsAreClosed) {
  for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    inChild([&] {
      close(closed);
      EXPECT_EQ(firstLineOfShellCommand("echo line", 100), "line");
    });
  }
}

}  // namespace

}  // namespace hotfix
