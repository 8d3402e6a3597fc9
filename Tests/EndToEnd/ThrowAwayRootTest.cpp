#include <signal.h>
#include <sys/wait.h>

#include <memory>

#include "Tests/EndToEnd/Snapshot.h"
#include "Tests/EndToEnd/ThrowAwayRoot.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

class ThrowAwayRootTest : public ::testing::Test {
 protected:
  void SetUp() override {
    _root = std::make_unique<ThrowAwayRoot>();
    if (!_root->obstacle().empty()) GTEST_SKIP() << "no throw-away root on this machine: " << _root->obstacle();
  }

  /// Exit status of a shell in the root.
  int shell(const char* commandLine) {
    const pid_t process = _root->start([=] { execl("/bin/sh", "sh", "-c", commandLine, nullptr); });
    int status = -1;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::unique_ptr<ThrowAwayRoot> _root;
};

TEST_F(ThrowAwayRootTest, ChangesStayInTheCopy) {
  ASSERT_NE(access("/usr/sbin/changedInTheCopy", F_OK), 0);
  EXPECT_EQ(shell("echo new > /usr/sbin/changedInTheCopy; echo new > /tmp/hotfixChangedInTheCopy"), 0);
  EXPECT_NE(access("/usr/sbin/changedInTheCopy", F_OK), 0);
  EXPECT_NE(access("/tmp/hotfixChangedInTheCopy", F_OK), 0);
  EXPECT_EQ(_root->files().read(ThrowAwayRoot::inside("/usr/sbin/changedInTheCopy")), "new\n");
  const Snapshot changes = takeSnapshot(_root->changedEntries());
  ASSERT_EQ(changes.count("/usr/sbin/changedInTheCopy"), 1U);
  EXPECT_EQ(changes.at("/usr/sbin/changedInTheCopy"), "0644 root:root file: new\n");
}

TEST_F(ThrowAwayRootTest, ProcessesAreItsOwn) {
  EXPECT_EQ(shell("test \"$(readlink /proc/1/exe)\" = /usr/sbin/firstProcess"), 0);
  EXPECT_EQ(shell("set -- /proc/[0-9]*; test $# = 2"), 0);  // the first one and the shell
}

TEST_F(ThrowAwayRootTest, ProjectIsVisibleAndReadOnly) {
  EXPECT_EQ(shell("test -x '" HOTFIX_TOOL "'"), 0);
  EXPECT_NE(shell("touch '" HOTFIX_BUILD_FOLDER "/hotfixWritten' 2>/dev/null"), 0);
  EXPECT_NE(access(HOTFIX_BUILD_FOLDER "/hotfixWritten", F_OK), 0);
}

TEST_F(ThrowAwayRootTest, WhatIsTheMachinesCannotBeGivenAway) {
  // To the attributes that they have, so that nothing comes of it should it be allowed.
  for (const char* path : {"/dev/null", "/dev/zero", "/dev/full", "/dev/tty", "/proc/meminfo", "/proc/net/dev"}) {
    EXPECT_NE(shell(("chmod \"$(stat -c %a " + std::string(path) + ")\" " + path + " 2>/dev/null").c_str()), 0) << path;
    EXPECT_NE(shell(("chown \"$(stat -c %u:%g " + std::string(path) + ")\" " + path + " 2>/dev/null").c_str()), 0)
        << path;
  }
}

TEST_F(ThrowAwayRootTest, AccountsAreKnown) {
  EXPECT_EQ(shell("cd ~alice && test \"$(pwd)\" = /Users/alice"), 0) << "home of alice";
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  EXPECT_EQ(shell("chown alice:admin /tmp && test \"$(stat -c %U:%G /tmp)\" = alice:admin"), 0);
}

TEST_F(ThrowAwayRootTest, NothingIsLeftBehind) {
  const std::string folder = _root->files().path();
  const pid_t process = _root->start([] { execl("/bin/sleep", "sleep", "infinity", nullptr); });
  ASSERT_EQ(kill(process, 0), 0);
  _root.reset();
  EXPECT_NE(kill(process, 0), 0);
  EXPECT_NE(access(folder.c_str(), F_OK), 0);
}

}  // namespace

}  // namespace hotfix
