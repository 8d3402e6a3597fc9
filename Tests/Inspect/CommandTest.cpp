// What hotfixInspect says to calls that an administrator can get wrong, and to callers without rights.

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Tests/Inspect/InspectTest.h"

namespace hotfix {

namespace {

using Json = nlohmann::json;
using ::testing::HasSubstr;

class InspectCommandTest : public InspectTest {
 protected:
  Json document(Call call, const std::string& ending) {
    call.commandLine.emplace_back("--json");
    const Outcome outcome = run(call);
    EXPECT_EQ(outcome.ending, ending) << outcome.output;
    EXPECT_EQ(outcome.standardError, "");
    return Json::parse(outcome.output, nullptr, false);
  }

  Call byBob(const CommandLine& words) {
    Call call = inspectCall(words);
    call.user = ThrowAwayRoot::bob();
    return call;
  }
};

TEST_F(InspectCommandTest, WrongCallsAreRefusedAndNothingIsPassedOver) {
  for (const auto& [words, message] : std::vector<std::pair<CommandLine, std::string>>{
           {{}, "what is to be shown is missing"},
           {{"uninstall"}, "there is no uninstall"},
           {{"--bogus"}, "there is no option --bogus"},
           {{"status"}, "status needs HOME"},
           {{"status", home, data, "more"}, "status needs HOME"},
           {{"status", home, "--home", home}, "status needs HOME"},
           {{"status", "--home"}, "--home needs a value"},
           {{"status", home, "-rcpdata", data}, "status has no option -rcpdata"},
           {{"status", home, "--result", "1"}, "status has no option --result"},
           {{"preview", home}, "preview takes no operands"},
           {{"preview", "-rcphome", home, "--all"}, "preview has no option --all"},
           {{"preview", "-rcphome"}, "-rcphome needs a value"},
           {{"verify"}, "verify needs BEFORE.json"},
           {{"verify", "a", "b"}, "verify needs BEFORE.json"},
           {{"verify", "a", "--home", home}, "verify has no option --home"}}) {
    const Outcome outcome = inspect(words);
    EXPECT_EQ(outcome.ending, "exit 64");
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.standardError, HasSubstr("hotfixInspect: " + message));
    const Json error = document(inspectCall(words), "exit 64");
    EXPECT_EQ(error.at("document"), "error");
    EXPECT_THAT(error.at("message").get<std::string>(), HasSubstr(message));
  }
}

TEST_F(InspectCommandTest, FirstOfTwoHomesCountsAsForTheTool) {
  const Json preview =
      document(inspectCall({"preview", "-rcphome", home, "-rcpdata", data, "-rcphome", "/none"}), "exit 0");
  EXPECT_EQ(preview.at("command"), Json({"hotfixUninstall", "-rcphome", home, "-rcpdata", data}));
}

TEST_F(InspectCommandTest, RelativePathsMeanTheSameElsewhere) {
  Call call = inspectCall({"status", "rcp", "../../../../Users/alice/Client Data"});
  call.folder = bundle + "/Contents/MacOS";
  const Json status = document(call, "exit 11");
  EXPECT_EQ(status.at("home"), home);
  EXPECT_EQ(status.at("data"), data);
}

TEST_F(InspectCommandTest, WhatIsClosedToTheCallerIsNoDamage) {
  if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "needs several accounts";
  const Json again = Json::array({{"sudo", "hotfixInspect", "status", home, data}});
  Json status = document(byBob({"status", home, data}), "exit 15");
  EXPECT_EQ(status.at("evidence"), Json::array({home + "/installInfo.plist cannot be read"}));
  EXPECT_EQ(status.at("wayOut"), again) << "and not to move the records aside";
  files().makeFolder(inHome("deploy"), 0700);
  status = document(byBob({"status", home, data}), "exit 15");
  EXPECT_EQ(status.at("evidence")[0], home + "/deploy/install.xml cannot be looked at: Permission denied");
  files().makeFolder(inside(bundle), 0700);
  status = document(byBob({"status", home, data}), "exit 16");
  EXPECT_EQ(status.at("evidence")[0], home + " cannot be looked at: Permission denied");
  EXPECT_EQ(status.at("wayOut"), again);
  EXPECT_EQ(document(inspectCall({"status", home, data}), "exit 11").at("state"), "removable");
}

TEST_F(InspectCommandTest, RecordThatIsNoPackageIsNoOptionOfPkgutil) {
  for (const char* package : {"--forget=com.qor.hotfix.pkg", "-f", ""}) {
    setRecords({{"hotfixVersion", "6.2.1.1"}, {"installedHotfixBundleID", package}});
    const Outcome outcome = inspect({"status", home, data, "--json"});
    EXPECT_EQ(outcome.commandLines(), std::vector<CommandLine>()) << package;
    const Json status = Json::parse(outcome.output, nullptr, false);
    EXPECT_TRUE(status.at("receipt").at("known").is_null());
    files().makeFile(inside("/stand-ins/before.json"), outcome.output);
    EXPECT_EQ(inspect({"verify", "/stand-ins/before.json"}).commandLines(), std::vector<CommandLine>());
  }
  setRecords({{"hotfixVersion", "6.2.1.1"}, {"installedHotfixBundleID", kPackage}});
  EXPECT_EQ(inspect({"status", home, data}).commandLines().size(), 1U);
}

TEST_F(InspectCommandTest, LargeDocumentIsRefusedUnread) {
  files().makeFile(inside("/stand-ins/before.json"), std::string((size_t{16} << 20) + 1, ' '));
  EXPECT_EQ(inspect({"verify", "/stand-ins/before.json"}).ending, "exit 65");
}

}  // namespace

}  // namespace hotfix
