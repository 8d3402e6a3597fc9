#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class OptionsTest : public MachineTest {};

TEST_F(OptionsTest, NoArgumentsGiveTheUsageLine) {
  const Snapshot before = state();
  expectFailed(run(call({})), kUsage, std::vector<CommandLine>{},
               joined({{"<Info>: RCP Home : (null) .",  //
                        "<Info>: pathToRCPHome is (null).",
                        "<Error>: Error path value, please provide a valid path value for rcp home."},
                       serviceMade("(null)"),
                       {"<Error>: No file at: (null)!", "<Error>: Failed to launch (null): no path given.",
                        "<Error>: Failed to launch (null): no path given."}}));
  EXPECT_EQ(differences(before, state()),
            Lines{"+ " + std::string(kTraceFile) + ": 0644 " + owners("root:root") + " file:"});
}

TEST_F(OptionsTest, WithoutDataTheHomeIsTheFolderAroundRcp) {
  makeInstance(bundle, home + "/systemdata");
  files().makeFile(inside("/Users/alice/workspace/file"), "kept\n", 0600);
  const Snapshot before = state();
  const Outcome outcome = run(call({"-rcphome", bundle + "/Contents/MacOS"}));
  expectSucceeded(outcome);
  // "systemdata" for the uninstall, nothing for the passes, and the recorded workspace for the log collection.
  EXPECT_EQ(outcome.commandLines(),
            (std::vector<CommandLine>{uninstallLaunch(), uninstallLaunch(), forget(), findJava(),
                                      collect("/Users/alice/workspace"), launch("cleanup", std::nullopt),
                                      launch("update", std::nullopt)}));
  EXPECT_EQ(outcome.trace, allTrace());
  Lines expected = successChanges(before);  // repaired by the uninstall
  expected.push_back("~ /Users/alice/workspace/file: 0775 " + owners("alice:admin") + " file: kept\n");  // by the end
  std::sort(expected.begin(), expected.end(),
            [](const std::string& a, const std::string& b) { return a.substr(2) < b.substr(2); });
  Lines changes = differences(before, state());
  std::sort(changes.begin(), changes.end(),
            [](const std::string& a, const std::string& b) { return a.substr(2) < b.substr(2); });
  EXPECT_EQ(changes, expected);
}

TEST_F(OptionsTest, RelativeHomeInABundleIsUninstalledFrom) {
  const std::string absolute = home;
  const Snapshot before = state();
  home = "Product.app/Contents/MacOS/rcp";
  Call relative = uninstall();
  relative.folder = "/Applications";
  const Outcome outcome = run(relative);
  expectSucceeded(outcome, allChildren(), allTrace());
  home = absolute;
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

/// Names that a shell, a trace or a list of paths might stumble over, and that are not refused.
class OddNameTest : public OptionsTest, public ForEachText {};

TEST_P(OddNameTest, InstanceIsUninstalledFrom) {
  const std::string name = GetParam().text;
  makeInstance("/Applications/" + name + ".app", "/Users/alice/" + name);
  const Snapshot before = state();
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren());
  Lines trace = allTrace();
  for (std::string& line : trace) {
    // In the trace a newline is followed by a tab.
    for (size_t at = line.find('\n'); at != std::string::npos; at = line.find('\n', at + 1)) line.insert(at + 1, "\t");
  }
  EXPECT_EQ(outcome.trace, trace);
  EXPECT_EQ(differences(before, state()), successChanges(before));
}

INSTANTIATE_TEST_SUITE_P(
    Names, OddNameTest,
    ::testing::Values(NamedText{"BlanksSignsAndLetters",
                                " $HOME `id` $(id) & <x> *\ttab Caf\xC3\xA9\xE2\x80\xA6\xF0\x9F\x98\x80 "},
                      NamedText{"Newline", "two\nlines"}, NamedText{"Option", "-rcphome"}, NamedText{"Tilde", "~"},
                      NamedText{"NotUtf8", "not \xE9\xFF\x80"}),
    nameOf);

TEST_F(OptionsTest, HomeOfFourThousandCharacters) {
  // Too long a path for a test outside the root: made inside, with a short name for it.
  std::string folder = "/Applications";
  const std::string rest = "/Product.app/Contents/MacOS/rcp";
  while (folder.size() + rest.size() < 4000) {
    const size_t missing = 4000 - folder.size() - rest.size();
    folder += "/" + std::string(missing <= 201 ? missing - 1 : missing == 202 ? 100 : 200, 'd');
  }
  const std::string shortHome = home;
  Call shell = call({});
  shell.program = "/bin/sh";
  shell.commandLine = {"sh", "-c", "mkdir -p \"$1\" && mv \"$2\" \"$1\"", "sh", folder, bundle};
  ASSERT_EQ(run(shell).ending, "exit 0");

  bundle = folder + "/Product.app";
  home = folder + rest;
  ASSERT_EQ(home.size(), 4000U);
  const Outcome outcome = run(uninstall());
  expectSucceeded(outcome, allChildren(), allTrace());

  shell.commandLine = {"sh", "-c", "mv \"$1/Product.app\" /Applications/", "sh", folder};
  ASSERT_EQ(run(shell).ending, "exit 0");
  EXPECT_EQ(files().names(inside(shortHome + "/deploy")),
            (Lines{"install." + std::string(kOldStamp) + ".xml", "install.update.xml", "install.xml"}));
  EXPECT_EQ(files().read(inside(shortHome + "/installInfo.plist")), recordsText({{"version", "6.2.1"}}));
}

}  // namespace

}  // namespace hotfix
