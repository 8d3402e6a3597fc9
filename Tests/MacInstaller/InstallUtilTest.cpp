#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>

#include "MacInstaller/InstallUtil.h"
#include "Platform/ProcessList.h"
#include "Platform/SystemPaths.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/InstanceFixture.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::LogLevel;
using Texts = std::vector<std::string>;
using Tree = std::map<std::string, std::string>;

class InstallUtilTest : public FakeHostTest {};

// ----- Manifest version stamps -----

TEST_F(InstallUtilTest, StampIsDayMonthYearHourMinute) {
  const struct {
    platform::LocalTime moment;
    const char* stamp;
  } rows[] = {
      {{2026, 11, 15, 21, 25, 0}, "1511262125"},  {{2026, 11, 15, 21, 25, 59}, "1511262125"},
      {{2009, 3, 5, 7, 4, 0}, "0503090704"},      {{2099, 12, 31, 23, 59, 59}, "3112992359"},
      {{2100, 1, 1, 0, 0, 0}, "0101000000"},      {{2000, 2, 29, 12, 0, 1}, "2902001200"},
      {{1999, 10, 10, 10, 10, 10}, "1010991010"},
  };
  for (const auto& row : rows) {
    setClock(row.moment);
    EXPECT_EQ(InstallUtil::generateNewManifestVersion(), row.stamp);
  }
}

TEST_F(InstallUtilTest, ProcessDateFillsOneCharacterOnly) {
  const struct {
    const char *text, *filled;
  } rows[] = {{"7", "07"},
              {"0", "00"},
              {"12", "12"},
              {"", ""},
              {"x", "0x"},
              {"123", "123"},
              {"\u00E9", "0\u00E9"},
              {"\u20AC", "0\u20AC"},
              {"\u00E9\u00E9", "\u00E9\u00E9"},
              {"\U0001F600", "\U0001F600"}};
  for (const auto& row : rows) EXPECT_EQ(InstallUtil::processDate(row.text), row.filled) << row.text;
}

// ----- Paths -----

TEST_F(InstallUtilTest, RefusedAndAcceptedPaths) {
  for (const char* path : {"/Applications/A=B.app", "/tmp/a;b", "/Volumes/Disk #2/x", "/a/b:c/d", ":", "a:", "/a/:/b",
                           "?", "/x/100%/y", "relative/it's", "/quote\"d"}) {
    EXPECT_TRUE(InstallUtil::containUnSupportedCharacters(std::string(path))) << path;
  }
  for (const char* path : {"/Applications/My App.app", "", "/", "relative/path", "/Volumes/Data/x",
                           "/\xC3\xA9/\xE2\x82\xAC", "~/x", "/a\tb\n", "/a/../b//"}) {
    EXPECT_FALSE(InstallUtil::containUnSupportedCharacters(std::string(path))) << path;
  }
  EXPECT_FALSE(InstallUtil::containUnSupportedCharacters(std::nullopt));
}

TEST_F(InstallUtilTest, ExactlyElevenCharactersAreRefused) {
  const std::string refused = "!\"';\\#%|=?:";
  for (int character = 1; character < 0x80; ++character) {
    const bool isRefused = refused.find(static_cast<char>(character)) != std::string::npos;
    const std::string path = "/a/" + std::string(1, static_cast<char>(character)) + "b";
    EXPECT_EQ(InstallUtil::containUnSupportedCharacters(path), isRefused) << character;
  }
}

TEST_F(InstallUtilTest, BundlePathEndsAtTheLastApplication) {
  const struct {
    const char *path, *bundle;
  } rows[] = {
      {"/Applications/Vantelmor.app/Contents/MacOS/rcp", "/Applications/Vantelmor.app"},
      {"/Applications/Vantelmor.app/Contents/MacOS", "/Applications/Vantelmor.app"},
      {"/A.app/Contents/MacOS/B.app/Contents/MacOS/rcp", "/A.app/Contents/MacOS/B.app"},
      {"/A.app/Contents/MacOS/B.app/rcp", "/A.app"},
      {"A.app/Contents/MacOS/", "A.app"},
      {".app/Contents/MacOS", ".app"},
      {"/A.app/Contents/MacOSX/rcp", "/A.app"},
      {"/\xC3\xA9\xE2\x82\xAC.app/Contents/MacOS/rcp", "/\xC3\xA9\xE2\x82\xAC.app"},
  };
  for (const auto& row : rows) EXPECT_EQ(InstallUtil::getBundlePath(std::string(row.path)), row.bundle) << row.path;
}

