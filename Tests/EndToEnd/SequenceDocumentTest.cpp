// Holds docs/sequence.txt and docs/sequence.md against runs of the tool.

#include "Tests/EndToEnd/WatchedTest.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

/// A line of sequence.txt: "kind text [state]".
struct Step {
  std::string kind;
  std::string text;
  std::map<std::string, std::string> state;
};

std::vector<Step> readSteps() {
  std::vector<Step> steps;
  std::istringstream lines(markdown::readDocument("docs/sequence.txt"));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty() || line[0] == '#') continue;
    const size_t blank = line.find(' ');
    Step step{line.substr(0, blank), line.substr(blank + 1), {}};
    const size_t bracket = step.text.find('[');
    if (bracket != std::string::npos && step.text.back() == ']') {
      std::istringstream words(step.text.substr(bracket + 1, step.text.size() - bracket - 2));
      for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        step.state[word.substr(0, equals)] = word.substr(equals + 1);
      }
    }
    steps.push_back(step);
  }
  return steps;
}

/// The rows of a table of sequence.md.
std::vector<Lines> readRows(const std::string& heading) {
  return markdown::tablesOf(markdown::readDocument("docs/sequence.md"))[heading];
}

/// The stops, by their numbers in the table, and a way to each.
const std::vector<NamedText> kWays = {{"1", "HomeIsMissing"},
                                      {"2", "CharacterIsRefused"},
                                      {"3", "NoInstanceIsThere"},
                                      {"4", "HomeLiesInNoBundle"},
                                      {"5", "PlatformIsRunning"},
                                      {"6", "UninstallManifestIsMissing"},
                                      {"7", "UninstallManifestCannotBeCopied"},
                                      {"8", "ResultIsAFailure"}};

constexpr char kStops[] = "What stops the uninstall";
constexpr char kFailures[] = "What does not stop it";

class SequenceDocumentTest : public WatchedTest {
 protected:
  /// A text of the document with what the words in capitals stand for in this run.
  std::string filled(const std::string& text) const {
    const std::map<std::string, std::string> values = {
        {"HOME", home},      {"DATA", data},         {"LOCALE", "en_US"},  {"PACKAGE", kPackage},
        {"JAVA", kJavaHome}, {"PRODUCT", "Product"}, {"VERSION", "6.2.1"}, {"PROGRAM", ThrowAwayRoot::kFirstProcess}};
    return markdown::filled(text, values);
  }

  CommandLine filledWords(const std::string& text) const {
    CommandLine result;
    std::istringstream words(text);
    for (std::string word; words >> word;) result.push_back(filled(word));
    return result;
  }

  /// A state of the document as `found` tells it, of a child that starts when so much is printed and traced.
  std::string asFound(std::map<std::string, std::string> state, size_t printed, size_t traced) const {
    std::string result;
    if (state["hotfix"] == "yes") state["hotfix"] = "6.2.1.1";
    state["data"] = state["data"] == "given"      ? "0644 " + owners("root:root")
                    : state["data"] == "repaired" ? "0775 " + owners("alice:admin")
                                                  : "?";
    for (const char* name :
         {"uninstall", "update", "backup", "result", "version", "id", "hotfix", "package", "skip", "data"}) {
      result += std::string(name) + "=" + filled(state[name]) + " ";
    }
    return result + "printed=" + std::to_string(printed) + " traced=" + std::to_string(traced);
  }

  // ----- Ways to each failure that is no stop, in the order of their table -----

  void removeRecord(const std::string& name) {
    Records records = {{"SKIPRUNNINGCHECK", "false"}, {"installedHotfixBundleID", kPackage}, {"version", "6.2.1"}};
    records.erase(name);
    setRecords(records);
  }

  const std::vector<std::function<void()>> failures = {
      [this] { files().makeFolder(inside(kTraceFile)); },
      [this] {
        removeRecord("SKIPRUNNINGCHECK");
        startProgram(bundle + "/Contents/MacOS/product");
      },
      [this] {
        files().makeFile(inHome("installInfo.plist"), "<plist><dict>");
        startProgram(bundle + "/Contents/MacOS/product");
      },
      [this] { removeFile("rcplauncher.properties"); },
      [this] {
        removeFile("rcplauncher.properties");
        files().makeFolder(inHome("rcplauncher.properties"));
      },
      [this] { removeFile("rcplauncher"); },
      [this] { setLauncher("echo rc=0 > \"$result\"\nexit 7"); },
      [this] { removeRecord("installedHotfixBundleID"); },
      [this] { unlink((files() / inside(kPkgutil)).c_str()); },
      [this] { makeStandIn(kPkgutil, "exit 1"); },
      [this] { root().makeReadOnly(data); },
      [this] { makeStandIn(kJavaHomeFinder); },
      [this] { removeFile("collectionutility.jar"); },
      [this] { makeStandIn(std::string(kJavaHome) + "/bin/java", "exit 1"); }};

  /// The children of a successful run without those that a cell names.
  std::vector<CommandLine> allChildrenBut(const std::string& cell) {
    const auto isLeftOut = [&cell](const char* name) { return cell.find(name) != std::string::npos; };
    const std::vector<CommandLine> all = allChildren();
    std::vector<CommandLine> result;
    for (size_t at = 0; at < all.size(); ++at) {
      static constexpr const char* kNames[] = {"launches", "launches", "receipt", "-", "gathering", "passes", "passes"};
      if (!isLeftOut(kNames[at])) result.push_back(all[at]);
    }
    return result;
  }

