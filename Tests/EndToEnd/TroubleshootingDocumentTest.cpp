// Holds docs/troubleshooting.md and the manual page against runs of the tool, with and without a terminal.

#include <regex>

#include "Tests/EndToEnd/WatchedTest.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

constexpr char kDocument[] = "docs/troubleshooting.md";

std::vector<Lines> rowsBelow(const std::string& heading) {
  return markdown::tablesOf(markdown::readDocument(kDocument))[heading];
}

/// The text in double quotes of a cell.
std::string textOf(const std::string& cell) {
  EXPECT_TRUE(cell.size() > 2 && cell.front() == '"' && cell.back() == '"') << cell;
  return cell.substr(1, cell.size() - 2);
}

class TroubleshootingTest : public WatchedTest {
 protected:
  std::map<std::string, std::string> values;

  std::string filledTextOf(const std::string& cell) const { return markdown::filled(textOf(cell), values); }
};

// ----- Reasons -----

constexpr char kReasons[] = "Why the hotfix was not removed";

TEST_F(TroubleshootingTest, EveryFailureHasItsRow) { EXPECT_EQ(rowsBelow(kReasons).size(), ways().size()); }

class ReasonRowTest : public TroubleshootingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(ReasonRowTest, IsWhatARunShowsWithAndWithoutATerminal) {
  const Way& way = ways()[GetParam()];
  if (way.isByBob && !ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "needs several accounts";
  const std::vector<Lines> rows = rowsBelow(kReasons);
  ASSERT_GT(rows.size(), GetParam());
  const Call call = prepare(way, values);
  const std::string expected = filledTextOf(rows[GetParam()].at(0));

  std::string text;
  EXPECT_EQ(watch(text, call).ending, "exit 1");
  const Lines shown = screen(text);
  ASSERT_GE(shown.size(), 2U);
  EXPECT_EQ(Lines(shown.end() - 2, shown.end()), (Lines{kNotRemoved + expected, kSeeTrace}));

  SetUp();  // another machine
  const Call again = prepare(way, values);
  const Outcome outcome = run(again);
  EXPECT_EQ(outcome.ending, "exit 1");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.reason + ".", filledTextOf(rows[GetParam()].at(0)));
}

INSTANTIATE_TEST_SUITE_P(Rows, ReasonRowTest, ::testing::Range<size_t>(0, 14));

TEST_F(TroubleshootingTest, EveryReasonIsInTheManualPageToo) {
  std::string page = std::regex_replace(markdown::readDocument("docs/man/hotfixUninstall.8"), std::regex("\\\\\n"), "");
  page = std::regex_replace(page, std::regex("\\\\\\(dq"), "\"");
  for (const Lines& row : rowsBelow(kReasons)) {
    EXPECT_NE(page.find("\n.It " + textOf(row.at(0)) + "\n"), std::string::npos) << row.at(0);
  }
}

/// The sentences in the sources, also those that no run can be brought to.
TEST_F(TroubleshootingTest, EveryPartOfAReasonInTheSourcesIsInTheDocument) {
  const std::string document = markdown::withSingleSpaces(markdown::readDocument(kDocument));
  size_t count = 0;
  for (const char* source : {"MacInstaller/hotifxUninstallLibrary.cpp", "MacInstaller/HotfixUninstall.cpp",
                             "MacInstaller/Reasons.cpp", "MacInstaller/InstanceService.cpp"}) {
    const std::string code = markdown::readDocument(source);
    static const std::regex kReason(
        "(failure\\(|_failure =|lastReason =|who =|Reason\\(\\w+, |return |Kind::\\w+, "
        ")(\\w|\\*|->|\\.|\\s|\\+)*\"[^;]*;");
    for (std::sregex_iterator reason(code.begin(), code.end(), kReason), end; reason != end; ++reason) {
      const std::string statement = reason->str();
      static const std::regex kLiteral("\"(([^\"\\\\]|\\\\.)*)\"");
      for (std::sregex_iterator literal(statement.begin(), statement.end(), kLiteral); literal != end; ++literal) {
        std::string text = std::regex_replace((*literal)[1].str(), std::regex("\\\\\""), "\"");
        text.erase(0, text.find_first_not_of(' '));
        if (text.size() < 3) continue;
        ++count;
        EXPECT_NE(document.find(markdown::withSingleSpaces(text)), std::string::npos) << source << ": " << text;
      }
    }
  }
  EXPECT_GT(count, 25U);
}

// ----- Steps and lines that change no exit status -----