TEST_F(InstallUtilTest, PathOutsideOfABundleHasNoBundlePath) {
  for (const char* path : {"", "/", "/opt/rcp", "/A.app/rcp", "/A.app/contents/macos/rcp", "/A.APP/Contents/MacOS/rcp",
                           "/A/Contents/MacOS/rcp", "/A.app//Contents/MacOS", "/A.app/Contents/Mac"}) {
    EXPECT_EQ(InstallUtil::getBundlePath(std::string(path)), std::nullopt) << path;
  }
  EXPECT_EQ(InstallUtil::getBundlePath(std::nullopt), std::nullopt);
}

TEST_F(InstallUtilTest, TargetNameIsThatOfTheNearestApplication) {
  const struct {
    const char *path, *name;
  } rows[] = {
      {"/Applications/Vantelmor.app/Contents/MacOS/rcp", "Vantelmor"},
      {"/Applications/Vantelmor.app", "Vantelmor"},
      {"/Applications/Vantelmor.app/", "Vantelmor"},
      {"/A.app/Contents/MacOS/B.app/Contents/MacOS/rcp", "B"},
      {"/x/my.tool.app/rcp", "my"},
      {"/x/myapp/rcp", "myapp"},
      {"/x/my.webapp/rcp", "my"},
      {"/app/rcp", "app"},
      {"/x/.app/rcp", ""},
      {"X.app/rcp", "X"},
      {"/x/My App.app/rcp", "My App"},
  };
  for (const auto& row : rows) {
    clearLog();
    EXPECT_EQ(InstallUtil::getTargetNameBy(std::string(row.path)), row.name);
    EXPECT_EQ(log(), (LogLines{{6, std::string("pathToRCPHome is ") + row.path + "."},
                               {6, std::string("targetName is ") + row.name + "."}}));
  }
}

TEST_F(InstallUtilTest, TargetNameWithoutAnApplicationIsTheTopAndLogged) {
  for (const OptionalString& path :
       std::vector<OptionalString>{kNone, "/opt/rcp", "/", "/X.APP/rcp", "/x.application/rcp", "/app1/rcp",
                                   "relative/path", "rcp", "", "//", "/apps/"}) {
    clearLog();
    EXPECT_EQ(InstallUtil::getTargetNameBy(path), "/");
    EXPECT_EQ(log(), (LogLines{{6, "pathToRCPHome is " + path.value_or("(null)") + "."},
                               {3, "Error path value, please provide a valid path value for rcp home."}}));
  }
}

// ----- Processes -----

TEST_F(InstallUtilTest, ProcessesAreThoseOfTheListUnderTheirKey) {
  EXPECT_TRUE(InstallUtil::getAllProcess(platform::kBundleExecutableKey).empty());
  runProcess(10, "/a/b");
  runProcess(11, "/c");
  runProcess(12, "/a/b");
  EXPECT_THAT(InstallUtil::getAllProcess(platform::kBundleExecutableKey), UnorderedElementsAre("/a/b", "/a/b", "/c"));
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/a", platform::kBundleExecutableKey));
  EXPECT_TRUE(InstallUtil::getAllProcess("NoSuchKey").empty());
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/a", "NoSuchKey"));
}

