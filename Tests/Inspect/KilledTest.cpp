// Where a run died: the tool is killed before each of its calls that change something, and what hotfixInspect prints
// leads out.

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Tests/Inspect/InspectTest.h"
#include "Tests/Inspect/States.h"

namespace hotfix {

namespace {

using Json = nlohmann::json;

bool changesSomething(const std::string& call) {
  for (const char* name : {"rename", "unlink", "link", "symlink", "mkdir", "rmdir", "chmod", "chown", "write",
                           "copy_file_range", "ftruncate", "posix_spawn", "fsync", "utimens"}) {
    if (call.find(name) != std::string::npos) return true;
  }
  return call.rfind("open", 0) == 0;
}

}  // namespace

class KilledTest : public InspectTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void makeMachine() {
    makeRemovableHotfix();
    setResult(GetParam());
  }

  Json status() {
    const Outcome outcome = inspect({"status", home, data, "--json"});
    keepDocument(outcome.output);
    return Json::parse(outcome.output, nullptr, false);
  }

  /// Carries out what a status says leads out.
  void followWayOut(const Json& status) {
    for (const Json& command : status.at("wayOut")) {
      CommandLine words = command.get<CommandLine>();
      ASSERT_EQ(words.at(0), "sudo");
      words.erase(words.begin());
      const std::string name = words.front();
      Call next = call({});
      next.program = name == "hotfixUninstall" ? HOTFIX_TOOL : "/bin/" + name;
      next.commandLine = words;
      EXPECT_EQ(run(next).ending, "exit 0") << command;
    }
  }

  /// What the machine itself shows, and no word of the tool.
  std::string trueState() {
    const std::string properties = files().read(inHome("rcplauncher.properties"));
    const std::string records = files().read(inHome("installInfo.plist"));
    if (files().has(inHome("deploy/uninstall.hotfix.xml"))) return "removable";
    const bool hasNewId = properties.find("rcp.install.id=" + std::string(kOldStamp)) == std::string::npos;
    const bool areCleared = records.find("hotfixVersion") == std::string::npos &&
                            records.find("installedHotfixBundleID") == std::string::npos;
    if (!hasNewId) return "interrupted";
    return areCleared ? "removed" : "failed";
  }
};

TEST_P(KilledTest, StatusKnowsTheStateAndLeadsOut) {
  makeMachine();
  run(uninstallWithFault("list", 0));
  std::vector<size_t> numbers;
  std::istringstream notes(files().read(inside(kNotedCalls)));
  for (std::string line; std::getline(notes, line);) {
    const size_t blank = line.find(' ');
    if (changesSomething(line.substr(blank + 1))) numbers.push_back(std::stoul(line));
  }
  ASSERT_GT(numbers.size(), 30U);
  std::map<std::string, int> states;
  const char* share = std::getenv("HOTFIX_EVERY_KILL");  // each, or one of so many
  const size_t step = share != nullptr ? std::stoul(share) : 1;
  for (size_t at = 0; at < numbers.size(); at += step) {
    const size_t number = numbers[at];
    InspectTest::TearDown();
    InspectTest::SetUp();
    makeMachine();
    SCOPED_TRACE("killed before call " + std::to_string(number));
    const Outcome before = inspect({"status", home, data, "--json"});
    files().makeFile(inside("/stand-ins/before.json"), before.output);
    ASSERT_EQ(run(uninstallWithFault("kill", number)).ending, "signal 9");
    const std::string expected = trueState();
    const Json found = status();
    ASSERT_TRUE(found.is_object());
    EXPECT_EQ(found.at("state"), expected) << found.at("evidence");
    ++states[expected];
    setResult("0");
    followWayOut(found);
    EXPECT_EQ(status().at("state"), "removed");
    if (expected != "removed") {
      const Outcome verify = inspect({"verify", "/stand-ins/before.json", "--json"});
      keepDocument(verify.output);
      EXPECT_EQ(verify.ending, "exit 0") << verify.output << verify.errors;
    }
    if (HasFailure()) return;
  }
  std::string counts;
  for (const auto& [state, count] : states) counts += state + " " + std::to_string(count) + "; ";
  RecordProperty("states", counts);
  std::cout << (numbers.size() + step - 1) / step << " kills: " << counts << "\n";
}

class ContradictionTest : public KilledTest {};

TEST_P(ContradictionTest, WayOutLeadsToARemoval) {
  makeMachine();
  const std::string kind = GetParam();
  if (kind == "damaged records") files().makeFile(inHome("installInfo.plist"), "{ no list");
  if (kind == "no record") files().makeFile(inHome("installInfo.plist"), "{ version = \"6.2.1\"; }");
  setResult("0");
  const Json found = status();
  EXPECT_EQ(found.at("state"), "inconsistent");
  EXPECT_EQ(found.at("evidence").size(), 1U);
  followWayOut(found);
  EXPECT_EQ(status().at("state"), "removed");
}

INSTANTIATE_TEST_SUITE_P(Kinds, ContradictionTest, ::testing::Values("damaged records", "no record"));

INSTANTIATE_TEST_SUITE_P(Results, KilledTest, ::testing::Values("0", "1"));

}  // namespace hotfix