  /// The texts in double quotes in a cell; those of a cell that begins with "twice" come a second time.
  Lines quotedIn(const std::string& cell) const {
    Lines result;
    for (size_t begin = cell.find('"'); begin != std::string::npos; begin = cell.find('"', begin)) {
      const size_t end = cell.find('"', begin + 1);
      result.push_back(filled(cell.substr(begin + 1, end - begin - 1)));
      begin = end + 1;
    }
    return cell.compare(0, 6, "twice ") == 0 ? joined({result, result}) : result;
  }

  static std::string shortly(const Outcome& outcome) {
    std::string result;
    for (const CommandLine& line : outcome.commandLines()) {
      const bool isLauncher = line.size() > 5 && line[4] == "-provisioningOperation";
      result += isLauncher ? line[5] + " " : line.front() == kJavaHomeFinder ? "find " : line[1] + " ";
    }
    return result;
  }
};

TEST_F(SequenceDocumentTest, EveryStepIsThatOfARealRun) {
  makePatientJava();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit 0");

  const std::vector<Step> steps = readSteps();
  Lines traced, printed, states;
  std::vector<CommandLine> started;
  std::map<std::string, std::string> state;
  for (const Step& step : steps) {
    for (const auto& [name, value] : step.state) state[name] = value;
    if (step.kind == "log" || step.kind == "during") traced.push_back(filled(step.text));
    if (step.kind == "print") printed.push_back(filled(step.text));
    if (step.kind == "start") started.push_back(filledWords(step.text));
    if (step.kind == "start" || step.kind == "during") {
      if (step.kind == "during") states.pop_back();
      states.push_back(asFound(state, printed.size(), traced.size()));
    }
  }
  EXPECT_EQ(outcome.commandLines(), started);
  EXPECT_EQ(outcome.trace, traced);
  std::string output;
  for (const std::string& line : printed) output += line + "\n";
  EXPECT_EQ(outcome.output, output);
  EXPECT_EQ(found(outcome), states);
}

TEST_F(SequenceDocumentTest, EveryStopHasItsRowInTheirOrder) {
  Lines inTable, inPicture, known;
  for (const Lines& cells : readRows(kStops)) inTable.push_back(cells.front());
  for (const Step& step : readSteps()) {
    if (step.kind == "stop") inPicture.push_back(step.text.substr(0, step.text.find(' ')));
  }
  for (const NamedText& stop : kWays) known.push_back(stop.name);
  EXPECT_EQ(inTable, inPicture);
  EXPECT_EQ(inTable, known);
}

TEST_F(SequenceDocumentTest, EveryFailureThatIsNoStopHasItsRow) {
  EXPECT_EQ(readRows(kFailures).size(), failures.size());
}

class FailureTest : public SequenceDocumentTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(FailureTest, IsAsTheTableSays) {
  const std::vector<Lines> rows = readRows(kFailures);
  ASSERT_GT(rows.size(), GetParam());
  const Lines& cells = rows[GetParam()];
  SCOPED_TRACE(cells.front());
  ASSERT_EQ(cells.size(), 5U);
  failures.at(GetParam())();
  const Outcome outcome = run(uninstall());
  EXPECT_EQ(outcome.ending, "exit " + cells[3]);
  EXPECT_EQ(outcome.commandLines(), allChildrenBut(cells[4]));
  Lines told;
  for (const std::string& line : outcome.trace) told.push_back(line.substr(line.find(": ") + 2));
  if (cells[2] == "nothing") {
    for (const std::string& line : outcome.trace) EXPECT_NE(line.compare(0, 7, "<Error>"), 0) << line;
  } else {
    for (const std::string& line : quotedIn(cells[2])) {
      EXPECT_NE(std::find(told.begin(), told.end(), line), told.end()) << line;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, FailureTest, ::testing::Range<size_t>(0, 14));

class StopTest : public SequenceDocumentTest, public ForEachText {};

TEST_P(StopTest, IsAsTheTableSays) {
  const auto way =
      std::find_if(ways().begin(), ways().end(), [](const Way& each) { return each.name == GetParam().text; });
  std::map<std::string, std::string> values;
  const Outcome outcome = run(prepare(*way, values));
  for (const Lines& cells : readRows(kStops)) {
    if (cells.front() != GetParam().name) continue;
    ASSERT_EQ(cells.size(), 5U);
    EXPECT_EQ(outcome.ending, "exit 1");
    std::string output;
    for (const std::string& line : quotedIn(cells[2])) output += line + "\n";
    EXPECT_EQ(outcome.output, output + kUsage);
    if (!outcome.children.empty()) {  // the last two are the passes
      const Child& cleanUp = *(outcome.children.end() - 2);
      EXPECT_EQ(files().read(cleanUp.seen + "/output"), outcome.output) << "the usage line comes before the passes";
    }
    Lines errors;
    for (const std::string& line : outcome.trace) {
      if (line.compare(0, 9, "<Error>: ") == 0) errors.push_back(line.substr(9));
    }
    EXPECT_EQ(errors, quotedIn(cells[3]));
    const std::map<std::string, std::string> names = {
        {"", "none"},
        {"cleanup update ", "passes"},
        {"find -jar cleanup update ", "log collection, passes"},
        {"update update find -jar cleanup update ", "two launches, log collection, passes"}};
    const auto name = names.find(shortly(outcome));
    EXPECT_EQ(name == names.end() ? shortly(outcome) : name->second, cells[4]);
    return;
  }
  FAIL() << "no row";
}

INSTANTIATE_TEST_SUITE_P(Stops, StopTest, ::testing::ValuesIn(kWays), nameOf);

}  // namespace

}  // namespace hotfix