TEST_F(InstallUtilTest, BundleRunsWhileAProgramOfItDoes) {
  runProcess(10, "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher");
  // Deliberately by its start: "/Applications/V" names this bundle too.
  for (const char* prefix : {"/Applications/Vantelmor.app", "/applications/VANTELMOR.APP", "/", "/Applications/V",
                             "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher"}) {
    EXPECT_TRUE(InstallUtil::checkBundleIsRunning(prefix)) << prefix;
  }
  for (const char* prefix : {"/Applications/Other.app", "Applications/Vantelmor.app", "Vantelmor", "/Applications//V",
                             "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher2"}) {
    EXPECT_FALSE(InstallUtil::checkBundleIsRunning(prefix)) << prefix;
  }
  runProcess(11, "/Apps/E\u0301t\u00E9.app/Contents/MacOS/x");  // a decomposed letter, then a composed one
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/apps/\u00C9TE\u0301.APP"));
}

TEST_F(InstallUtilTest, EmptyPrefixAndEmptyListAreNoMatch) {
  runProcess(getpid(), "/a");  // the caller, which is left out
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/Applications/Vantelmor.app"));
  EXPECT_TRUE(log().empty());
  runProcess(10, "/a");
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning(""));
}

TEST_F(InstallUtilTest, ProcessesThatCannotBeListedAreNoMatchAndAWarning) {
  for (const bool isFolderThere : {false, true}) {
    if (isFolderThere) folder.makeFolder(outside("/proc/sys"));
    clearLog();
    EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/"));
    EXPECT_EQ(log(), (LogLines{{4,
                                "The running processes cannot be listed: whether the platform runs was "
                                "not checked."}}));
  }
}

TEST_F(InstallUtilTest, EveryProcessIsLoggedUpToTheFirstMatch) {
  runProcess(10, "/a/%s\u00E9");
  runProcess(11, "/b");
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/c"));
  EXPECT_THAT(log(), UnorderedElementsAre(Pair(6, ">>>> current is /a/%s\u00E9."), Pair(6, ">>>> current is /b.")));
  clearLog();
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/"));
  EXPECT_EQ(log().size(), 1U);
}

// ----- Bundles and locale -----

TEST_F(InstallUtilTest, BundleIdIsInTheInformationList) {
  folder.makeFile("A.app/Contents/Info.plist", "{ CFBundleIdentifier = \"com.qor.a\"; }");
  EXPECT_EQ(InstallUtil::getBundleID(folder / "A.app"), "com.qor.a");
  EXPECT_EQ(InstallUtil::getBundleID(folder / "A.app/"), "com.qor.a");
}

TEST_F(InstallUtilTest, BundleWithoutListOrKeyHasNoId) {
  folder.makeFile("no key.app/Contents/Info.plist", "{ other = x; }");
  folder.makeFile("no list.app/Contents/Info.plist", "<<<");
  folder.makeFile("elsewhere.app/Info.plist", "{ CFBundleIdentifier = x; }");
  folder.makeFile("array.app/Contents/Info.plist", "{ CFBundleIdentifier = ( x ); }");
  for (const char* name : {"missing.app", "no key.app", "no list.app", "elsewhere.app", "array.app"}) {
    EXPECT_EQ(InstallUtil::getBundleID(folder / name), std::nullopt) << name;
  }
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallUtilTest, LocaleIsTheChoiceOfTheLoginWhereTheEnvironmentNamesNobodyElse) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "de_DE");
  for (const OptionalString& user : {kNone, OptionalString("no such user")}) {
    setEnvironment("USER", user);
    EXPECT_EQ(InstallUtil::getCurrentLocale(), "de_DE");
  }
}

TEST_F(InstallUtilTest, LocaleOfAUserWhoNeverChoseIsEnglish) {
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "en_US");
  setUserDefaults(".GlobalPreferences", "{ AppleLanguages = ( de ); }");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "en_US");
}

