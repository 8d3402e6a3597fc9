#include "Platform/ProcessList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserDefaults.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

TEST_F(FakeHostTest, FixedPathsLieInTheTestsFolder) {
  EXPECT_EQ(platform::onDisk("/tmp/x"), folder / outside("/tmp/x"));
}

TEST_F(FakeHostTest, LogKeepsLevelsAndTexts) {
  platform::log(platform::LogLevel::Error, "one %d", 1);
  platform::log(platform::LogLevel::Info, "two");
  EXPECT_EQ(log(), (LogLines{{3, "one 1"}, {6, "two"}}));
  EXPECT_EQ(log(platform::LogLevel::Info), (std::vector<std::string>{"two"}));
}

TEST_F(FakeHostTest, ProcessesAndDefaultsAreTheTestsOwn) {
  EXPECT_TRUE(platform::processInformation(platform::kBundleExecutableKey).empty());
  EXPECT_FALSE(platform::globalDefault("AppleLocale"));
  runProcess(4711, "/Apps/X.app/Contents/MacOS/x");
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_EQ(platform::processInformation(platform::kBundleExecutableKey),
            (std::vector<std::string>{"/Apps/X.app/Contents/MacOS/x"}));
  EXPECT_EQ(platform::globalDefault("AppleLocale"), PropertyListValue("de_DE"));
}

}  // namespace

}  // namespace hotfix
