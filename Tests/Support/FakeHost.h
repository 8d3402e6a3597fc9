#ifndef TESTS_SUPPORT_OUTSIDE_H_
#define TESTS_SUPPORT_OUTSIDE_H_

#include "Platform/LocalTime.h"
#include "Platform/SystemLog.h"
#include "Support/OptionalString.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

/// Stand-ins for the host outside an instance: fixed paths are redirected below the test's own folder, messages to the
/// system log are stored instead of sent, the clock does not advance, and no bundle is protected. Everything else is
/// real.

/// A message to the system log: its level as in platform::LogLevel, and its complete text.
using LogLine = std::pair<int, std::string>;
using LogLines = std::vector<LogLine>;

/// The base of the fixtures. Each test starts with an empty folder, an empty log, the clock at 15 November 2026,
/// 21:25:07, and the environment variable USER set to the account that runs the tests.
class FakeHostTest : public ::testing::Test {
 protected:
  FakeHostTest();
  ~FakeHostTest() override;

  /// The test's folder, for instances and other files of the test.
  TemporaryFolder folder;

  /// The place of the fixed path \a path for this test (the same as platform::onDisk returns), relative to the test's
  /// folder, for the helpers of `folder`.
  static std::string outside(const std::string& path) { return "outside" + path; }

  /// Return all messages logged so far, in order, or those of one level. clearLog removes them.
  static const LogLines& log();
  static std::vector<std::string> log(platform::LogLevel level);
  static void clearLog();

  static void setClock(const platform::LocalTime& moment);

  /// Sets the result of platform::protectsBundles: whether the system may protect application bundles.
  static void protectBundles(bool areProtected);

  /// Sets an environment variable for this test, or removes it (absent value). It is restored after the test.
  void setEnvironment(const std::string& name, const OptionalString& value);

  /// Adds a process with this executable path to the process list.
  void runProcess(int pid, const std::string& executable) const;

  /// A setting of the invoking user: the property list of a domain, or ".GlobalPreferences", as text.
  void setUserDefaults(const std::string& domain, const std::string& propertyList) const;

 private:
  std::vector<std::pair<std::string, OptionalString>> _environmentBefore;
};

}  // namespace hotfix

#endif