TEST_F(InstallUtilTest, LocaleThatIsNoPlausibleIdentifierIsEnglish) {
  const auto localeOf = [this](const std::string& locale) {
    setUserDefaults(".GlobalPreferences", "{ AppleLocale = \"" + locale + "\"; }");
    return InstallUtil::getCurrentLocale();
  };
  for (const std::string& locale : {std::string("de"), std::string("zh-Hans_CN@currency=EUR;calendar=buddhist"),
                                    std::string("en_US_POSIX"), std::string("es-419"), std::string(156, 'x')}) {
    EXPECT_EQ(localeOf(locale), locale);
  }
  for (const std::string& locale :
       {std::string(""), std::string("-data"), std::string("_US"), std::string("de DE"), std::string("de/../DE"),
        std::string("d\u00E9"), std::string("de\n"), std::string("de\\000"), std::string(157, 'x')}) {
    EXPECT_EQ(localeOf(locale), "en_US") << locale;
  }
}

TEST_F(InstallUtilTest, LocaleUnderSudoIsReadAsTheInvokingUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can read as another user";
  const struct passwd* const nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no account nobody";
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  const std::string file = outside(std::string(nobody->pw_dir) + "/Library/Preferences/.GlobalPreferences.plist");
  setEnvironment("USER", "nobody");
  folder.makeFile(file, "{ AppleLocale = fr_FR; }");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "fr_FR");
  folder.makeFile(file, "{ AppleLocale = fr_FR; }", 0600);  // of root's own
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "en_US");
  EXPECT_EQ(geteuid(), 0U);
}

// ----- Tracing -----

class InstallUtilTraceTest : public FakeHostTest {
 protected:
  const std::string traceFile = outside(platform::kTraceFile);

  /// Ends what setupTraceOutput began, which would otherwise last as long as the process.
  ~InstallUtilTraceTest() override {
    struct stat trace;
    if (stat((folder / traceFile).c_str(), &trace) != 0) return;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
      struct stat status;
      if (fstat(descriptor, &status) != 0 || status.st_ino != trace.st_ino || status.st_dev != trace.st_dev) continue;
      platform::removeLogFile(descriptor);
      close(descriptor);
    }
  }
};

TEST_F(InstallUtilTraceTest, TracingIsOnWhateverTheSwitchSays) {
  const uid_t before = geteuid();
  EXPECT_TRUE(InstallUtil::shouldWriteTraces());
  for (const char* value : {"NO", "YES", "0", "( 1 )", "\"\""}) {
    setUserDefaults("com.qor.rcp.install.mac",
                    std::string("{ \"com.qor.rcp.install.mac.traceEnable\" = ") + value + "; }");
    EXPECT_TRUE(InstallUtil::shouldWriteTraces()) << value;
  }
  for (const OptionalString& user : {kNone, OptionalString("no such user"), OptionalString("nobody")}) {
    setEnvironment("USER", user);
    EXPECT_TRUE(InstallUtil::shouldWriteTraces());
  }
  EXPECT_EQ(geteuid(), before);
  EXPECT_FALSE(folder.has(traceFile));
}

TEST_F(InstallUtilTraceTest, TraceFileIsEmptiedAndGetsTheLines) {
  folder.makeFile(traceFile, "earlier run\n");
  setUserDefaults("com.qor.rcp.install.mac", "{ \"com.qor.rcp.install.mac.traceEnable\" = NO; }");
  InstallUtil::setupTraceOutput();
  EXPECT_EQ(folder.read(traceFile), "");
  platform::log(LogLevel::Info, "one %d", 1);
  platform::log(LogLevel::Error, "two");
  EXPECT_THAT(folder.lines(traceFile), ElementsAre(MatchesRegex(".* <Info>: one 1"), MatchesRegex(".* <Error>: two")));
}

TEST_F(InstallUtilTraceTest, TraceThatCannotBeOpenedIsPassedOverInSilence) {
  folder.makeFile(traceFile + "/inside", "text");
  InstallUtil::setupTraceOutput();
  EXPECT_TRUE(log().empty());
  EXPECT_EQ(folder.names(traceFile), (Texts{"inside"}));
}

// ----- Messages of the installers -----

