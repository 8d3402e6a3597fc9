#include <sys/resource.h>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// What the tool is started with: variables, descriptors, signals.
class EnvironmentTest : public MachineTest {
 protected:
  /// The changes of a successful run, with another owner for the contents of the data folder.
  Lines successChangesWithData(const Snapshot& before, const std::string& ownerAndGroup) {
    Lines result = successChanges(before);
    const std::string usual = "0775 " + owners("alice:admin");
    for (std::string& line : result) {
      const size_t at = line.find(usual);
      if (line.find(data + "/") == 2 && at != std::string::npos) {
        line.replace(at, usual.size(), "0775 " + owners(ownerAndGroup));
      }
    }
    return result;
  }

  void expectSuccessWithData(const Call& call, const std::string& ownerAndGroup) {
    const Snapshot before = state();
    const Outcome outcome = run(call);
    expectSucceeded(outcome, allChildren(), allTrace());
    EXPECT_EQ(differences(before, state()), successChangesWithData(before, ownerAndGroup));
  }
};

TEST_F(EnvironmentTest, WithoutUserTheDataBecomesTheProcessesUsers) {
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), data + "/logs/one.log");
  Call call = uninstall();
  call.environment.erase("USER");
  expectSuccessWithData(call, "root:admin");
}

TEST_F(EnvironmentTest, EmptyEnvironmentIsEnough) {
  Call call = uninstall();
  for (const char* name : {"USER", "HOME", "PATH"}) call.environment.erase(name);
  expectSuccessWithData(call, "root:admin");
}

TEST_F(EnvironmentTest, IgnoredChildSignalIsNoHindrance) {
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [] { signal(SIGCHLD, SIG_IGN); };
  expectSuccess(run(call), before);
}

TEST_F(EnvironmentTest, BlockedSignalsAreNoHindrance) {
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [] {
    sigset_t signals;
    sigfillset(&signals);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
  };
  expectSuccess(run(call), before);
}

TEST_F(EnvironmentTest, ReaderThatHasGoneDoesNotStopTheUninstall) {
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [] {
    int ends[2];
    if (pipe(ends) != 0) _exit(125);
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
  };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(outcome.trace, allTrace());
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

TEST_F(EnvironmentTest, FullOutputDoesNotStopTheUninstall) {
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

/// Each combination of closed standard descriptors, as bits.
class ClosedDescriptorsTest : public EnvironmentTest, public ::testing::WithParamInterface<int> {};

TEST_P(ClosedDescriptorsTest, NothingIsPrintedIntoAnyFile) {
  const int closed = GetParam();
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [closed] {
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
      if ((closed & (1 << descriptor)) != 0) close(descriptor);
    }
  };
  const Outcome outcome = run(call);
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, (closed & 2) != 0 ? "" : kSucceeded);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.commandLines(), allChildren());
  EXPECT_EQ(outcome.trace, allTrace());
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

TEST_P(ClosedDescriptorsTest, FailureIsNotPrintedIntoAnyFileEither) {
  const int closed = GetParam();
  setLauncher("echo rc=1 > \"$result\"");
  Call call = uninstall();
  call.prepare = [closed] {
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
      if ((closed & (1 << descriptor)) != 0) close(descriptor);
    }
  };
  const Outcome outcome = run(call);
  expectFailed(outcome, (closed & 2) != 0 ? "" : std::string(kUnexpected) + kUsage, failedUninstall());
  for (const auto& [path, entry] : state()) {
    EXPECT_EQ(entry.find("Unexpected results"), std::string::npos) << path;
    EXPECT_EQ(entry.find("Usage: [sudo"), std::string::npos) << path;
  }
}

INSTANTIATE_TEST_SUITE_P(Combinations, ClosedDescriptorsTest, ::testing::Values(1, 2, 4, 7), [](const auto& instance) {
  std::string name;
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    if ((instance.param & (1 << descriptor)) != 0) name += std::to_string(descriptor);
  }
  return name;
});

TEST_F(EnvironmentTest, FewDescriptorsAreEnough) {
  const Snapshot before = state();
  Call call = uninstall();
  call.prepare = [] {
    // As in a host that has used nearly all of them up.
    const struct rlimit limit = {16, 16};
    setrlimit(RLIMIT_NOFILE, &limit);
  };
  expectSuccess(run(call), before);
}

TEST_F(EnvironmentTest, UmaskDoesNotReachTheRepairedPermissions) {
  Call call = uninstall();
  call.prepare = [] { umask(0077); };
  EXPECT_EQ(run(call).ending, "exit 0");
  const Snapshot after = state();
  EXPECT_EQ(after.at(data + "/logs/one.log"), "0775 " + owners("alice:admin") + " file: one\n");
  EXPECT_EQ(after.at(home + "/installInfo.plist"),
            "0640 " + owners("alice:admin") + " file: " + recordsText({{"version", "6.2.1"}}));
}

}  // namespace

}  // namespace hotfix
