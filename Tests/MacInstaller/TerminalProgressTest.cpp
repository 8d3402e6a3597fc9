#include "MacInstaller/tool/TerminalProgress.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

/// Where standard error is no terminal. What is shown at one is tested with the finished tool, from outside.
class TerminalProgressTest : public ::testing::Test {
 protected:
  TerminalProgressTest() : _before(dup(STDERR_FILENO)) {
    const int file = open(folder.makeFile("errors").c_str(), O_WRONLY);
    dup2(file, STDERR_FILENO);
    close(file);
  }
  ~TerminalProgressTest() override {
    dup2(_before, STDERR_FILENO);
    close(_before);
  }

  TemporaryFolder folder;

 private:
  int _before;
};

TEST_F(TerminalProgressTest, WithoutATerminalStepsAndNotesAreNotShown) {
  TerminalProgress terminal;
  EXPECT_FALSE(progress::wantsTicks());
  {
    progress::Step step("one");
    progress::tick();
    step.end({StepResult::Kind::Refused, "reason"});
  }
  terminal.showNote("note");
  EXPECT_EQ(folder.read("errors"), "");
}

TEST_F(TerminalProgressTest, WithoutATerminalAFailureIsShownWithoutColours) {
  setenv("TERM", "xterm", 1);
  TerminalProgress terminal;
  terminal.showFailure("The hotfix was not removed: why.", "See there.");
  EXPECT_EQ(folder.read("errors"), "The hotfix was not removed: why.\nSee there.\n");
}

}  // namespace

}  // namespace hotfix
