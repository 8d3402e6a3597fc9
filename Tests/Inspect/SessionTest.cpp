// The session that README.md shows, held against a real one.

#include <gmock/gmock.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <regex>

#include "Tests/Inspect/States.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

constexpr char kManifest[] =
    "<install><domain-object><object-data><install><installfeature><requirements>"
    "<feature id=\"com.qor.fix\" version=\"1.0.0\" action=\"uninstall\"/>"
    "</requirements></installfeature></install></object-data></domain-object></install>\n";

class SessionTest : public MachineTest {
 protected:
  void SetUp() override {
    MachineTest::SetUp();
    if (IsSkipped()) return;
    makeInstance("/Applications/Vantelmor.app", "/Users/alice/Client Data");
    files().makeFile(inHome("deploy/uninstall.hotfix.xml"), kManifest, 0660);
    files().makeFile(inHome("eclipse/plugins/com.qor.fix_1.0.0/a.jar"), "jar");
    files().makeFile(inside("/stand-ins/receipt"), "");
    makeStandIn(kPkgutil,
                "case $1 in --forget) rm -f /stand-ins/receipt ;; --pkg-info) test -e /stand-ins/receipt ;; esac");
  }

  Outcome inspect(const CommandLine& words) {
    Call inspectCall = call(words);
    inspectCall.program = HOTFIX_INSPECT;
    inspectCall.commandLine.front() = HOTFIX_INSPECT;
    return run(inspectCall);
  }

  static std::string withoutStamps(const std::string& text) {
    return std::regex_replace(text, std::regex("[0-9]{10}"), "<stamp>");
  }

  /// The text of that number below "See it before, know it after".
  static std::string documented(size_t number) {
    std::vector<std::string> texts;
    for (const markdown::Block& block : markdown::blocksOf(markdown::readDocument("README.md"))) {
      if (block.heading == "See it before, know it after" && block.language == "text") texts.push_back(block.text);
    }
    return texts.size() > number ? withoutStamps(texts[number]) : "README.md has no such text";
  }
};

TEST_F(SessionTest, FailureAndTheWayOutLookLikeThis) {
  files().makeFile(inside("/stand-ins/before.json"), inspect({"status", home, data, "--json"}).output);
  setLauncher("echo rc=5 > \"$result\"");
  EXPECT_EQ(run(uninstall()).ending, "exit 1");
  EXPECT_EQ(withoutStamps(inspect({"status", home, data}).output), documented(0));

  setLauncher("echo rc=0 > \"$result\"; rm -rf \"${0%/*}/eclipse/plugins/com.qor.fix_1.0.0\"");
  files().makeFile(inHome("deploy/uninstall.hotfix.xml"), files().read(inHome("deploy/install.update.xml")));
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  const Outcome verified = inspect({"verify", "/stand-ins/before.json"});
  EXPECT_EQ(verified.ending, "exit 0");
  EXPECT_EQ(verified.output, documented(1));
}

}  // namespace

}  // namespace hotfix
