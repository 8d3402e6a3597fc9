#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// The exported entries, called by a program in C that is linked with the library.
class LibraryTest : public MachineTest {
 protected:
  /// The program ends with 0 when each of its calls answers \a expected.
  Call callEntries(const std::string& dataFolder, const std::string& count, const std::string& expected,
                   const std::string& program = HOTFIX_C_PROGRAM) {
    Call result = call({home, dataFolder, count, expected});
    result.program = program;
    result.commandLine.front() = program;
    return result;
  }
};

TEST_F(LibraryTest, EntryRemovesTheHotfixAndMakesNoPasses) {
  const Outcome outcome = run(callEntries(data, "1", "0"));
  EXPECT_EQ(outcome.ending, "exit 0") << outcome.errors;
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(),
            (std::vector<CommandLine>{uninstallLaunch(), uninstallLaunch(), forget(), findJava(), collect(data)}));
  EXPECT_EQ(outcome.trace, Lines());  // the trace is the tool's
}

TEST_F(LibraryTest, AbsentHomeIsRefusedAndNothingIsStarted) {
  const Snapshot before = state();
  Call absent = call({});
  absent.program = HOTFIX_C_PROGRAM;
  absent.commandLine.front() = HOTFIX_C_PROGRAM;
  const Outcome outcome = run(absent);
  EXPECT_EQ(outcome.ending, "exit 0") << outcome.errors;
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.commandLines(), std::vector<CommandLine>());
  EXPECT_EQ(state(), before);
}

TEST_F(LibraryTest, ProgramWithTheSameNamesIsLeftAlone) {
  setLauncher("echo rc=7 > \"$result\"; echo '<m/>' > \"${0%/*}/deploy/uninstall.hotfix.xml\"");
  EXPECT_EQ(run(callEntries(data, "1", "1", HOTFIX_OWN_NAMES_PROGRAM)).ending, "exit 0") << "not a failure";
  setLauncher("echo rc=0 > \"$result\"");
  const Outcome outcome = run(callEntries(data, "1", "0", HOTFIX_OWN_NAMES_PROGRAM));
  EXPECT_EQ(outcome.ending, "exit 0") << outcome.errors;
  EXPECT_EQ(outcome.output, kSucceeded);
}

TEST_F(LibraryTest, WorksInAPluginThatIsLoadedAgainAndAgain) {
  EXPECT_EQ(run(callEntries(data, "1", "0", HOTFIX_PLUGIN_HOST)).output, kSucceeded);
  const Outcome outcome = run(callEntries(data, "2", "1", HOTFIX_PLUGIN_HOST));
  EXPECT_EQ(outcome.ending, "exit 0") << outcome.errors;
}

}  // namespace

}  // namespace hotfix
