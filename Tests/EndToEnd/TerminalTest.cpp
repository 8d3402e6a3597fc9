#include <sys/ioctl.h>

#include <regex>
#include <tuple>

#include "Tests/EndToEnd/WatchedTest.h"

namespace hotfix {

namespace {

/// What a person sees at a terminal; and that nobody else notices any of it.
class TerminalTest : public WatchedTest {
 protected:
  static Lines uninstallSteps(const std::string& ending = "done") {
    return {"Checking the instance ... done", "Running the platform to remove the hotfix, 1 of 2 ... " + ending,
            "Running the platform to remove the hotfix, 2 of 2 ... " + ending};
  }
  static Lines successSteps() { return {"Forgetting the installer's receipt ... done", kRepaired}; }
  static Lines collecting() { return {"Collecting the log files ... done"}; }
  static constexpr char kRepaired[] = "Repairing the owner of the workspace ... done: owner alice, group admin";
  static constexpr char kRepairedBefore[] =
      "Repairing the owner of the workspace ... nothing to do: owner alice, group admin";
  static Lines passes(const std::string& ending = "done", const std::string& repair = kRepaired) {
    return {"Running the platform to clean up ... " + ending, "Running the platform to update ... " + ending, repair};
  }
  static Lines allSteps() {
    return joined({uninstallSteps(), successSteps(), collecting(), passes("done", kRepairedBefore)});
  }
  static Lines sentences(const std::string& reason) { return {kNotRemoved + reason, kSeeTrace}; }

  /// A launcher that waits until a file of this name is there.
  void setWaitingLauncher(const std::string& path) {
    setLauncher("until [ -e " + path + " ]; do sleep 0.05; done\necho rc=0 > \"$result\"");
  }
  /// A launcher that fails, and what a terminal gets of the whole run.
  std::string failureAt(const std::map<std::string, std::string>& environment, unsigned short columns = 80) {
    setLauncher("echo rc=1 > \"$result\"");
    Terminal terminal(columns);
    terminal.begin();
    Call call = uninstall();
    call.environment.insert(environment.begin(), environment.end());
    call.prepare = [&terminal] { dup2(terminal.descriptor(), STDERR_FILENO); };
    EXPECT_EQ(run(call).ending, "exit 1");
    EXPECT_EQ(screen(terminal.text()), joined({uninstallSteps(), collecting(), passes(), sentences(resultCode())}));
    return terminal.text();
  }
  std::string resultCode() const {
    return "the platform failed with the result code 1, read from " + bundle + "/Contents/MacOS/.provisioning_rc.";
  }

