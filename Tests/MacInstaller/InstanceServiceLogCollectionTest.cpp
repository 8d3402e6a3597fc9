#include <climits>

#include "MacInstaller/InstanceService.h"
#include "Platform/SystemPaths.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

class InstanceServiceLogCollectionTest : public InstanceTest {
 protected:
  InstanceServiceLogCollectionTest() { clearLog(); }

  static LogLine beginLine() {
    return {5, "Begin to call collection utility to gather log files for the ACT operaton of Prod project."};
  }
  static LogLine noJavaLine() {
    return {5, "Can't find java home, skip log collection for the ACT operaton of Prod project."};
  }
  LogLine homeLine() const { return {6, "_pathToRcphome is " + home() + "."}; }
  LogLine successLine() const {
    return {5, "Successfully collect the log files and place them under " + home() +
                   "/deploy/installHistory for the ACT operaton of Prod project."};
  }
  LogLines successLines(const std::string& version = "6.2.1") const {
    return {beginLine(), homeLine(), {6, "productVersion is " + version + "."}, successLine()};
  }

  /// The utility as it must be started for collectLogFiles("Prod", "ACT", "/the.log").
  std::vector<std::string> utility(const std::string& java, const std::string& version,
                                   const std::string& workspace) const {
    return {java,           "-jar",    home() + "/collectionutility.jar",
            "-productName", "Prod",    "-productVersion",
            version,        "-action", "ACT",
            "-workspace",   workspace, "-logLocation",
            "/the.log",     "-s"};
  }

  std::string java() const { return folder / "java/bin/java"; }

  void collect() { instance.collectLogFiles("Prod", "ACT", "/the.log"); }

  /// A finder of Java homes that is noted like the other programs.
  void setFinder(const std::string& shellText) const {
    makeNotingProgram(outside(platform::kJavaHomeFinder), shellText);
  }

  std::string finder() const { return folder / outside(platform::kJavaHomeFinder); }

  /// The Java plug-in with this text as its information property list, and a noting Java in it.
  std::string makePlugin(const OptionalString& informationList) const {
    const std::string plugin = outside(platform::kJavaPlugin);
    folder.makeFolder(plugin + "Contents");
    if (informationList) folder.makeFile(plugin + "Contents/Info.plist", *informationList);
    return makeNotingProgram(outside(platform::kJavaPluginHome) + "/bin/java");
  }

  InstanceService instance{home(), data()};
};

// ----- Log file of an add-on -----

TEST_F(InstanceServiceLogCollectionTest, AddonLogFileIsNamedByAddonAndAction) {
  const struct {
    OptionalString name;
    const char *action, *file;
  } rows[] = {{"mail", "INSTALL", "/tmp/rcp_mail_INSTALL.log"},
              {kNone, "REMOVE", "/tmp/rcp_addon_REMOVE.log"},
              {"", "", "/tmp/rcp__.log"}};
  for (const auto& row : rows) {
    clearLog();
    EXPECT_EQ(InstanceService::getAddonLogFile(row.name, row.action), row.file);
    EXPECT_EQ(log(), (LogLines{{6, std::string("Addon Log Fie is ") + row.file}}));
  }
}

// ----- The run of the utility -----

TEST_F(InstanceServiceLogCollectionTest, UtilityIsStartedWithItsThirteenArguments) {
  const Tree before = homeTree();
  collect();
  EXPECT_EQ(children(), (Children{utility(java(), "6.2.1", data())}));
  EXPECT_EQ(log(), successLines());
  EXPECT_EQ(homeTree(), before);
}

TEST_F(InstanceServiceLogCollectionTest, JavaIsLookedForFirst) {
  setFinder("echo '" + (folder / "java") + "'");
  folder.makeScript("java/bin/java", "exit 0");  // leaves no trace in the history, where it would race with the line
  collect();
  const LogLines creation = creationLines(home());
  EXPECT_EQ(history(), (std::vector<std::string>{"Info: " + creation[0].second, "Info: " + creation[1].second,
                                                 "Warning: " + creation[2].second, "Notice: " + beginLine().second,
                                                 "started java_home", "Info: " + homeLine().second,
                                                 "Info: productVersion is 6.2.1.", "Notice: " + successLine().second}));
}

TEST_F(InstanceServiceLogCollectionTest, SuccessIsLoggedBeforeTheUtilityEnds) {
  // The stand-in waits for the line; it gives up after a while when the line comes only after its own end.
  makeNotingProgram("java/bin/java",
                    "tries=0\n"
                    "until grep -q 'Successfully collect' '" +
                        (folder / "history") +
                        "'; do\n"
                        "  tries=$((tries + 1)); [ $tries -lt 200 ] || exit 1; sleep 0.05\n"
                        "done\n"
                        "echo seen > '" +
                        (folder / "seen") + "'");
  collect();
  EXPECT_TRUE(folder.has("seen")) << "so it was waited for, too";
}