TEST_F(InstallUtilTest, ClaimedPasteboardIsEmptyOrHoldsTheReportOfNoError) {
  const PropertyListValue noError(PropertyListValue::Dictionary{
      {"ERROR_CODE", PropertyListValue::integer(0)}, {"ERROR_DETAILS", PropertyListValue(PropertyListValue::Array())}});
  for (int time = 0; time < 2; ++time) {  // the second time with an earlier report
    InstallUtil::initInternalPasteboard(false);
    EXPECT_EQ(InstallUtil::getErrorMessage(), std::nullopt);
    InstallUtil::sendErrorMessage(PropertyListValue("earlier"));
    InstallUtil::initInternalPasteboard(true);
    EXPECT_EQ(InstallUtil::getErrorMessage(), noError);
  }
}

TEST_F(InstallUtilTest, AnyPropertyListIsAReport) {
  InstallUtil::initInternalPasteboard(true);
  const PropertyListValue list(PropertyListValue::Array{"a & b", PropertyListValue(true)});
  for (const PropertyListValue& report : {PropertyListValue("text"), PropertyListValue(""), list,
                                          PropertyListValue(PropertyListValue::Dictionary{{"k", list}}),
                                          PropertyListValue::integer(-7), PropertyListValue(false)}) {
    InstallUtil::sendErrorMessage(report);
    EXPECT_EQ(InstallUtil::getErrorMessage(), report);
    EXPECT_EQ(InstallUtil::getErrorMessage(), report) << "again";
  }
}

TEST_F(InstallUtilTest, AbsentReportLeavesTheEarlierOne) {
  InstallUtil::initInternalPasteboard(false);
  InstallUtil::sendErrorMessage(PropertyListValue("earlier"));
  InstallUtil::sendErrorMessage(std::nullopt);
  EXPECT_EQ(InstallUtil::getErrorMessage(), PropertyListValue("earlier"));
}

TEST_F(InstallUtilTest, UnclaimedPasteboardTakesNoReport) {
  EXPECT_EQ(InstallUtil::getErrorMessage(), std::nullopt);
  InstallUtil::sendErrorMessage(PropertyListValue("text"));
  EXPECT_EQ(InstallUtil::getErrorMessage(), std::nullopt);
}

TEST_F(InstallUtilTest, PasteboardHasItsFixedNames) {
  InstallUtil::initInternalPasteboard(true);
  const Tree tree = treeSnapshot(folder.path());
  EXPECT_EQ(std::count_if(tree.begin(), tree.end(),
                          [](const auto& entry) {
                            return entry.first.find("INSTALLATION_INTERNAL_PASTEBOARD") != std::string::npos &&
                                   entry.second.find("<key>ERROR_MESSAGE</key>") != std::string::npos;
                          }),
            1);
}

// ----- Package paths -----

TEST_F(InstallUtilTest, MetapackageIsThreeLevelsUpAndTheInstallerRootFour) {
  const struct {
    const char *path, *metapackage, *root;
  } rows[] = {
      {"/Volumes/Disk/Setup.mpkg/Contents/Packages/core.pkg", "/Volumes/Disk/Setup.mpkg", "/Volumes/Disk"},
      {"/Volumes/Disk/Setup.mpkg/Contents/Packages/core.pkg/", "/Volumes/Disk/Setup.mpkg", "/Volumes/Disk"},
      {"/a/b/c/d", "/a", "/"},
      {"/a/b", "/", "/"},
      {"/", "/", "/"},
      {"a/b/c/d", "a", ""},
      {"a", "", ""},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(InstallUtil::getPathToMPKGThrough(row.path), row.metapackage) << row.path;
    EXPECT_EQ(InstallUtil::getInstallerRootThrough(row.path), row.root) << row.path;
  }
}

// ----- Owner, group and mode -----

TEST_F(InstallUtilTest, NoFolderIsNotChanged) {
  EXPECT_FALSE(InstallUtil::changeAttributesForDirectory(std::nullopt));
  EXPECT_FALSE(InstallUtil::changeAttributesForDirectory(folder / "missing"));
  EXPECT_FALSE(InstallUtil::changeAttributesForDirectory(OptionalString("")));
  folder.makeLink("broken", "nowhere");
  EXPECT_FALSE(InstallUtil::changeAttributesForDirectory(folder / "broken"));
}