  /// All of a run that others than the person can see, ids of processes and pipes masked.
  /// As a text, of which a test shows the lines that differ, however many there are.
  std::string seenByOthers(const Call& call) {
    const Snapshot before = state();
    const Outcome outcome = run(call);
    Lines result = joined({{outcome.ending, outcome.output}, outcome.trace, differences(before, state())});
    for (const Child& child : outcome.children) {
      result.insert(result.end(), child.commandLine.begin(), child.commandLine.end());
      result.push_back(found(child));
      result.push_back(files().read(child.seen + "/environ"));
      for (const auto& [name, entry] : takeSnapshot(files() / (child.seen + "/fd"))) {
        result.push_back(name + " " + std::regex_replace(entry, std::regex("\\[[0-9]+\\]|/[0-9]+"), "[id]"));
      }
      for (const std::string& line : files().lines(child.seen + "/status")) {
        if (line.compare(0, 3, "Sig") == 0 && line.compare(0, 4, "SigQ") != 0) result.push_back(line);
      }
    }
    std::string text;
    for (const std::string& line : result) text += line + "\n";
    return text;
  }
};

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST_F(TerminalTest, SuccessfulRunShowsItsStepsAndNothingElse) {
  std::string text;
  const Snapshot before = state();
  const Outcome outcome = watch(text);
  expectSuccess(outcome, before);
  EXPECT_EQ(screen(text), allSteps());
  EXPECT_FALSE(contains(text, "\x1B")) << text;
}

// ----- Failures: the sentences are in TroubleshootingDocumentTest -----

class TerminalFailureTest : public TerminalTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(TerminalFailureTest, StepsEndAsWhatHappened) {
  const Way& way = ways()[GetParam()];
  if (way.isByBob && !ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "needs several accounts";
  std::map<std::string, std::string> values;
  const Call call = prepare(way, values);
  const std::string launcher = ": " + home + "/rcplauncher could not be started: No such file or directory";
  const Lines checked = {"Checking the instance ... done"}, refused = {"Checking the instance ... failed"};
  const Lines ended = joined({uninstallSteps(), collecting(), passes()});
  const std::map<std::string, Lines> expected = {
      {"NoHomeFolderIsGiven",
       joined({refused, passes("failed: there is no program to start",
                               "Repairing the owner of the workspace ... skipped: no workspace is known")})},
      {"HomeIsMissing", joined({refused, passes("failed" + launcher)})},
      {"CharacterIsRefused", joined({refused, passes()})},
      {"NoInstanceIsThere", joined({refused, collecting(), passes()})},
      {"HomeLiesInNoBundle", joined({refused, collecting(), passes()})},
      {"PlatformIsRunning", joined({refused, collecting(), passes()})},
      {"UninstallManifestIsMissing", joined({checked, collecting(), passes()})},
      {"UninstallManifestCannotBeCopied", joined({checked, collecting(), passes()})},
      {"LauncherCannotBeStarted",
       joined({uninstallSteps("failed" + launcher), collecting(), passes("failed" + launcher)})},
      {"ResultIsAFailure", ended},
      {"ResultFileIsMissing", ended},
      {"ResultFileHasNoCode", ended}};
  if (expected.count(way.name) == 0) GTEST_SKIP() << "by an ordinary user, the steps depend on what he may do";
  std::string text;
  EXPECT_EQ(watch(text, call).ending, "exit 1");
  Lines shown = screen(text);
  ASSERT_GE(shown.size(), 2U);
  shown.resize(shown.size() - 2);
  EXPECT_EQ(shown, expected.at(way.name));
}

INSTANTIATE_TEST_SUITE_P(Ways, TerminalFailureTest, ::testing::Range<size_t>(0, 14));

class TerminalCharacterTest : public TerminalTest, public ForEachText {};

TEST_P(TerminalCharacterTest, IsNamedWithItsPosition) {
  makeInstance("/Applications/P" + GetParam().text + "#.app", data);
  std::string text;
  watch(text);
  const std::string refused = GetParam().text;
  const size_t length = refused.size() - (contains(refused, "\xC3\xB6") ? 1 : 0);
  const Lines lines = screen(text);
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[lines.size() - 2], kNotRemoved + ("the path " + home) + " has the refused character " +
                                         refused.back() + " at position " + std::to_string(15 + length) + ".");
}

INSTANTIATE_TEST_SUITE_P(Characters, TerminalCharacterTest,
                         ::testing::Values(NamedText{"Quote", "\""}, NamedText{"Colon", ":"},
                                           NamedText{"AfterTwoBytes", "\xC3\xB6\x3A"}),
                         nameOf);

TEST_F(TerminalTest, EmptyHomeIsNoHome) {
  std::string text;
  EXPECT_EQ(watch(text, call({"-rcphome", "", "-rcpdata", data})).ending, "exit 1");
  EXPECT_TRUE(contains(text, "The hotfix was not removed: no home folder was given.")) << text;
}

TEST_F(TerminalTest, ProcessOfNoAccountHasItsUsersNumber) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "this machine lets files and processes belong to one account only";
  const std::string id = idInside(startProgram(bundle + "/Contents/MacOS/product", 4799));
  std::string text;
  watch(text);
  EXPECT_TRUE(contains(text, "process " + id + " of the user 4799, " + bundle)) << text;
}

TEST_F(TerminalTest, FailureWithoutATraceFilePointsToTheSystemLog) {
  files().makeFolder(inside(std::string(kTraceFile) + "/in the way"));
  removeFile("deploy/install.xml");
  std::string text;
  watch(text);
  EXPECT_EQ(screen(text).back(), "See the system log for details, and man hotfixUninstall.");
}

TEST_F(TerminalTest, FailureOfAPassIsSeenInASuccessfulRun) {
  // The second launch is the last that finds the launcher.
  setLauncher("echo rc=0 > \"$result\"\n[ -e /tmp/launched ] && rm \"$0\"\n: > /tmp/launched");
  std::string text;
  EXPECT_EQ(watch(text).ending, "exit 0");
  EXPECT_EQ(screen(text), joined({uninstallSteps(), successSteps(), collecting(),
                                  passes("failed: " + home +
                                             "/rcplauncher could not be started: No such file or "
                                             "directory",
                                         kRepairedBefore)}));
}

TEST_F(TerminalTest, ProcessesThatCannotBeListedAreToldOf) {
  if (kNeedsProcesses) GTEST_SKIP() << "this build looks for leaks, in /proc";
  const std::string sentence = "The running processes cannot be listed: whether the platform runs was not checked.";
  root().mountMemory("/proc", "mode=0555");
  std::string text;
  const Outcome outcome = watch(text);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), "<Warning>: " + sentence), 1);
  Lines expected = allSteps();
  expected.insert(expected.begin() + 1, sentence);
  EXPECT_EQ(screen(text), expected);
}