TEST_F(InstanceServiceLogCollectionTest, MessagesAndArgumentsNameActionAndProductAsTheyAre) {
  instance.collectLogFiles("/", "HOTFIX_UNINSTALL", "/tmp/install_trace.log");
  EXPECT_THAT(log(platform::LogLevel::Notice),
              testing::Each(EndsWith(" for the HOTFIX_UNINSTALL operaton of / project.")));
  ASSERT_EQ(children().size(), 1U);
  EXPECT_EQ(children()[0][4], "/");
  EXPECT_EQ(children()[0][8], "HOTFIX_UNINSTALL");
  EXPECT_EQ(children()[0][12], "/tmp/install_trace.log");
}

TEST_F(InstanceServiceLogCollectionTest, JavaThatCannotBeStartedIsOneErrorLine) {
  ASSERT_EQ(unlink(java().c_str()), 0);
  collect();
  EXPECT_THAT(children(), IsEmpty());
  EXPECT_THAT(log(),
              testing::ElementsAre(beginLine(), homeLine(), Pair(6, "productVersion is 6.2.1."),
                                   Pair(3, AllOf(HasSubstr(java()), HasSubstr(std::strerror(ENOENT)))), successLine()));
}

// ----- Where Java is found -----

TEST_F(InstanceServiceLogCollectionTest, PluginOfTheRightIdentifierIsUsedWithoutTheFinder) {
  setFinder("echo '" + (folder / "java") + "'");
  for (const char* identifier : {"com.oracle.java.JavaAppletPlugin", "COM.Oracle.JAVA.javaappletplugin"}) {
    const std::string pluginJava = makePlugin(std::string("{ CFBundleIdentifier = \"") + identifier + "\"; }");
    clearLog();
    collect();
    EXPECT_EQ(children().back(), utility(pluginJava, "6.2.1", data()));
    EXPECT_EQ(log(), successLines());
  }
  EXPECT_EQ(children().size(), 2U);
}

TEST_F(InstanceServiceLogCollectionTest, PluginNeedsNoJavaToBeTaken) {
  setFinder("echo '" + (folder / "java") + "'");
  const std::string pluginJava = makePlugin("{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugin\"; }");
  ASSERT_EQ(unlink(pluginJava.c_str()), 0);
  collect();
  EXPECT_THAT(children(), IsEmpty());
  ASSERT_EQ(log().size(), 5U);
  EXPECT_THAT(log()[3], Pair(3, HasSubstr(pluginJava)));
}

TEST_F(InstanceServiceLogCollectionTest, OtherPluginsAreNotUsed) {
  setFinder("echo '" + (folder / "java") + "'");
  const OptionalString informationLists[] = {
      std::string("{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugin2\"; }"),
      std::string("{ CFBundleIdentifier = \"com.oracle.java.JavaAppletPlugi\"; }"),
      std::string("{ CFBundleIdentifier = ( 1 ); }"),
      std::string("{ CFBundleName = \"com.oracle.java.JavaAppletPlugin\"; }"),
      std::string("{ CFBundleIdentifier = "),
      kNone};
  size_t runs = 0;
  for (const OptionalString& informationList : informationLists) {
    const std::string list = outside(platform::kJavaPlugin) + "Contents/Info.plist";
    unlink((folder / list).c_str());
    makePlugin(informationList);
    collect();
    ++runs;
    ASSERT_EQ(children().size(), 2 * runs) << textOrNull(informationList);
    EXPECT_EQ(children()[2 * runs - 2], (std::vector<std::string>{finder()}));
    EXPECT_EQ(children()[2 * runs - 1], utility(java(), "6.2.1", data()));
  }
}

TEST_F(InstanceServiceLogCollectionTest, FinderIsRunWithoutArgumentsAndItsFirstLineIsTheJavaHome) {
  setFinder("echo '" + (folder / "java") + "'; echo /second; exit 5");
  collect();
  EXPECT_EQ(children(), (Children{{finder()}, utility(java(), "6.2.1", data())}));
  EXPECT_EQ(log(), successLines());
}

TEST_F(InstanceServiceLogCollectionTest, JavaHomeMayHoldBlanksAndOtherLettersAndItsLineNeedsNoNewline) {
  const std::string oddJava = makeNotingProgram("J\u00E4va  Home 'x' $y/bin/java");
  folder.makeFile("answer", folder / "J\u00E4va  Home 'x' $y");
  setFinder("cat '" + (folder / "answer") + "'");
  collect();
  EXPECT_EQ(children(), (Children{{finder()}, utility(oddJava, "6.2.1", data())}));
}

