// What a person sees of hotfixInspect at a terminal, and that no path of an instance drives it.

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Tests/Inspect/InspectTest.h"

namespace hotfix {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kGreen[] = "\x1B[1;32m";
constexpr char kRed[] = "\x1B[1;31m";
constexpr char kEscape[] = "\x1B";

class InspectTerminalTest : public InspectTest {
 protected:
  /// What comes at a terminal that is standard output and standard error.
  std::string atTerminal(const CommandLine& words, const Environment& environment) {
    Terminal terminal;
    terminal.begin();
    Call call = inspectCall(words, environment);
    call.prepare = [&terminal] {
      dup2(terminal.descriptor(), STDOUT_FILENO);
      dup2(terminal.descriptor(), STDERR_FILENO);
    };
    EXPECT_THAT(run(call).ending, StartsWith("exit "));
    return terminal.text();
  }

  /// What comes in a file, with a terminal as standard error alone.
  std::string inFile(const CommandLine& words, const Environment& environment) {
    return run(watched(_other, inspectCall(words, environment))).output;
  }

  /// The lines that each verb shows, all of them with something to be coloured.
  std::vector<CommandLine> verbs() {
    files().makeFile(inside("/stand-ins/before.json"), inspect({"status", home, data, "--json"}).output);
    return {{"preview", "-rcphome", home, "-rcpdata", data},
            {"status", home, data},
            {"status", "--home", home, "--home", "/nowhere"},
            {"verify", "/stand-ins/before.json"}};
  }

 private:
  Terminal _other;
};

TEST_F(InspectTerminalTest, ColoursAreThoseOfTheTool) {
  for (const CommandLine& words : verbs()) {
    const std::string text = atTerminal(words, {{"TERM", "xterm"}});
    EXPECT_THAT(text, HasSubstr(words.front() == "verify" ? kRed : kGreen)) << words.front();
    // Nothing but these, each ended, so that the lines without them are those of a file.
    EXPECT_EQ(screen(text), screen(inFile(words, {{"TERM", "xterm"}}))) << words.front();
    EXPECT_EQ(text.find('\r'), std::string::npos);
  }
  setLauncher("echo rc=1 > \"$result\"");
  EXPECT_EQ(run(uninstall()).ending, "exit 1");
  EXPECT_THAT(atTerminal({"status", home, data}, {{"TERM", "xterm"}}), StartsWith(std::string(kRed) + "failed\x1B[0m"));
}

TEST_F(InspectTerminalTest, NoColorAndTerminalsWithoutColoursAreRespected) {
  for (const CommandLine& words : verbs()) {
    const std::string plain = inFile(words, {{"TERM", "xterm"}});
    for (const Environment& environment :
         std::vector<Environment>{{{"TERM", "xterm"}, {"NO_COLOR", "1"}}, {{"TERM", "dumb"}}, {{"TERM", ""}}, {}}) {
      const std::string text = atTerminal(words, environment);
      EXPECT_THAT(text, Not(HasSubstr(kEscape))) << words.front();
      EXPECT_EQ(screen(text), screen(plain));
    }
    EXPECT_THAT(atTerminal(words, {{"TERM", "xterm"}, {"NO_COLOR", ""}}), HasSubstr(kEscape)) << "empty is not set";
  }
}

TEST_F(InspectTerminalTest, NothingHasColoursWhereStandardOutputIsNoTerminal) {
  for (const CommandLine& words : verbs()) {
    EXPECT_THAT(inFile(words, {{"TERM", "xterm"}}), Not(HasSubstr(kEscape))) << words.front();
  }
}

TEST_F(InspectTerminalTest, JsonAtATerminalIsOneDocumentAndNothingElse) {
  std::vector<CommandLine> all = verbs();
  all.insert(all.end(), {{"verify", "/nowhere"}, {"status"}, {"preview", "--odd"}, {}});
  for (CommandLine words : all) {
    words.emplace_back("--json");
    const std::string text = atTerminal(words, {{"TERM", "xterm"}});
    EXPECT_THAT(text, Not(HasSubstr(kEscape)));
    EXPECT_TRUE(nlohmann::json::parse(text, nullptr, false).is_object()) << text;
  }
}

TEST_F(InspectTerminalTest, NoPathDrivesTheTerminal) {
  makeInstance(
      "/Applications/a\x1B[2J\x9B\xC2\x9B"
      "5n.app",
      "/Users/alice/\x1B]0;x\x07 data");
  // The workspace is listed, and so are processes and what leads out.
  files().makeFile(inside(data + "/\x1B[31m\xFF\r"), "", 0600);
  files().makeFile(inHome("deploy/.tmp.abcdefghijklmnop"), "");
  std::vector<CommandLine> all = verbs();
  const std::string odd = "--\x1B[2J\x9B";
  all.insert(all.end(), {{"verify", home}, {"status", odd}, {"status", home + "/\x1B[2J"}, {odd}, {home}});
  const auto isHarmless = [](const std::string& text) {
    // C0 and C1 control characters, the latter as UTF-8 too, and bytes that are no UTF-8.
    const bool hasBytes = std::any_of(text.begin(), text.end(), [](char c) {
      const auto byte = static_cast<unsigned char>(c);
      return (byte < 0x20 && c != '\n') || byte == 0x7F || byte == 0x9B || byte == 0xFF;
    });
    return !hasBytes && text.find("\xC2\x9B") == std::string::npos;
  };
  for (const CommandLine& words : all) {
    EXPECT_PRED1(isHarmless, atTerminal(words, {{"TERM", "dumb"}})) << words.front();
  }
  setLauncher("printf 'rc=7\\033[2J\\n' > \"$result\"");
  EXPECT_EQ(run(uninstall()).ending, "exit 1");
  EXPECT_PRED1(isHarmless, atTerminal({"status", home, data}, {{"TERM", "dumb"}}));
}

}  // namespace

}  // namespace hotfix