TEST_F(InstallUtilTest, EverythingBelowTheFolderGetsTheModeAndTheFolderKeepsIts) {
  folder.makeFile("top/file", "", 0600);
  folder.makeFile("top/a/deep", "", 0);
  folder.makeFolder("top", 0750);
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  for (const char* path : {"top/file", "top/a", "top/a/deep"}) EXPECT_EQ(folder.mode(path), 0775U) << path;
  EXPECT_EQ(folder.mode("top"), 0750U);
  folder.makeFile("file", "", 0600);
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "file")) << "nothing is below a file";
  EXPECT_EQ(folder.mode("file"), 0600U);
}

TEST_F(InstallUtilTest, OwnerIsTheInvokingUserAndTheGroupIsAdmin) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const struct passwd* const nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no account nobody";
  const struct group* const admin = getgrnam("admin");
  const struct {
    OptionalString user;
    uid_t owner;
  } rows[] = {{"nobody", nobody->pw_uid}, {std::nullopt, geteuid()}, {"no such user", 12345}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.user.value_or("the login"));
    folder.makeFile("top/a/file", "", 0600);
    for (const char* path : {"top/a", "top/a/file"}) ASSERT_EQ(chown((folder / path).c_str(), 12345, 23456), 0);
    setEnvironment("USER", row.user);
    EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
    for (const char* path : {"top/a", "top/a/file"}) {
      EXPECT_EQ(folder.attributes(path).st_uid, row.owner);
      EXPECT_EQ(folder.attributes(path).st_gid, admin != nullptr ? admin->gr_gid : 23456);
      EXPECT_EQ(folder.mode(path), 0775U);
    }
    EXPECT_EQ(folder.attributes("top").st_uid, 0U);
  }
}

TEST_F(InstallUtilTest, RefusedEntryIsAFailureAndTheOthersAreChanged) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a file of somebody else";
  for (const char* path : {"top/1", "top/2", "top/3/4"}) folder.makeFile(path, "", 0600);
  folder.makeFile("victim", "", 0600);
  ASSERT_EQ(chown((folder / "victim").c_str(), 12345, 12345), 0);
  ASSERT_EQ(link((folder / "victim").c_str(), (folder / "top/2 planted").c_str()), 0);
  folder.makeFolder("top", 0777);
  EXPECT_FALSE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  for (const char* path : {"top/1", "top/2", "top/3", "top/3/4"}) EXPECT_EQ(folder.mode(path), 0775U) << path;
  EXPECT_EQ(folder.mode("victim"), 0600U);
  EXPECT_EQ(folder.attributes("victim").st_uid, 12345U);
}

/// What \a work answers in a child process whose root folder is \a root: nothing that it does reaches the machine.
std::string inOwnRoot(const std::string& root, const std::function<std::string()>& work) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    const bool isConfined = chroot(root.c_str()) == 0 && chdir("/") == 0;
    const std::string answer = isConfined ? work() : "not confined";
    _exit(write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string answer;
  char buffer[4096];
  for (ssize_t length; (length = read(ends[0], buffer, sizeof buffer)) > 0;) {
    answer.append(buffer, static_cast<size_t>(length));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? answer : "failed";
}

// OwnershipTest has all the folders that are refused.
TEST_F(InstallUtilTest, FolderOfTheSystemIsRefusedWithOneLineAndAnyOtherAtTheTopIsTreated) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a root folder of its own";
  folder.makeFile("machine/usr/file", "", 0600);
  folder.makeFile("machine/D/file", "", 0600);
  folder.makeLink("machine/link", "usr");
  const auto changed = [this](const std::string& path) {
    return inOwnRoot(folder / "machine", [&path] {
      std::string text = InstallUtil::changeAttributesForDirectory(path) ? "yes" : "no";
      for (const LogLine& line : log()) text += " " + std::to_string(line.first) + " " + line.second;
      return text;
    });
  };
  for (const std::string path : {"/", "/usr", "/link"}) {
    EXPECT_THAT(changed(path), MatchesRegex("no 3 [^\n]*" + path + "[^\n]*"));
  }
  EXPECT_EQ(folder.mode("machine/usr/file"), 0600U);
  EXPECT_EQ(changed("/D"), "yes");
  EXPECT_EQ(folder.mode("machine/D/file"), 0775U);
}

