#include <regex>
#include <tuple>

#include "Tests/EndToEnd/WatchedTest.h"

namespace hotfix {

namespace {

constexpr char kKept[] = "The uninstall manifest is not consumed: the tool can be run again.\n";
constexpr char kConsumed[] = "The uninstall manifest is consumed: see Recovery in man hotfixUninstall.\n";
constexpr char kRemoved[] = "The hotfix was removed; what follows the uninstall is not complete.\n";
constexpr char kRepairing[] = "Repairing the owner of the workspace";

/// Where a signal meets the tool: while a child runs, or at a call of its own.
struct Moment {
  std::string name;
  std::string step;
  std::string state;
  std::string place;  ///< path of the stand-in that sends the signal, or what the line of the tool's call matches
  int time;           ///< at which start of it, or at which of these calls

  bool isChild() const { return place.front() == '/'; }
};

constexpr char kLauncher[] = "/rcplauncher";

const std::vector<Moment>& moments() {
  static const std::vector<Moment> all = {
      {"Checking", "Checking the instance", kKept, "openat.* /Applications/.*installInfo.plist read$", 1},
      {"FirstLaunch", "Running the platform to remove the hotfix, 1 of 2", kConsumed, kLauncher, 1},
      {"SecondLaunch", "Running the platform to remove the hotfix, 2 of 2", kConsumed, kLauncher, 2},
      {"Receipt", "Forgetting the installer's receipt", kConsumed, "/usr/sbin/pkgutil", 1},
      {"FirstRepair", kRepairing, kConsumed, "chown.*one.log", 1},
      {"LogCollection", "Collecting the log files", kRemoved, "/Library/Java/Home 1/bin/java", 1},
      {"CleanUp", "Running the platform to clean up", kRemoved, kLauncher, 3},
      {"Update", "Running the platform to update", kRemoved, kLauncher, 4},
      {"LastRepair", kRepairing, kRemoved, "chown.*late.log", 1}};
  return all;
}

class SignalsTest : public WatchedTest {
 protected:
  /// At a start of the program, its parent gets a signal; the program itself goes on.
  void sendAtStart(const Moment& moment, int signal) {
    const bool isLauncher = moment.place == kLauncher;
    const std::string send = "echo >> /tmp/starts\n[ $(wc -l < /tmp/starts) != " + std::to_string(moment.time) +
                             " ] || { echo $$ > /tmp/child; kill -" + std::to_string(signal) +
                             " $PPID; sleep 0.2; echo > /tmp/goes.on; }\n";
    if (isLauncher) {
      setLauncher(send + "echo rc=0 > \"$result\"");
    } else {
      makeStandIn(moment.place, send);
    }
  }

  /// The number of the tool's call that is meant, in a run on a machine like this one.
  size_t numberOfCall(const Moment& moment) {
    run(failing(0, "list"));
    int count = 0;
    for (const std::string& line : files().lines(inside(kNotedCalls))) {
      if (std::regex_search(line, std::regex(moment.place)) && ++count == moment.time) return std::stoul(line);
    }
    ADD_FAILURE() << "no call matches " << moment.place << "\n" << files().read(inside(kNotedCalls));
    return 0;
  }

  /// The uninstall, with its calls counted and one of them hit.
  Call failing(size_t number, const std::string& how) {
    // A file that only the last repair finds.
    setLauncher("[ $5 = cleanup ] && : > " + std::string("'") + data + "/late.log'\necho rc=0 > \"$result\"");
    return uninstallWithFault(how, number);
  }
};

class SignalMomentTest : public SignalsTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(SignalMomentTest, IsToldWithStepChildAndManifestAndEndsTheTool) {
  const Moment& moment = moments()[GetParam()];
  // By turns: the moment and the signal have nothing to do with each other.
  static const std::tuple<int, std::string, std::string> kSignals[] = {
      {SIGINT, "SIGINT", "int"}, {SIGTERM, "SIGTERM", "term"}, {SIGHUP, "SIGHUP", "hup"}};
  const auto& [signal, name, how] = kSignals[GetParam() % 3];
  size_t number = 0;
  if (!moment.isChild()) {
    number = numberOfCall(moment);
    SetUp();  // another machine
  }
  if (moment.isChild()) sendAtStart(moment, signal);
  const Outcome outcome = run(moment.isChild() ? uninstall() : failing(number, how));
  EXPECT_EQ(outcome.ending, "signal " + std::to_string(signal));
  std::string child;
  if (moment.isChild()) {
    child = moment.place.substr(moment.place.rfind('/') + 1) + " goes on: process " +
            files().lines(inside("/tmp/child")).front() + ".\n";
  }
  EXPECT_EQ(outcome.errors,
            "hotfixUninstall was ended by " + name + " in the step: " + moment.step + ".\n" + child + moment.state);
  if (moment.isChild()) {
    for (int tries = 0; tries < 200 && !files().has(inside("/tmp/goes.on")); ++tries) usleep(50 * 1000);
    EXPECT_TRUE(files().has(inside("/tmp/goes.on")));
  }
}

INSTANTIATE_TEST_SUITE_P(Moments, SignalMomentTest, ::testing::Range<size_t>(0, 9),
                         [](const auto& instance) { return moments()[instance.param].name; });

TEST_F(SignalsTest, AtATerminalTheMessageBeginsOnALineOfItsOwn) {
  sendAtStart(moments()[1], SIGINT);
  std::string text;
  EXPECT_EQ(watch(text).ending, "signal 2");
  EXPECT_NE(text.find(", 1 of 2 ...\nhotfixUninstall was ended by SIGINT in the step: Running"), std::string::npos)
      << text;
}

}  // namespace

}  // namespace hotfix
