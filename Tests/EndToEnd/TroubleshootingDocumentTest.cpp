// Holds docs/troubleshooting.md against runs of the tool that fail at a terminal.

#include <unistd.h>

#include <algorithm>
#include <regex>

#include "Tests/EndToEnd/WatchedTest.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

constexpr char kDocument[] = "docs/troubleshooting.md";
constexpr char kNothing[] = "nothing";

std::vector<Lines> rowsBelow(const std::string& heading) {
  return markdown::tablesOf(markdown::readDocument(kDocument))[heading];
}
std::vector<Lines> failureRows() { return rowsBelow("What a failed run shows"); }

/// The texts in double quotes of a cell, apart from each other by " and then "; none of the cell "nothing".
Lines textsOf(const std::string& cell) {
  static const std::string kBetween = "\" and then \"";
  if (cell == kNothing) return {};
  EXPECT_TRUE(cell.size() > 2 && cell.front() == '"' && cell.back() == '"') << cell;
  const std::string inner = cell.substr(1, cell.size() - 2);
  const size_t place = inner.find(kBetween);
  if (place == std::string::npos) return {inner};
  return {inner.substr(0, place), inner.substr(place + kBetween.size())};
}

class TroubleshootingTest : public WatchedTest {
 protected:
  std::map<std::string, std::string> values;

  Lines filledTextsOf(const std::string& cell) const {
    Lines result;
    for (const std::string& text : textsOf(cell)) result.push_back(markdown::filled(text, values));
    return result;
  }

  /// The texts of the trace, without levels.
  static Lines tracedTexts(const Outcome& outcome) {
    Lines result;
    for (const std::string& line : outcome.trace) result.push_back(line.substr(line.find(": ") + 2));
    return result;
  }
};

TEST_F(TroubleshootingTest, EveryFailureHasItsRow) { EXPECT_EQ(failureRows().size(), ways().size()); }

class TroubleshootingRowTest : public TroubleshootingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(TroubleshootingRowTest, IsWhatARunShows) {
  const std::vector<Lines> rows = failureRows();
  ASSERT_GT(rows.size(), GetParam());
  const Lines& cells = rows[GetParam()];
  ASSERT_EQ(cells.size(), 4U);
  const Call call = prepare(ways()[GetParam()], values);
  std::string text;
  const Outcome outcome = watch(text, call);
  EXPECT_EQ(outcome.ending, "exit 1");

  const Lines shown = screen(text);
  ASSERT_GE(shown.size(), 2U);
  EXPECT_EQ((Lines{shown[shown.size() - 2]}), (Lines{kNotRemoved + filledTextsOf(cells[0]).at(0)}));

  std::string output;
  for (const std::string& line : filledTextsOf(cells[1])) output += line + "\n";
  EXPECT_EQ(outcome.output, output + kUsage);

  // Of all lines that the table has, this row's is the last one before the log collection.
  Lines told = tracedTexts(outcome), ofAnyRow, logged;
  told.erase(std::find_if(told.begin(), told.end(),
                          [](const std::string& line) { return line.compare(0, 16, "pathToRCPHome is") == 0; }),
             told.end());
  for (const Lines& row : rows) ofAnyRow = joined({ofAnyRow, filledTextsOf(row[2])});
  for (const std::string& line : told) {
    if (std::find(ofAnyRow.begin(), ofAnyRow.end(), line) != ofAnyRow.end()) logged.push_back(line);
  }
  const Lines expected = filledTextsOf(cells[2]);
  for (const std::string& line : expected) EXPECT_EQ(std::count(told.begin(), told.end(), line) > 0, true) << line;
  ASSERT_FALSE(logged.empty());
  EXPECT_EQ(logged.back(), expected.back());
}

INSTANTIATE_TEST_SUITE_P(Rows, TroubleshootingRowTest, ::testing::Range<size_t>(0, 12));

TEST_F(TroubleshootingTest, BothPlacesOfTheLogAreNamed) {
  const std::string document = markdown::withSingleSpaces(markdown::readDocument(kDocument));
  removeFile("deploy/install.xml");
  std::string text;
  watch(text);
  EXPECT_NE(document.find("\"" + screen(text).back() + "\""), std::string::npos) << text;
  unlink((files() / inside(kTraceFile)).c_str());
  files().makeFolder(inside(std::string(kTraceFile) + "/in the way"));
  watch(text);
  EXPECT_NE(document.find("\"" + screen(text).back() + "\""), std::string::npos) << text;
}

/// The sentences in the sources, also those that no run can be brought to.
TEST_F(TroubleshootingTest, EveryPartOfAReasonInTheSourcesIsInTheDocument) {
  const std::string document = markdown::withSingleSpaces(markdown::readDocument(kDocument));
  size_t count = 0;
  for (const char* source : {"MacInstaller/hotifxUninstallLibrary.cpp", "MacInstaller/HotfixUninstall.cpp",
                             "MacInstaller/InstanceService.cpp", "Platform/posix/ChildProcess.cpp"}) {
    const std::string code = markdown::readDocument(source);
    static const std::regex kReason("(fail(ed)?\\(|return )(\\w|\\*|->|\\s|\\+)*\"[^;]*;");
    for (std::sregex_iterator reason(code.begin(), code.end(), kReason), end; reason != end; ++reason) {
      const std::string statement = reason->str();
      static const std::regex kLiteral("\"(([^\"\\\\]|\\\\.)*)\"");
      for (std::sregex_iterator literal(statement.begin(), statement.end(), kLiteral); literal != end; ++literal) {
        std::string text = std::regex_replace((*literal)[1].str(), std::regex("\\\\\""), "\"");
        if (text.empty()) continue;
        ++count;
        EXPECT_NE(document.find(markdown::withSingleSpaces(text)), std::string::npos) << source << ": " << text;
      }
    }
  }
  EXPECT_GT(count, 20U);
}

// ----- Lines in the log that change no exit status -----

class OtherLineTest : public TroubleshootingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(OtherLineTest, IsWhatARunTells) {
  const std::vector<std::function<void()>> causes = {
      [this] { data = "/Users/alice"; },
      [this] { makeStandIn(kJavaHomeFinder); },
      [this] { removeFile("collectionutility.jar"); },
      [this] {
        files().makeFile(inside(kConfigurationFile), "{ newInstallLocation = \"/Applications/new\"; }");
        files().makeFolder(inside(kStagingFolder));
        giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kStagingFolder);
      },
      [this] { unlink((files() / inside(kPkgutil)).c_str()); },
      [this] { root().mountMemory("/proc", "mode=0555"); }};
  const std::vector<Lines> rows = rowsBelow("Other lines in the log");
  ASSERT_EQ(rows.size(), causes.size());
  if (!ThrowAwayRoot::hasAccounts() && rows[GetParam()].at(0).compare(0, 8, "\"Ignored") == 0) {
    GTEST_SKIP() << "this machine lets files belong to one account only";
  }
  causes[GetParam()]();
  values = {{"HOME", home}, {"DATA", data}, {"PRODUCT", "Product"}};
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  const Lines told = tracedTexts(outcome);
  for (const std::string& line : filledTextsOf(rows[GetParam()].at(0))) {
    EXPECT_NE(std::find(told.begin(), told.end(), line), told.end()) << line;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, OtherLineTest, ::testing::Range<size_t>(0, 6));

}  // namespace

}  // namespace hotfix
