#include <sys/resource.h>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class EnvironmentTest : public MachineTest {};

TEST_F(EnvironmentTest, EmptyEnvironmentIsEnough) {
  giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), data + "/logs/one.log");
  Call call = uninstall();
  for (const char* name : {"USER", "HOME", "PATH"}) call.environment.erase(name);
  expectSucceeded(run(call), allChildren(), allTrace());
  EXPECT_EQ(state().at(data + "/logs/one.log"), "0775 " + owners("root:admin") + " file: one\n");
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

// ----- Descriptors, signals and limits that make no difference -----

/// Something that the process does before it becomes the tool.
struct Circumstance {
  std::string name;
  std::function<void()> prepare;
  bool hasOutput = true;
};
std::ostream& operator<<(std::ostream& stream, const Circumstance& circumstance) { return stream << circumstance.name; }

std::function<void()> closing(const std::vector<int>& descriptors) {
  return [descriptors] {
    for (const int descriptor : descriptors) close(descriptor);
  };
}

void ignoreChildren() { signal(SIGCHLD, SIG_IGN); }

void blockSignals() {
  sigset_t signals;
  sigfillset(&signals);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

void loseReader() {
  int ends[2];
  if (pipe(ends) != 0) _exit(125);
  close(ends[0]);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
}

void fillOutput() { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }

/// As in a host that has used nearly all of them up.
void leaveFewDescriptors() {
  const struct rlimit limit = {16, 16};
  setrlimit(RLIMIT_NOFILE, &limit);
}

class CircumstanceTest : public MachineTest, public ::testing::WithParamInterface<Circumstance> {
 protected:
  Outcome runIn(const Circumstance& circumstance) {
    Call call = uninstall();
    call.prepare = circumstance.prepare;
    return run(call);
  }
};

TEST_P(CircumstanceTest, SuccessfulRunIsTheSame) {
  const Snapshot before = state();
  Outcome outcome = runIn(GetParam());
  EXPECT_EQ(outcome.output, GetParam().hasOutput ? kSucceeded : "");
  outcome.output = kSucceeded;
  expectSuccess(outcome, before);
}

TEST_P(CircumstanceTest, FailedRunIsTheSameAndPrintsIntoNoFile) {
  setLauncher("echo rc=1 > \"$result\"");
  const std::string output = std::string(kUnexpected) + kUsage;
  expectFailed(runIn(GetParam()), GetParam().hasOutput ? output : "", failedUninstall());
  for (const auto& [path, entry] : state()) {
    EXPECT_EQ(entry.find("Unexpected results"), std::string::npos) << path;
    EXPECT_EQ(entry.find("Usage: [sudo"), std::string::npos) << path;
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, CircumstanceTest,
    ::testing::Values(Circumstance{"IgnoredChildSignal", ignoreChildren}, Circumstance{"BlockedSignals", blockSignals},
                      Circumstance{"ReaderThatHasGone", loseReader, false},
                      Circumstance{"FullOutput", fillOutput, false},
                      Circumstance{"FewDescriptors", leaveFewDescriptors}, Circumstance{"NoInput", closing({0})},
                      Circumstance{"NoOutput", closing({1}), false}, Circumstance{"NoErrors", closing({2})},
                      Circumstance{"NoneOfThem", closing({0, 1, 2}), false}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace

}  // namespace hotfix