// ----- Kinds of terminals -----

TEST_F(TerminalTest, SecondsAreCountedUpWhileAStepLasts) {
  setWaitingLauncher("/tmp/seen");
  Terminal terminal;
  terminal.begin("\rRunning the platform to remove the hotfix, 1 of 2 ... 1 s",
                 [this] { files().makeFile(inside("/tmp/seen")); });
  EXPECT_EQ(run(watched(terminal)).ending, "exit 0");
  EXPECT_EQ(screen(terminal.text()), allSteps());
  EXPECT_TRUE(std::regex_search(terminal.text(), std::regex("\r[^\r\n]*, 1 of 2 \\.\\.\\. done, [0-9]+ s\n")))
      << terminal.text();
}

TEST_F(TerminalTest, SecondsAreCountedByTheToolsOneThread) {
  setLauncher("grep Threads /proc/$PPID/status >> /tmp/threads\necho rc=0 > \"$result\"");
  std::string text;
  EXPECT_EQ(watch(text).ending, "exit 0");
  EXPECT_EQ(files().lines(inside("/tmp/threads")), Lines(4, "Threads:\t1"));
}

/// What a failure looks like by the terminal and the environment.
struct Look {
  const char* name;
  std::map<std::string, std::string> environment;
  bool isRed, isRewritten;
  unsigned short columns = 80;
};
std::ostream& operator<<(std::ostream& stream, const Look& look) { return stream << look.name; }

class TerminalLookTest : public TerminalTest, public ::testing::WithParamInterface<Look> {};

TEST_P(TerminalLookTest, FitsTheTerminal) {
  const std::string text = failureAt(GetParam().environment, GetParam().columns);
  EXPECT_EQ(contains(text, "\r"), GetParam().isRewritten) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\x1B'), GetParam().isRed ? 2 : 0) << text;
  const std::string red = "\n\x1B[1;31mThe hotfix was not removed: " + resultCode() + "\x1B[0m\nSee ";
  EXPECT_EQ(contains(text, red), GetParam().isRed) << text;
}