// ----- Shell commands -----

TEST_F(InstallUtilTest, CommandLineGoesThroughTheShellAndIsWaitedFor) {
  InstallUtil::startProvisionWithArgs("V='a b'; printf %s \"$V\" > '" + (folder / "result") + "' && exit 3");
  EXPECT_EQ(folder.read("result"), "a b");
  EXPECT_TRUE(log().empty());
}

// ----- Prefixes -----

// CaseFoldingTest has more texts.
TEST_F(InstallUtilTest, PrefixIgnoresCase) {
  const struct {
    OptionalString text, prefix;
    bool answer;
  } rows[] = {
      {".KeyStore_old", ".keystore", true},
      {"my.keystore", ".keystore", false},
      {".keystor", ".keystore", false},
      {"text", "", false},
      {"", "x", false},
      {"\u00C9t\u00E9", "\u00E9T", true},
      {std::nullopt, "x", false},
      {std::nullopt, "", false},
      {"x", std::nullopt, false},
      {std::nullopt, std::nullopt, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(InstallUtil::hasPrefixCaseInsensitive(row.text, row.prefix), row.answer)
        << textOrNull(row.text) << ", " << textOrNull(row.prefix);
  }
}

// ----- The package variable -----

TEST_F(InstallUtilTest, PackageIsPutIntoEveryText) {
  using Dictionary = PropertyListValue::Dictionary;
  const Dictionary others = {
      {"${package}", "x"},
      {"other", "${Package} ${packages} $package"},
      {"array", PropertyListValue(PropertyListValue::Array{"${package}"})},
      {"dictionary", PropertyListValue(Dictionary{{"k", "${package}"}})},
      {"number", PropertyListValue::integer(1)},
  };
  const struct {
    OptionalString package;
    const char* path;
  } rows[] = {{"p", "p/lib:p/bin"},
              {"", "/lib:/bin"},
              {"${package}\\1&", "${package}\\1&/lib:${package}\\1&/bin"},
              {std::nullopt, "${package}/lib:${package}/bin"}};
  for (const auto& row : rows) {
    Dictionary settings = others;
    settings["path"] = PropertyListValue("${package}/lib:${package}/bin");
    Dictionary expected = others;
    expected["path"] = PropertyListValue(row.path);
    InstallUtil::replacePackageVariableWith(row.package, settings);
    EXPECT_EQ(settings, expected) << textOrNull(row.package);
  }
}

// ----- Receipts -----

class InstallUtilReceiptTest : public InstanceTest {};

TEST_F(InstallUtilReceiptTest, ReceiptOfAnyIdentifierIsForgottenByPkgutil) {
  InstallUtil::removeReceipt(std::nullopt);
  EXPECT_TRUE(children().empty());
  for (const char* identifier : {"com.qor.hotfix.pkg", "", "a b; $(c) 'd'", "--help", "*"}) {
    InstallUtil::removeReceipt(identifier);
    EXPECT_EQ(children().back(), (Texts{folder / outside("/usr/sbin/pkgutil"), "--forget", identifier}));
  }
  EXPECT_EQ(children().size(), 5U);
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallUtilReceiptTest, MissingPkgutilIsOneLine) {
  ASSERT_EQ(unlink((folder / outside(platform::kPkgutil)).c_str()), 0);
  InstallUtil::removeReceipt("x");
  ASSERT_EQ(log().size(), 1U);
  EXPECT_EQ(log()[0].first, 3);
  EXPECT_THAT(log()[0].second, HasSubstr(platform::kPkgutil));
}

}  // namespace

}  // namespace hotfix
