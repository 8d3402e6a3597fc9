#include <pwd.h>
#include <sys/wait.h>

#include "Platform/FileManager.h"
#include "Platform/ProcessList.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using platform::kBundleExecutableKey;
using platform::processInformation;

class ProcessListTest : public FakeHostTest {
 protected:
  static std::vector<std::string> executables() { return processInformation(kBundleExecutableKey); }
};

TEST_F(ProcessListTest, EveryProcessIsListedOnce) {
  runProcess(1, "/sbin/init");
  runProcess(4711, "/Apps/Pröduct.app/Contents/MacOS/a program");
  runProcess(4712, "/Apps/Pröduct.app/Contents/MacOS/a program");
  runProcess(4294967, "/new\nline");
  EXPECT_THAT(executables(), UnorderedElementsAre("/sbin/init", "/Apps/Pröduct.app/Contents/MacOS/a program",
                                                  "/Apps/Pröduct.app/Contents/MacOS/a program", "/new\nline"));
}

TEST_F(ProcessListTest, CallingProcessIsLeftOut) {
  runProcess(getpid(), "/Apps/X.app/Contents/MacOS/hotfixUninstall");
  runProcess(getppid(), "/bin/sh");
  EXPECT_THAT(executables(), ElementsAre("/bin/sh"));
}

TEST_F(ProcessListTest, OtherKeysHaveNoValues) {
  runProcess(1, "/sbin/init");
  for (const char* key : {"CFBundleName", "cfbundleexecutable", "", "BundlePath"}) {
    EXPECT_THAT(processInformation(key), IsEmpty()) << key;
  }
}

TEST_F(ProcessListTest, WhatIsNoProcessOrHasNoExecutableIsNotListed) {
  EXPECT_THAT(executables(), IsEmpty()) << "without a folder of processes";
  folder.makeLink(outside("/proc/self/exe"), "/bin/self");
  folder.makeLink(outside("/proc/12x/exe"), "/bin/x");
  folder.makeLink(outside("/proc/sys/exe"), "/bin/sys");
  folder.makeFile(outside("/proc/version"));
  folder.makeFolder(outside("/proc/2"));  // a kernel thread
  folder.makeFile(outside("/proc/3/exe"), "no link");
  folder.makeFile(outside("/proc/4"), "no folder");
  runProcess(5, "/bin/five");
  EXPECT_THAT(executables(), ElementsAre("/bin/five"));
}

TEST_F(ProcessListTest, OnlyAReplacedProgramLosesTheMarkBehindItsName) {
  folder.makeFile("replaced", "the new one");
  runProcess(1, "/Apps/X.app/Contents/MacOS/x (deleted)");
  runProcess(2, folder / "replaced (deleted)");
  runProcess(3, folder.makeFile("x (deleted)"));
  runProcess(4, " (deleted)");
  EXPECT_THAT(executables(), UnorderedElementsAre("/Apps/X.app/Contents/MacOS/x", folder / "replaced",
                                                  folder / "x (deleted)", " (deleted)"));
}

TEST_F(ProcessListTest, LongPathIsWhole) {
  std::string path;
  while (path.size() < 3900) path += "/a name of some length";
  runProcess(1, path);
  EXPECT_THAT(executables(), ElementsAre(path));
}

// ----- findProcess -----

/// A process that runs a copy of a program until the object's end.
class RunningProgram {
 public:
  /// \param user whose it is; 0 for the account of the test.
  explicit RunningProgram(const std::string& path, uid_t user = 0) {
    int started[2];
    EXPECT_EQ(pipe(started), 0);
    _id = fork();
    if (_id == 0) {
      for (const int end : started) fcntl(end, F_SETFD, FD_CLOEXEC);  // the end of the pipe: it runs the program
      if (user == 0 || setuid(user) == 0) execl(path.c_str(), path.c_str(), "infinity", nullptr);
      _exit(1);
    }
    close(started[1]);
    char byte;
    EXPECT_EQ(read(started[0], &byte, 1), 0);
    close(started[0]);
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram() {
    kill(_id, SIGKILL);
    waitpid(_id, nullptr, 0);
  }

  pid_t id() const { return _id; }

 private:
  pid_t _id;
};

class FindProcessTest : public ProcessListTest {
 protected:
  void SetUp() override {
    if (access("/proc/self/exe", F_OK) != 0) GTEST_SKIP() << "this system shows no processes in /proc";
    folder.makeLink(outside("/proc"), "/proc");
    program = folder.makeFile("program", platform::readFile("/bin/sleep").value_or(""), 0755);
    chmod(folder.path().c_str(), 0755);
  }

  std::optional<platform::RunningProcess> found() const {
    return platform::findProcess([this](const std::string& executable) { return executable == program; });
  }

  std::string program;
};

TEST_F(FindProcessTest, ChildIsFoundWithItsUser) {
  const RunningProgram child(program);
  const auto process = found();
  ASSERT_TRUE(process);
  EXPECT_EQ(process->id, child.id());
  const struct passwd* account = getpwuid(geteuid());
  EXPECT_EQ(process->user, account != nullptr ? account->pw_name : std::to_string(geteuid()));
  EXPECT_EQ(process->executable, program);
}

TEST_F(FindProcessTest, UserWithoutAnAccountHasANumber) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can start a process of another user";
  constexpr uid_t kUser = 2000000123;
  if (getpwuid(kUser) != nullptr) GTEST_SKIP() << "this machine has an account of the number that is to have none";
  // Most of what /proc has of a process whose program its user may not read belongs to root.
  for (const mode_t mode : std::initializer_list<mode_t>{0755U, 0711U}) {
    chmod(program.c_str(), mode);
    const RunningProgram child(program, kUser);
    const auto process = found();
    ASSERT_TRUE(process);
    EXPECT_EQ(process->id, child.id());
    EXPECT_EQ(process->user, std::to_string(kUser));
  }
}

TEST_F(FindProcessTest, NoneIsFoundBeforeItRunsAndOnceItHasEnded) {
  EXPECT_FALSE(found());
  { const RunningProgram child(program); }
  EXPECT_FALSE(found());
}

TEST_F(ProcessListTest, FirstProcessThatIsLookedForIsFound) {
  runProcess(11, "/bin/a");
  runProcess(12, "/bin/b");
  runProcess(13, "/bin/b");
  std::vector<std::string> asked;
  const auto process = platform::findProcess([&asked](const std::string& executable) {
    asked.push_back(executable);
    return executable == "/bin/b";
  });
  ASSERT_TRUE(process);
  EXPECT_EQ(process->executable, "/bin/b");
  EXPECT_TRUE(process->id == 12 || process->id == 13) << process->id;
  EXPECT_EQ(asked.back(), "/bin/b");
  EXPECT_LE(asked.size(), 2U);
}

}  // namespace

}  // namespace hotfix