INSTANTIATE_TEST_SUITE_P(Looks, TerminalLookTest,
                         ::testing::Values(Look{"Colours", {{"TERM", "xterm"}}, true, true},
                                           Look{"Dumb", {{"TERM", "dumb"}}, false, false},
                                           Look{"NoKind", {}, false, false},
                                           Look{"EmptyKind", {{"TERM", ""}}, false, false},
                                           Look{"NoColor", {{"TERM", "xterm"}, {"NO_COLOR", "1"}}, false, true},
                                           Look{"EmptyNoColor", {{"TERM", "xterm"}, {"NO_COLOR", ""}}, true, true},
                                           Look{"Narrow", {{"TERM", "xterm"}}, true, false, 20},
                                           Look{"UnknownWidth", {{"TERM", "xterm"}}, true, true, 0}),
                         [](const auto& instance) { return std::string(instance.param.name); });

// ----- Texts that would drive the terminal -----

TEST_F(TerminalTest, ControlCharactersOfAPathReachOnlyWhatIsNoTerminal) {
  makeInstance("/Applications/a\x1B[2J\x9B.app", data);
  removeFile("deploy/uninstall.hotfix.xml");
  const std::string missing =
      "/Contents/MacOS/rcp/deploy/uninstall.hotfix.xml was not found. Provisioning process failed "
      "to launch or was terminated before status could be determined.";
  EXPECT_EQ(run(uninstall()).output, "File " + bundle + missing + "\n" + kUsage);
  Terminal terminal;
  terminal.begin();
  Call call = watched(terminal);
  call.environment["TERM"] = "dumb";
  call.prepare = [&terminal] {
    dup2(terminal.descriptor(), STDERR_FILENO);
    dup2(terminal.descriptor(), STDOUT_FILENO);
  };
  EXPECT_EQ(run(call).ending, "exit 1");
  const std::string shown = "/Applications/a?[2J\xEF\xBF\xBD.app";
  EXPECT_TRUE(contains(terminal.text(), "File " + shown + missing)) << terminal.text();
  EXPECT_TRUE(contains(terminal.text(), "as " + shown)) << terminal.text();
  EXPECT_EQ(terminal.text().find_first_of("\x1B\x9B"), std::string::npos) << terminal.text();
}

TEST_F(TerminalTest, ResultCodeDoesNotDriveTheTerminal) {
  setLauncher("printf 'rc=7\\033[2J\\n' > \"$result\"");
  std::string text;
  watch(text);
  EXPECT_TRUE(contains(text, "with the result code 7?[2J, read from")) << text;
}

// ----- Who is no person at a terminal -----

class NoTerminalTest : public TerminalTest, public ForEachText {
 protected:
  /// Standard error for the call; the end of a pipe where it is one.
  int connect(Call& call) {
    call.environment["TERM"] = "xterm";
    if (GetParam().text == "closed") call.prepare = [] { close(STDERR_FILENO); };
    if (GetParam().text == "null") call.prepare = [] { dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); };
    if (GetParam().text != "pipe") return -1;
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    call.prepare = [writeEnd = ends[1]] { dup2(writeEnd, STDERR_FILENO); };
    _writeEnd = ends[1];
    return ends[0];
  }

  /// \param errors what standard error gets.
  void expectAlike(const std::function<void()>& prepare, const std::string& errors = "") {
    prepare();
    makePatientJava();
    Call call = uninstall();
    const int readEnd = connect(call);
    const std::string without = seenByOthers(call);
    EXPECT_EQ(files().read(inside("/stand-ins/errors")), GetParam().text == "file" ? errors : "");
    if (readEnd != -1) {
      close(_writeEnd);
      char text[1000] = {};
      EXPECT_GE(read(readEnd, text, sizeof text - 1), 0);
      EXPECT_EQ(text, errors);
      close(readEnd);
    }
    SetUp();  // another machine
    prepare();
    makePatientJava();
    Terminal terminal;
    terminal.begin();
    EXPECT_EQ(seenByOthers(watched(terminal)), without);
    EXPECT_NE(terminal.text(), "");
  }
  std::string sentence(const std::string& reason) const { return kNotRemoved + reason + "\n" + kSeeTrace + "\n"; }

 private:
  int _writeEnd = -1;
};

