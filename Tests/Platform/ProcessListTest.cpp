#include <gmock/gmock.h>
#include <unistd.h>

#include "Platform/ProcessList.h"
#include "Tests/Support/Outside.h"

namespace {

using platform::kBundleExecutableKey;
using platform::processInformation;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class ProcessListTest : public OutsideTest {
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

TEST_F(ProcessListTest, WhatIsNoProcessIsNotListed) {
  folder.makeLink(outside("/proc/self/exe"), "/bin/self");
  folder.makeLink(outside("/proc/12x/exe"), "/bin/x");
  folder.makeLink(outside("/proc/sys/exe"), "/bin/sys");
  folder.makeFile(outside("/proc/version"));
  EXPECT_THAT(executables(), IsEmpty());
}

TEST_F(ProcessListTest, ProcessWithoutAnExecutableIsNotListed) {
  folder.makeFolder(outside("/proc/2"));  // a kernel thread
  folder.makeFile(outside("/proc/3/exe"), "no link");
  folder.makeFile(outside("/proc/4"), "no folder");
  runProcess(5, "/bin/five");
  EXPECT_THAT(executables(), ElementsAre("/bin/five"));
}

TEST_F(ProcessListTest, NoProcessFolderIsNoProcesses) { EXPECT_THAT(executables(), IsEmpty()); }

TEST_F(ProcessListTest, ReplacedProgramIsListedByItsPath) {
  runProcess(1, "/Apps/X.app/Contents/MacOS/x (deleted)");
  runProcess(2, folder / "replaced (deleted)");
  folder.makeFile("replaced", "the new one");
  EXPECT_THAT(executables(), UnorderedElementsAre("/Apps/X.app/Contents/MacOS/x", folder / "replaced"));
}

TEST_F(ProcessListTest, ProgramWhoseNameLooksReplacedKeepsIt) {
  runProcess(1, folder.makeFile("x (deleted)"));
  runProcess(2, " (deleted)");
  EXPECT_THAT(executables(), UnorderedElementsAre(folder / "x (deleted)", " (deleted)"));
}

TEST_F(ProcessListTest, LongPathIsWhole) {
  std::string path;
  while (path.size() < 3900) path += "/a name of some length";
  runProcess(1, path);
  EXPECT_THAT(executables(), ElementsAre(path));
}

}  // namespace
