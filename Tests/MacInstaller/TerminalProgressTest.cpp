#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "MacInstaller/tool/TerminalProgress.h"
#include "Support/Progress.h"
#include "Tests/Support/TemporaryFolder.h"

namespace hotfix {

namespace {

/// What it shows at a terminal is tested with the finished tool, from outside.
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

TEST_F(TerminalProgressTest, WithoutATerminalItDoesNotListenAndWritesNothing) {
  const TerminalProgress terminal;
  EXPECT_FALSE(progress::isHeard());
  {
    const progress::Step step("one");
    progress::fail("reason");
    progress::goOn();
  }
  terminal.sayFailure(OptionalString("/tmp/trace"));
  EXPECT_EQ(folder.read("errors"), "");
}

TEST_F(TerminalProgressTest, WithoutATerminalItLeavesAnotherListenerAlone) {
  class Silent : public progress::Listener {
   public:
    void begin(const char*) override {}
    void end() override {}
    void goOn() override {}
    void fail(const std::string&) override {}
  } silent;
  progress::setListener(&silent);
  { const TerminalProgress terminal; }
  EXPECT_TRUE(progress::isHeard());
  progress::setListener(nullptr);
}

}  // namespace

}  // namespace hotfix
