#ifndef TESTS_SUPPORT_OUTSIDE_H_
#define TESTS_SUPPORT_OUTSIDE_H_

#include "Platform/LocalTime.h"
#include "Platform/SystemLog.h"
#include "Support/OptionalString.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

/// Stand-ins for the world outside an instance: fixed paths lie below the test's own folder, messages to the system
/// log are kept instead of sent, the clock stands still, and no bundle is protected. Everything else is real.

/// A message that went to the system log: level as in platform::LogLevel, and the finished text.
using LogLine = std::pair<int, std::string>;
using LogLines = std::vector<LogLine>;

/// Base of the fixtures. Each test starts with an empty folder, an empty log, the clock at 15 November 2026, 21:25:07,
/// and the environment variable USER set to the account that runs the tests.
class FakeHostTest : public ::testing::Test {
 protected:
  FakeHostTest();
  ~FakeHostTest() override;

  /// The test's folder. Instances and other files of a test go here.
  TemporaryFolder folder;

  /// Where the fixed path \a path lies for this test (the same answer as platform::onDisk), for folder's helpers:
  /// relative to the test's folder.
  static std::string outside(const std::string& path) { return "outside" + path; }

  /// All messages logged so far, in order; those of one level; and their removal.
  static const LogLines& log();
  static std::vector<std::string> log(platform::LogLevel level);
  static void clearLog();

  static void setClock(const platform::LocalTime& moment);

  /// Lets the system be one that may protect application bundles, as platform::protectsBundles tells.
  static void protectBundles(bool areProtected);

  /// Sets an environment variable for this test, or removes it (absent value); put back afterwards.
  void setEnvironment(const std::string& name, const OptionalString& value);

  /// Lets a process with this executable path run, as far as the process list can see.
  void runProcess(int pid, const std::string& executable) const;

  /// A setting of the invoking user: the property list of a domain, or ".GlobalPreferences", as text.
  void setUserDefaults(const std::string& domain, const std::string& propertyList) const;

 private:
  std::vector<std::pair<std::string, OptionalString>> _environmentBefore;
};

}  // namespace hotfix

#endif
