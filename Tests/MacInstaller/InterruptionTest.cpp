#include <sys/wait.h>

#include "MacInstaller/tool/Interruption.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

/// What a signal meets in each state; that each one finds the tool in each step is tested with the finished tool.
class InterruptionTest : public ::testing::Test {
 protected:
  /// Standard error of a process that does \a body and then gets a signal. \param[out] status its wait status.
  std::string interrupted(int signal, const std::function<void()>& body, int* status) const {
    const int errors = open((folder / "errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const pid_t child = fork();
    if (child == 0) {
      dup2(errors, STDERR_FILENO);
      body();
      (void)raise(signal);
      _exit(77);
    }
    close(errors);
    EXPECT_EQ(waitpid(child, status, 0), child);
    return folder.read("errors");
  }
  /// The same for SIGTERM, which must be what the process died of.
  std::string terminated(const std::function<void()>& body) const {
    int status = 0;
    std::string text = interrupted(SIGTERM, body, &status);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    return text;
  }
  std::string home() const { return folder / "home"; }
  std::string makeManifest() const { return folder.makeFile("home/deploy/uninstall.hotfix.xml"); }

  TemporaryFolder folder;

  static constexpr char kEnded[] = "hotfixUninstall was ended by SIGTERM";
  static constexpr char kKept[] = "The uninstall manifest is not consumed: the tool can be run again.\n";
};

TEST_F(InterruptionTest, StepAndChildAreNamed) {
  makeManifest();
  EXPECT_EQ(terminated([this] {
              interruption::begin(home());
              interruption::setStep("Sleeping");
              interruption::setChild("/a/b/rcplauncher", 4711);
            }),
            std::string(kEnded) + " in the step: Sleeping.\nrcplauncher goes on: process 4711.\n" + kKept);
}

TEST_F(InterruptionTest, StepAndChildThatHaveEndedAreNotNamed) {
  makeManifest();
  EXPECT_EQ(terminated([this] {
              interruption::begin(home());
              interruption::setStep("Sleeping");
              interruption::setChild("/a/b/rcplauncher", 4711);
              interruption::clearChild();
              interruption::setStep(nullptr);
            }),
            std::string(kEnded) + ".\n" + kKept);
}

TEST_F(InterruptionTest, ConsumedManifestIsTold) {
  const std::string manifest = makeManifest();
  EXPECT_EQ(terminated([&] {
              interruption::begin(home());
              unlink(manifest.c_str());
            }),
            std::string(kEnded) + ".\nThe uninstall manifest is consumed: see Recovery in man hotfixUninstall.\n");
}

TEST_F(InterruptionTest, ManifestThatWasNotThereIsNotCalledConsumed) {
  EXPECT_EQ(terminated([this] { interruption::begin(home()); }),
            std::string(kEnded) + ".\nThere was no uninstall manifest.\n");
  EXPECT_EQ(terminated([] { interruption::begin(std::nullopt); }),
            std::string(kEnded) + ".\nThere was no uninstall manifest.\n");
}

TEST_F(InterruptionTest, ManifestThatCannotBeLookedForIsNotCalledConsumed) {
  const std::string unknown = std::string(kEnded) +
                              ".\nWhether the uninstall manifest is consumed cannot be told: look for "
                              "deploy/uninstall.hotfix.xml.\n";
  makeManifest();
  const auto hide = [this] {
    (void)rename((folder / "home/deploy").c_str(), (folder / "home/away").c_str());
    (void)!symlink("deploy", (folder / "home/deploy").c_str());  // a link in a circle
  };
  const auto show = [this] {
    (void)unlink((folder / "home/deploy").c_str());
    (void)rename((folder / "home/away").c_str(), (folder / "home/deploy").c_str());
  };
  EXPECT_EQ(terminated([&] {
              interruption::begin(home());
              hide();
            }),
            unknown);
  EXPECT_EQ(terminated([&] { interruption::begin(home()); }), unknown);
  EXPECT_EQ(terminated([&] {
              interruption::begin(home());
              show();
            }),
            std::string(kEnded) + ".\n" + kKept);
  EXPECT_EQ(terminated([] { interruption::begin("/" + std::string(5000, 'x')); }), unknown);
}

TEST_F(InterruptionTest, RemovedHotfixIsTold) {
  EXPECT_EQ(terminated([this] {
              interruption::begin(home());
              interruption::setRemoved();
            }),
            std::string(kEnded) + ".\nThe hotfix was removed; what follows the uninstall is not complete.\n");
}

TEST_F(InterruptionTest, IgnoredSignalStaysIgnored) {
  int status = 0;
  EXPECT_EQ(interrupted(
                SIGHUP,
                [this] {
                  signal(SIGHUP, SIG_IGN);
                  interruption::begin(home());
                },
                &status),
            "");
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 77) << status;
}

TEST_F(InterruptionTest, ReaderThatHasGoneDoesNotChangeTheSignalThatItDiesOf) {
  EXPECT_EQ(terminated([this] {
              int ends[2];
              if (pipe(ends) != 0) return;
              close(ends[0]);
              dup2(ends[1], STDERR_FILENO);
              interruption::begin(home());
            }),
            "");
}

TEST_F(InterruptionTest, SecondSignalEndsAMessageThatNobodyTakes) {
  EXPECT_EQ(terminated([this] {
              int ends[2];
              if (pipe(ends) != 0) return;
              (void)fcntl(ends[1], F_SETFL, O_NONBLOCK);
              while (write(ends[1], "full", 4) > 0) continue;
              (void)fcntl(ends[1], F_SETFL, 0);
              dup2(ends[1], STDERR_FILENO);
              interruption::begin(home());
              const pid_t tool = getpid();
              if (fork() == 0) {  // the first signal is the caller's own
                usleep(100 * 1000);
                for (int time = 0; time < 200 && kill(tool, SIGTERM) == 0; ++time) usleep(50 * 1000);
                _exit(0);
              }
            }),
            "");
}

}  // namespace

}  // namespace hotfix
