// Holds the runs that README.md shows against runs at a terminal, which gets standard output too.

#include <regex>

#include "Tests/EndToEnd/WatchedTest.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

class ReadmeTest : public WatchedTest {
 protected:
  /// What a person is left with on the screen, but for the seconds.
  Lines shown(const std::string& ending) {
    Terminal terminal;
    terminal.begin();
    Call call = watched(terminal);
    call.prepare = [&terminal] {
      dup2(terminal.descriptor(), STDERR_FILENO);
      dup2(terminal.descriptor(), STDOUT_FILENO);
    };
    EXPECT_EQ(run(call).ending, ending);
    return screen(terminal.text());
  }

  /// The lines of the text of that number below "A run", without seconds and with this home's bundle.
  Lines documented(size_t number) const {
    std::vector<std::string> texts;
    for (const markdown::Block& block : markdown::blocksOf(markdown::readDocument("README.md"))) {
      if (block.heading == "A run" && block.language == "text") texts.push_back(block.text);
    }
    if (texts.size() <= number) return {"README.md has no such text"};
    const std::string text = std::regex_replace(texts[number], std::regex(", [0-9]+ s\n"), "\n");
    std::istringstream lines(std::regex_replace(text, std::regex("/Applications/Vantelmor\\.app"), bundle));
    Lines result;
    for (std::string line; std::getline(lines, line);) result.push_back(line);
    return result;
  }
};

TEST_F(ReadmeTest, RunLooksLikeThis) { EXPECT_EQ(shown("exit 0"), documented(0)); }

TEST_F(ReadmeTest, FailureEndsLikeThis) {
  setLauncher("echo rc=5 > \"$result\"");
  const Lines lines = shown("exit 1");
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()), documented(1));
}

}  // namespace

}  // namespace hotfix