class StepRowTest : public TroubleshootingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(StepRowTest, IsHowTheStepEnds) {
  Call call;
  const auto withoutRecord = [this] { setRecords({{"SKIPRUNNINGCHECK", "false"}, {"version", "6.2.1"}}); };
  const std::vector<std::function<void()>> causes = {
      withoutRecord,
      [this] { unlink((files() / inside(kPkgutil)).c_str()); },
      [] {},
      [this] { data = "/Users/alice/missing"; },
      [&, this] {
        call = this->call({"-rcphome", bundle + "/Contents/MacOS"});
        files().makeFile(inHome("rcplauncher.properties"), "vm=/opt/java\n");
      },
      [this] { data = "/Users/alice"; },
      [this] {
        files().makeFile(inside("/Users/alice/precious"));
        giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/alice/precious");
        giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), data);
        EXPECT_EQ(
            link((files() / inside("/Users/alice/precious")).c_str(), (files() / inside(data + "/second")).c_str()), 0);
      },
      [this] { makeStandIn(kJavaHomeFinder); },
      [this] { removeFile("collectionutility.jar"); },
      [this] { unlink((files() / inside(std::string(kJavaHome) + "/bin/java")).c_str()); },
      [this] { setLauncher("echo rc=0 > \"$result\"\n[ -e /tmp/launched ] && rm \"$0\"\n: > /tmp/launched"); },
      [&, this] {
        call = this->call({"-rcpdata", data});
      }};
  const std::vector<Lines> rows = rowsBelow("How a step ended");
  ASSERT_EQ(rows.size(), causes.size());
  const std::string ending = textOf(rows[GetParam()].at(1));
  if (ending.find("incomplete") == 0 && !ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "needs several accounts";
  causes[GetParam()]();
  if (call.program.empty()) call = uninstall();
  values = {{"HOME", home}, {"DATA", data}, {"USER", "alice"}, {"JAVA", kJavaHome}};
  std::string text;
  watch(text, call);
  const Lines shown = screen(text);
  const std::string expected = textOf(rows[GetParam()].at(0)) + " ... " + markdown::filled(ending, values);
  EXPECT_NE(std::find(shown.begin(), shown.end(), expected), shown.end()) << expected << "\n" << text;
}

INSTANTIATE_TEST_SUITE_P(Rows, StepRowTest, ::testing::Range<size_t>(0, 12));

class OtherLineTest : public TroubleshootingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(OtherLineTest, IsWhatARunTells) {
  const std::vector<std::function<void()>> causes = {
      [this] { data = "/Users/alice"; },
      [this] {
        files().makeFolder(inside("/Users/bob"));
        files().makeLink(inside("/Users/bob/link"), data);
        giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/bob");
        giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), "/Users/bob/link");
        data = "/Users/bob/link";
      },
      [this] {
        files().makeFile(inside(kConfigurationFile), "{ newInstallLocation = \"/Applications/new\"; }");
        files().makeFolder(inside(kStagingFolder));
        giveTo(ThrowAwayRoot::bob(), ThrowAwayRoot::bob(), kStagingFolder);
      },
      [this] {
        removeFile("rcplauncher.properties");
        files().makeFifo(inHome("rcplauncher.properties"));
      },
      [this] { files().makeFile(inside(kConfigurationFile), "{ productName = P; }", 0755); },
      [this] { root().mountMemory("/proc", "mode=0555"); }};
  const std::vector<Lines> rows = rowsBelow("Other lines in the log");
  ASSERT_EQ(rows.size(), causes.size());
  if (!ThrowAwayRoot::hasAccounts() && (GetParam() == 1 || GetParam() == 2)) GTEST_SKIP() << "needs several accounts";
  if (kNeedsProcesses && GetParam() + 1 == causes.size()) GTEST_SKIP() << "this build looks for leaks, in /proc";
  causes[GetParam()]();
  values = {{"DATA", data}, {"ACCOUNT", "bob"}, {"FILE", home + "/rcplauncher.properties"}};
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");
  const std::string line = filledTextOf(rows[GetParam()].at(0));
  EXPECT_TRUE(std::any_of(outcome.trace.begin(), outcome.trace.end(), [&line](const std::string& traced) {
    return traced.substr(traced.find(": ") + 2) == line;
  })) << line;
}

INSTANTIATE_TEST_SUITE_P(Rows, OtherLineTest, ::testing::Range<size_t>(0, 6));

}  // namespace

}  // namespace hotfix
