// The session that README.md shows, held against a real one.

#include <gmock/gmock.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "Tests/Inspect/InspectTest.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

class SessionTest : public InspectTest {
 protected:
  void SetUp() override {
    InspectTest::SetUp();
    if (IsSkipped()) return;
    makeInstance("/Applications/Vantelmor.app", "/Users/alice/Client Data");
    makeRemovableHotfix();
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

/// A preview without what README.md leaves out: the children's command lines, the output and the log.
std::string asInReadme(const std::string& preview) {
  const size_t children = preview.find("\nChildren\n");
  const size_t files = preview.find("\nFiles\n");
  const size_t output = preview.find("\nStandard output\n");
  if (children > files || files > output || output == std::string::npos) return preview;
  return preview.substr(0, children) + "\nChildren\n  ...\n" + preview.substr(files, output - files);
}

TEST_F(SessionTest, PreviewLooksLikeThisAndIsWhatHappens) {
  setResult("0");
  const Outcome preview = inspect({"preview", "-rcphome", home, "-rcpdata", data});
  EXPECT_EQ(preview.ending, "exit 0");
  EXPECT_EQ(withoutStamps(asInReadme(preview.output)), documented(0));
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
}

TEST_F(SessionTest, FailureAndTheWayOutLookLikeThis) {
  files().makeFile(inside("/stand-ins/before.json"), inspect({"status", home, data, "--json"}).output);
  setResult("5");
  EXPECT_EQ(run(uninstall()).ending, "exit 1");
  EXPECT_EQ(withoutStamps(inspect({"status", home, data}).output), documented(1));

  setResult("0");
  files().makeFile(inHome("deploy/uninstall.hotfix.xml"), files().read(inHome("deploy/install.update.xml")));
  EXPECT_EQ(run(uninstall()).ending, "exit 0");
  const Outcome verified = inspect({"verify", "/stand-ins/before.json"});
  EXPECT_EQ(verified.ending, "exit 0");
  EXPECT_EQ(verified.output, documented(2));
}

/// The names in quotes in the first cells of a table that has this head.
std::set<std::string> namesInTable(const std::string& head) {
  std::istringstream document(markdown::readDocument("docs/troubleshooting.md"));
  std::set<std::string> names;
  bool isInTable = false;
  for (std::string line; std::getline(document, line);) {
    const bool isRow = line.rfind("| ", 0) == 0;
    if (line.rfind("| " + head + " |", 0) == 0) isInTable = true;
    if (isInTable && isRow && line.rfind("| \"", 0) == 0) names.insert(line.substr(3, line.find('"', 3) - 3));
    if (line.empty()) isInTable = false;
  }
  return names;
}

TEST(InspectDocumentTest, EveryStateAndWarningHasItsRowInTroubleshooting) {
  const nlohmann::json schema = nlohmann::json::parse(markdown::readDocument("docs/hotfixInspect.schema.json"));
  const auto enumerated = [&schema](const char* path) {
    return schema.at(nlohmann::json::json_pointer(path)).get<std::set<std::string>>();
  };
  EXPECT_EQ(namesInTable("State"), enumerated("/$defs/status/properties/state/enum"));
  EXPECT_EQ(namesInTable("Warning"), enumerated("/$defs/warning/properties/warning/enum"));
}

}  // namespace

}  // namespace hotfix