TEST_F(InstanceServiceLogCollectionTest, OnlyTheFirst1022CharactersOfTheLineAreRead) {
  std::string longest = folder / "long";
  while (longest.size() < 1022 - 201) longest += "/" + std::string(200, 'd');
  longest += "/" + std::string(1022 - longest.size() - 1, 'e');
  ASSERT_EQ(longest.size(), 1022U);
  const std::string program = "/bin/java";
  if (longest.size() + program.size() >= PATH_MAX) GTEST_SKIP() << "needs a system with longer paths";
  const std::string deepJava = makeNotingProgram(longest.substr(folder.path().size() + 1) + program);
  setFinder("echo '" + longest + "more'");
  collect();
  EXPECT_EQ(children(), (Children{{finder()}, utility(deepJava, "6.2.1", data())}));
}

TEST_F(InstanceServiceLogCollectionTest, FinderThatIsMissingOrPrintsNoAbsolutePathEndsTheCollection) {
  testing::internal::CaptureStderr();
  const std::vector<std::string> finders = {"exit 0", "echo", "echo java", "echo '" + (folder / "java") + "' >&2"};
  for (const std::string& shellText : finders) {
    setFinder(shellText);
    clearLog();
    collect();
    EXPECT_EQ(log(), (LogLines{beginLine(), noJavaLine()})) << shellText;
  }
  ASSERT_EQ(unlink(finder().c_str()), 0);
  clearLog();
  collect();
  EXPECT_EQ(log(), (LogLines{beginLine(), noJavaLine()}));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(children(), Children(finders.size(), {finder()}));
}

// ----- The utility -----

TEST_F(InstanceServiceLogCollectionTest, MissingUtilityEndsTheCollectionAfterJavaWasFound) {
  ASSERT_EQ(unlink((home() + "/collectionutility.jar").c_str()), 0);
  setFinder("echo '" + (folder / "java") + "'");
  collect();
  EXPECT_EQ(children(), (Children{{finder()}}));
  EXPECT_EQ(log(),
            (LogLines{beginLine(),
                      homeLine(),
                      {6, "No log files are gathered as there is no collectionutility.jar under " + home() + ". "}}));
}

TEST_F(InstanceServiceLogCollectionTest, WithoutAHomeThereIsNoUtility) {
  InstanceService homeless(kNone, data());
  clearLog();
  homeless.collectLogFiles("Prod", "ACT", "/the.log");
  EXPECT_THAT(children(), IsEmpty());
  EXPECT_EQ(log(), (LogLines{beginLine(),
                             {6, "_pathToRcphome is (null)."},
                             {6, "No log files are gathered as there is no collectionutility.jar under (null). "}}));
}

// ----- Version and workspace -----

TEST_F(InstanceServiceLogCollectionTest, InstanceWithoutAVersionGetsAFreshStamp) {
  ASSERT_EQ(unlink((folder / (std::string(kBundle) + "/Contents/Info.plist")).c_str()), 0);
  collect();
  EXPECT_EQ(children(), (Children{utility(java(), "1511262125", data())}));
  EXPECT_EQ(log(), successLines("1511262125"));
  setClock({2009, 3, 5, 7, 4, 59});
  collect();
  ASSERT_EQ(children().size(), 2U);
  EXPECT_EQ(children()[1], utility(java(), "0503090704", data()));
}

TEST_F(InstanceServiceLogCollectionTest, GivenWorkspaceWins) {
  for (const char* workspace : {"/given/workspace", ""}) {
    instance.collectLogFiles("Prod", "ACT", "/the.log", workspace);
    EXPECT_EQ(children().back(), utility(java(), "6.2.1", workspace));
  }
  EXPECT_EQ(children().size(), 2U);
}

TEST_F(InstanceServiceLogCollectionTest, AbsentWorkspaceIsTheInstancesOwnOrAnEmptyText) {
  instance.collectLogFiles("Prod", "ACT", "/the.log", kNone);
  setEnvironment("HOME", "/Users/me");
  InstanceService dataless(home());
  dataless.collectLogFiles("Prod", "ACT", "/the.log");
  ASSERT_EQ(unlink((home() + "/rcplauncher.properties").c_str()), 0);
  dataless.collectLogFiles("Prod", "ACT", "/the.log");
  EXPECT_EQ(children(), (Children{utility(java(), "6.2.1", data()), utility(java(), "6.2.1", "/Users/me/workspace"),
                                  utility(java(), "6.2.1", "")}));
}

}  // namespace

}  // namespace hotfix