TEST_P(NoTerminalTest, GetsNothingAndASuccessfulRunIsTheSame) {
  expectAlike([] {});
}

TEST_P(NoTerminalTest, GetsTheReasonAndAFailedRunIsTheSame) {
  expectAlike([this] { setLauncher("echo rc=1 > \"$result\""); }, sentence(resultCode()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, NoTerminalTest,
                         ::testing::Values(NamedText{"File", "file"}, NamedText{"Pipe", "pipe"},
                                           NamedText{"Closed", "closed"}, NamedText{"NullDevice", "null"}),
                         nameOf);

TEST_F(TerminalTest, TerminalAsStandardOutputAloneGetsNoSteps) {
  Terminal terminal;
  terminal.begin();
  Call call = uninstall();
  call.environment["TERM"] = "xterm";
  call.prepare = [&terminal] { dup2(terminal.descriptor(), STDOUT_FILENO); };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(terminal.text(), kSucceeded);
}

TEST_F(TerminalTest, LibraryWritesNothingThere) {
  for (const char* expected : {"0", "1"}) {  // the second call finds the manifest consumed
    Call call = this->call({home, data, "1", expected});
    call.program = HOTFIX_C_PROGRAM;
    call.commandLine.front() = HOTFIX_C_PROGRAM;
    std::string text;
    EXPECT_EQ(watch(text, call).ending, "exit 0");
    EXPECT_EQ(text, "RCPUninstallHotfixEx " + std::string(expected) + "\n");  // the program's own line
  }
}

// ----- Whose the workspace becomes -----

TEST_F(TerminalTest, WorkspaceThatWillBeRootsIsToldAtTheBeginning) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "needs several accounts";
  const auto note = [](const std::string& user) {
    return "The workspace will belong to root, as USER is " + user +
           ". To give it to alice: sudo USER=alice hotfixUninstall ...";
  };
  const std::string none = "Checking the instance ... done";
  for (const auto& [user, caller, first] :
       std::vector<std::tuple<std::string, uid_t, std::string>>{{"root", ThrowAwayRoot::alice(), note("root")},
                                                                {"", ThrowAwayRoot::alice(), note("not set")},
                                                                {"alice", ThrowAwayRoot::alice(), none},
                                                                {"root", 0, none}}) {
    Call call = uninstall();
    call.environment["USER"] = user;
    if (user.empty()) call.environment.erase("USER");
    call.environment["SUDO_UID"] = std::to_string(caller);
    std::string text;
    watch(text, call);
    EXPECT_EQ(screen(text).front(), first);
    EXPECT_EQ(run(call).errors, "");
  }
}

// ----- A terminal that goes away -----

class HangUpTest : public TerminalTest {
 protected:
  /// A run whose terminal hangs up during the first launch.
  Outcome hungUp(const std::function<void()>& prepare) {
    setWaitingLauncher("/tmp/gone");
    Terminal terminal;
    terminal.begin("1 of 2 ...", [&] {
      terminal.hangUp();
      files().makeFile(inside("/tmp/gone"));
    });
    Call call = watched(terminal);
    call.prepare = [connect = call.prepare, prepare] {
      connect();
      prepare();
    };
    return run(call);
  }
};

TEST_F(HangUpTest, RunGoesOnWhenItIsNotTheRunsOwnTerminal) {
  const Outcome outcome = hungUp([] {});
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(outcome.trace, allTrace());
}

TEST_F(HangUpTest, RunEndsByTheSignalAtItsOwnTerminal) {
  EXPECT_EQ(hungUp([] { ioctl(STDERR_FILENO, TIOCSCTTY, 0); }).ending, "signal 1");
}

TEST_F(HangUpTest, RunGoesOnWhenTheSignalIsIgnored) {
  const Outcome outcome = hungUp([] {
    signal(SIGHUP, SIG_IGN);
    ioctl(STDERR_FILENO, TIOCSCTTY, 0);
  });
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(), allChildren());
}

}  // namespace

}  // namespace hotfix
