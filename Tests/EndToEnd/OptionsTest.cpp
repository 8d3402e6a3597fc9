#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class OptionsTest : public MachineTest {
 protected:
  /// Trace of a call without a home that could be used, and of passes whose launcher is not there.
  Lines traceWithoutHome(const std::string& shown, const Lines& service, const std::string& failedLaunch) {
    return joined({{"<Info>: RCP Home : " + shown + " .",  //
                    "<Info>: pathToRCPHome is " + shown + ".",
                    "<Error>: Error path value, please provide a valid path value for rcp home."},
                   service,
                   {failedLaunch, failedLaunch}});
  }

  void expectUsage(const Outcome& outcome, const Lines& trace) {
    expectFailed(outcome);
    EXPECT_TRUE(outcome.children.empty());
    EXPECT_EQ(outcome.trace, trace);
  }

  Lines noHome() {
    return traceWithoutHome("(null)", joined({serviceMade("(null)"), {"<Error>: No file at: (null)!"}}),
                            "<Error>: Failed to launch (null): no path given.");
  }

  /// Only the trace file has come.
  Lines traceFileOnly() { return {"+ " + std::string(kTraceFile) + ": 0644 " + owners("root:root") + " file:"}; }
};

TEST_F(OptionsTest, NoArgumentsGiveTheUsageLine) {
  const Snapshot before = state();
  expectUsage(run(call({})), noHome());
  EXPECT_EQ(differences(before, state()), traceFileOnly());
}

TEST_F(OptionsTest, OtherArgumentsArePassedOver) {
  const Snapshot before = state();
  expectSuccess(run(call({"-verbose", "x", "-rcpdata", data, "-rcphome", home, "-more"})), before);
}

TEST_F(OptionsTest, NextOptionAsValueAndNothingAfterItHasNoDataFolder) {
  home = "-rcpdata/rcp";
  Call odd = call({"-rcphome", "-rcpdata"});
  odd.folder = "/Applications";
  const Snapshot before = state();
  expectUsage(run(odd), traceWithoutHome(home, serviceMade(),
                                         cannotLaunch("-rcpdata/rcp/rcplauncher", "No such file or directory")));
  EXPECT_EQ(differences(before, state()),
            joined({{"+ /Applications/-rcpdata: 0755 " + owners("root:root") + " folder",
                     "+ /Applications/-rcpdata/rcp: 0755 " + owners("root:root") + " folder"},
                    traceFileOnly()}));
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

TEST_F(OptionsTest, WithoutDataAndWithoutRecordedWorkspaceNothingIsRepairedAtTheEnd) {
  makeInstance(bundle, home + "/systemdata");
  files().makeFile(inHome("rcplauncher.properties"), "vm=/opt/java\n");
  const Outcome outcome = run(call({"-rcphome", bundle + "/Contents/MacOS"}));
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.commandLines(),
            (std::vector<CommandLine>{uninstallLaunch(), uninstallLaunch(), forget(), findJava(), collect(""),
                                      launch("cleanup", std::nullopt), launch("update", std::nullopt)}));
}

TEST_F(OptionsTest, EmptyHomeIsRefused) {
  const Snapshot before = state();
  expectUsage(run(call({"-rcphome", "", "-rcpdata", data})),
              traceWithoutHome("", joined({serviceMade(""), {"<Error>: No file at: !"}}),
                               cannotLaunch("rcplauncher", "No such file or directory")));
  EXPECT_EQ(differences(before, state()), traceFileOnly());
}

TEST_F(OptionsTest, RelativeHomeOutsideABundleNameIsRefused) {
  const Snapshot before = state();
  home = "rcp";
  Call relative = uninstall();
  relative.folder = bundle + "/Contents/MacOS";
  const Outcome outcome = run(relative);
  expectFailed(outcome);
  ASSERT_EQ(outcome.children.size(), 4U);
  const CommandLine collection = outcome.children[1].commandLine;
  ASSERT_EQ(collection.size(), 14U);
  EXPECT_TRUE(isStampOfNow(collection[6])) << collection[6];
  CommandLine expected = collect(data, kJavaHome, collection[6]);
  expected[4] = "/";
  EXPECT_EQ(outcome.commandLines(),
            (std::vector<CommandLine>{findJava(), expected, launch("cleanup", data), launch("update", data)}));
  EXPECT_EQ(files().read(inside(bundle + "/Contents/MacOS/rcp/deploy/uninstall.hotfix.xml")), kUninstallManifest);
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

TEST_F(OptionsTest, SlashAtTheEndOfTheHomeMakesNoDifferenceToTheChildren) {
  const Outcome outcome = run(call({"-rcphome", home + "/", "-rcpdata", data}));
  EXPECT_EQ(outcome.ending, "exit 0");
  EXPECT_EQ(outcome.output, kSucceeded);
  EXPECT_EQ(outcome.commandLines(), allChildren());
  ASSERT_FALSE(outcome.trace.empty());
  EXPECT_EQ(outcome.trace.front(), "<Info>: RCP Home : " + home + "/ .");
}

TEST_F(OptionsTest, HomeThatIsAFileIsRefusedAndStays) {
  home = "/Applications/File.app/Contents/MacOS/rcp";
  files().makeFile(inside(home), "a file\n", 0600);
  const Outcome outcome = run(uninstall());
  expectFailed(outcome, kUsage, (std::vector<CommandLine>{findJava()}));
  EXPECT_EQ(
      outcome.trace,
      joined({{"<Info>: RCP Home : " + home + " .", "<Info>: Check whether the unsupported characters are contained.",
               "<Info>: Check whether the target platform is installed."},
              serviceMade(),
              {"<Info>: pathToRCPHome is " + home + ".", "<Info>: targetName is File.",
               "<Notice>: Begin to call collection utility to gather log files for the HOTFIX_UNINSTALL operaton "
               "of File project.",
               "<Info>: _pathToRcphome is " + home + ".",
               "<Info>: No log files are gathered as there is no collectionutility.jar under " + home + ". "},
              serviceMade(),
              {cannotLaunch(home + "/rcplauncher", "Not a directory"),
               cannotLaunch(home + "/rcplauncher", "Not a directory")}}));
  const Snapshot after = state();
  EXPECT_EQ(after.at(home), "0600 " + owners("root:root") + " file: a file\n");
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

TEST_F(OptionsTest, HomeLongerThanAnyPathIsRefused) {
  home = "/Applications/" + std::string(5000, 'd') + ".app/Contents/MacOS/rcp";
  const Snapshot before = state();
  const Outcome outcome = run(call({"-rcphome", home, "-rcpdata", data}));
  expectFailed(outcome);
  EXPECT_EQ(outcome.trace,
            joined({{"<Info>: RCP Home : " + home + " .",  //
                     "<Info>: pathToRCPHome is " + home + ".", "<Info>: targetName is " + std::string(5000, 'd') + "."},
                    serviceMade(),
                    {"<Error>: No file at: " + home + "!", cannotLaunch(home + "/rcplauncher", "File name too long"),
                     cannotLaunch(home + "/rcplauncher", "File name too long")}}));
  EXPECT_EQ(differences(before, state()), traceFileOnly());
}

}  // namespace

}  // namespace hotfix
