#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>

#include "MacInstaller/InstallUtil.h"
#include "Platform/ProcessList.h"
#include "Platform/SystemPaths.h"
#include "Tests/Platform/HostCalls.h"
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
      {{2026, 11, 15, 21, 25, 59}, "1511262125"}, {{2009, 3, 5, 7, 4, 0}, "0503090704"},
      {{2099, 12, 31, 23, 59, 59}, "3112992359"}, {{2100, 1, 1, 0, 0, 0}, "0101000000"},
      {{2000, 2, 29, 12, 0, 1}, "2902001200"},    {{1999, 10, 10, 10, 10, 10}, "1010991010"},
  };
  for (const auto& row : rows) {
    setClock(row.moment);
    EXPECT_EQ(InstallUtil::generateNewManifestVersion(), row.stamp);
  }
}

TEST_F(InstallUtilTest, StampsOfOneMinuteAreEqual) {
  setClock({2026, 1, 2, 3, 4, 0});
  const std::string first = InstallUtil::generateNewManifestVersion();
  setClock({2026, 1, 2, 3, 4, 59});
  EXPECT_EQ(InstallUtil::generateNewManifestVersion(), first);
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
  for (const char* path :
       {"/opt/rcp", "/", "/X.APP/rcp", "/x.application/rcp", "/app1/rcp", "relative/path", "rcp", "", "//", "/apps/"}) {
    clearLog();
    EXPECT_EQ(InstallUtil::getTargetNameBy(std::string(path)), "/");
    EXPECT_EQ(log(), (LogLines{{6, std::string("pathToRCPHome is ") + path + "."},
                               {3, "Error path value, please provide a valid path value for rcp home."}}));
  }
}

TEST_F(InstallUtilTest, TargetNameOfNoPathIsTheTop) {
  EXPECT_EQ(InstallUtil::getTargetNameBy(std::nullopt), "/");
  EXPECT_EQ(log(), (LogLines{{6, "pathToRCPHome is (null)."},
                             {3, "Error path value, please provide a valid path value for rcp home."}}));
}

// ----- Processes -----

TEST_F(InstallUtilTest, AllProcessesAreThoseOfTheList) {
  EXPECT_TRUE(InstallUtil::getAllProcess(platform::kBundleExecutableKey).empty());
  runProcess(10, "/a/b");
  runProcess(11, "/c");
  runProcess(12, "/a/b");
  EXPECT_THAT(InstallUtil::getAllProcess(platform::kBundleExecutableKey), UnorderedElementsAre("/a/b", "/a/b", "/c"));
  EXPECT_TRUE(InstallUtil::getAllProcess("NoSuchKey").empty());
}

TEST_F(InstallUtilTest, BundleRunsWhileAProgramOfItDoes) {
  runProcess(10, "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher");
  for (const char* prefix : {"/Applications/Vantelmor.app", "/applications/VANTELMOR.APP", "/", "/Applications/V",
                             "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher"}) {
    EXPECT_TRUE(InstallUtil::checkBundleIsRunning(prefix)) << prefix;
  }
  for (const char* prefix : {"/Applications/Other.app", "Applications/Vantelmor.app", "Vantelmor", "/Applications//V",
                             "/Applications/Vantelmor.app/Contents/MacOS/rcplauncher2"}) {
    EXPECT_FALSE(InstallUtil::checkBundleIsRunning(prefix)) << prefix;
  }
}

TEST_F(InstallUtilTest, BundleIsFoundByPrefixOnPurpose) {
  runProcess(10, "/Applications/Vantelmor.app2/x");
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/Applications/Vantelmor.app"));
}

TEST_F(InstallUtilTest, LetterCaseAndFormOfAccentsDoNotMatter) {
  runProcess(10, "/Apps/E\xCC\x81t\xC3\xA9.app/Contents/MacOS/x");  // a decomposed letter, then a composed one
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/Apps/\xC3\xA9T\xC3\x89.app"));
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/apps/\xC3\x89TE\xCC\x81.APP"));
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/Apps/Ete.app"));
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

TEST_F(InstallUtilTest, EveryProcessLookedAtIsLogged) {
  runProcess(10, "/a/%s\xC3\xA9");
  runProcess(11, "/b");
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/c"));
  EXPECT_THAT(log(),
              UnorderedElementsAre(LogLine{6, ">>>> current is /a/%s\xC3\xA9."}, LogLine{6, ">>>> current is /b."}));
}

TEST_F(InstallUtilTest, NoProcessAfterTheFirstMatchIsLogged) {
  for (int pid = 10; pid < 20; ++pid) runProcess(pid, "/a/" + std::to_string(pid));
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/a"));
  EXPECT_EQ(log().size(), 1U);
}

TEST_F(InstallUtilTest, OtherKeyOfTheProcessesIsUsed) {
  runProcess(10, "/a");
  EXPECT_FALSE(InstallUtil::checkBundleIsRunning("/a", "NoSuchKey"));
  EXPECT_TRUE(InstallUtil::checkBundleIsRunning("/a", platform::kBundleExecutableKey));
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

TEST_F(InstallUtilTest, LocaleIsTheUsersChoice) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "de_DE");
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

TEST_F(InstallUtilTest, LocaleWithoutTheVariableUserIsThatOfTheLogin) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  setEnvironment("USER", std::nullopt);
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "de_DE");
}

TEST_F(InstallUtilTest, LocaleOfAnUnknownUserIsReadAsTheProcess) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  setEnvironment("USER", "no such user");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "de_DE");
}

TEST_F(InstallUtilTest, LocaleUnderSudoIsThatOfTheInvokingUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can read as another user";
  const struct passwd* const nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no account nobody";
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  folder.makeFile(outside(std::string(nobody->pw_dir) + "/Library/Preferences/.GlobalPreferences.plist"),
                  "{ AppleLocale = fr_FR; }");
  setEnvironment("USER", "nobody");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "fr_FR");
  EXPECT_EQ(geteuid(), 0U);
}

TEST_F(InstallUtilTest, FileOfRootsOwnIsNotReadForAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can read as another user";
  const struct passwd* const nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no account nobody";
  folder.makeFile(outside(std::string(nobody->pw_dir) + "/Library/Preferences/.GlobalPreferences.plist"),
                  "{ AppleLocale = fr_FR; }", 0600);
  setEnvironment("USER", "nobody");
  EXPECT_EQ(InstallUtil::getCurrentLocale(), "en_US");
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
  EXPECT_TRUE(InstallUtil::shouldWriteTraces());
  for (const char* value : {"NO", "YES", "0", "( 1 )", "\"\""}) {
    setUserDefaults("com.qor.rcp.install.mac",
                    std::string("{ \"com.qor.rcp.install.mac.traceEnable\" = ") + value + "; }");
    EXPECT_TRUE(InstallUtil::shouldWriteTraces()) << value;
  }
  setEnvironment("USER", "no such user");
  EXPECT_TRUE(InstallUtil::shouldWriteTraces());
  setEnvironment("USER", std::nullopt);
  EXPECT_TRUE(InstallUtil::shouldWriteTraces());
  EXPECT_FALSE(folder.has(traceFile));
}

TEST_F(InstallUtilTraceTest, ReadOfTheSwitchLeavesTheEffectiveUser) {
  setEnvironment("USER", "nobody");
  const uid_t before = geteuid();
  (void)InstallUtil::shouldWriteTraces();
  EXPECT_EQ(geteuid(), before);
}

TEST_F(InstallUtilTraceTest, TraceFileIsCreatedAndGetsTheLines) {
  InstallUtil::setupTraceOutput();
  ASSERT_TRUE(folder.has(traceFile));
  EXPECT_EQ(folder.read(traceFile), "");
  platform::log(LogLevel::Info, "one %d", 1);
  platform::log(LogLevel::Error, "two");
  EXPECT_THAT(folder.lines(traceFile), ElementsAre(MatchesRegex(".* <Info>: one 1"), MatchesRegex(".* <Error>: two")));
}

TEST_F(InstallUtilTraceTest, TraceOfAnEarlierRunIsEmptied) {
  folder.makeFile(traceFile, "earlier run\n");
  setUserDefaults("com.qor.rcp.install.mac", "{ \"com.qor.rcp.install.mac.traceEnable\" = NO; }");
  InstallUtil::setupTraceOutput();
  platform::log(LogLevel::Notice, "this run");
  EXPECT_THAT(folder.lines(traceFile), ElementsAre(HasSubstr("<Notice>: this run")));
}

TEST_F(InstallUtilTraceTest, TraceThatCannotBeOpenedIsPassedOverInSilence) {
  folder.makeFile(traceFile + "/inside", "text");
  InstallUtil::setupTraceOutput();
  EXPECT_TRUE(log().empty());
  EXPECT_EQ(folder.names(traceFile), (Texts{"inside"}));
}

// ----- Messages of the installers -----

PropertyListValue reportOfNoError() {
  return PropertyListValue(PropertyListValue::Dictionary{
      {"ERROR_CODE", PropertyListValue::integer(0)}, {"ERROR_DETAILS", PropertyListValue(PropertyListValue::Array())}});
}

TEST_F(InstallUtilTest, ClaimedPasteboardIsEmpty) {
  InstallUtil::initInternalPasteboard(false);
  EXPECT_EQ(InstallUtil::getErrorMessage(), std::nullopt);
}

TEST_F(InstallUtilTest, ResetPasteboardHoldsTheReportOfNoError) {
  InstallUtil::initInternalPasteboard(true);
  EXPECT_EQ(InstallUtil::getErrorMessage(), reportOfNoError());
}

TEST_F(InstallUtilTest, SentReportIsRead) {
  const PropertyListValue report(PropertyListValue::Dictionary{
      {"ERROR_CODE", PropertyListValue::integer(-3)},
      {"ERROR_DETAILS", PropertyListValue(PropertyListValue::Array{"a & b", PropertyListValue(true)})}});
  InstallUtil::initInternalPasteboard(false);
  InstallUtil::sendErrorMessage(report);
  EXPECT_EQ(InstallUtil::getErrorMessage(), report);
  EXPECT_EQ(InstallUtil::getErrorMessage(), report);
}

TEST_F(InstallUtilTest, AnyPropertyListIsAReport) {
  InstallUtil::initInternalPasteboard(true);
  for (const PropertyListValue& report :
       {PropertyListValue("text"), PropertyListValue(""), PropertyListValue(PropertyListValue::Array()),
        PropertyListValue(PropertyListValue::Dictionary()), PropertyListValue::integer(7), PropertyListValue(false)}) {
    InstallUtil::sendErrorMessage(report);
    EXPECT_EQ(InstallUtil::getErrorMessage(), report);
  }
}

TEST_F(InstallUtilTest, AbsentReportLeavesTheEarlierOne) {
  InstallUtil::initInternalPasteboard(false);
  InstallUtil::sendErrorMessage(PropertyListValue("earlier"));
  InstallUtil::sendErrorMessage(std::nullopt);
  EXPECT_EQ(InstallUtil::getErrorMessage(), PropertyListValue("earlier"));
}

TEST_F(InstallUtilTest, ClaimingAgainEmptiesThePasteboard) {
  InstallUtil::initInternalPasteboard(false);
  InstallUtil::sendErrorMessage(PropertyListValue("earlier"));
  InstallUtil::initInternalPasteboard(false);
  EXPECT_EQ(InstallUtil::getErrorMessage(), std::nullopt);
  InstallUtil::sendErrorMessage(PropertyListValue("earlier"));
  InstallUtil::initInternalPasteboard(true);
  EXPECT_EQ(InstallUtil::getErrorMessage(), reportOfNoError());
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

TEST_F(InstallUtilTest, PlainFileHasNothingBelowIt) {
  folder.makeFile("file", "", 0600);
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "file"));
  EXPECT_EQ(folder.mode("file"), 0600U);
}

TEST_F(InstallUtilTest, EverythingBelowTheFolderGetsTheModeAndTheFolderKeepsIts) {
  folder.makeFile("top/file", "", 0600);
  folder.makeFile("top/.hidden", "", 0444);
  folder.makeFile("top/a/b/c/deep", "", 0);
  folder.makeFolder("top/a/b", 0700);
  folder.makeFolder("top", 0750);
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  for (const char* path : {"top/file", "top/.hidden", "top/a", "top/a/b", "top/a/b/c", "top/a/b/c/deep"}) {
    EXPECT_EQ(folder.mode(path), 0775U) << path;
  }
  EXPECT_EQ(folder.mode("top"), 0750U);
}

TEST_F(InstallUtilTest, OwnerIsTheInvokingUserAndTheGroupIsAdmin) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const struct passwd* const nobody = getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "no account nobody";
  const struct group* const admin = getgrnam("admin");
  folder.makeFile("top/a/file");
  ASSERT_EQ(chown((folder / "top/a/file").c_str(), 12345, 23456), 0);
  setEnvironment("USER", "nobody");
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  EXPECT_EQ(folder.attributes("top/a").st_uid, nobody->pw_uid);
  EXPECT_EQ(folder.attributes("top/a/file").st_uid, nobody->pw_uid);
  EXPECT_EQ(folder.attributes("top/a/file").st_gid, admin != nullptr ? admin->gr_gid : 23456);
  EXPECT_EQ(folder.attributes("top").st_uid, 0U);
}

TEST_F(InstallUtilTest, OwnerWithoutTheVariableUserIsTheLogin) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  folder.makeFile("top/file");
  ASSERT_EQ(chown((folder / "top/file").c_str(), 12345, 23456), 0);
  setEnvironment("USER", std::nullopt);
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  EXPECT_EQ(folder.attributes("top/file").st_uid, geteuid());
}

TEST_F(InstallUtilTest, UnknownOwnerIsLeftAndNoFailure) {
  folder.makeFile("top/file", "", 0600);
  setEnvironment("USER", "no such user");
  EXPECT_TRUE(InstallUtil::changeAttributesForDirectory(folder / "top"));
  EXPECT_EQ(folder.mode("top/file"), 0775U);
  EXPECT_EQ(folder.attributes("top/file").st_uid, geteuid());
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

TEST_F(InstallUtilTest, FoldersOfTheSystemAndHomesAreRefusedWithOneLine) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a root folder of its own";
  if (!host::kAccountsAreAFile) GTEST_SKIP() << "needs a system whose accounts are a file in the root folder";
  folder.makeFile("machine/etc/passwd", "root:x:0:0::/people/anna:/bin/sh\n");
  const Texts refused = {"/", "//", "/etc", "/usr", "/home", "/Library/", "/Users", "/link", "/people/anna"};
  for (const std::string& path : refused) folder.makeFolder("machine" + (path == "/link" ? "/usr" : path));
  folder.makeLink("machine/link", "usr");
  folder.makeFile("machine/usr/file", "", 0600);
  folder.makeFile("machine/people/anna/file", "", 0600);
  for (const std::string& path : refused) {
    EXPECT_THAT(inOwnRoot(folder / "machine",
                          [&path] {
                            const bool answer = InstallUtil::changeAttributesForDirectory(path);
                            std::string text = answer ? "yes" : "no";
                            for (const LogLine& line : log())
                              text += " " + std::to_string(line.first) + " " + line.second;
                            return text;
                          }),
                MatchesRegex("no 3 [^\n]*" + path + "[^\n]*"));
  }
  EXPECT_EQ(folder.mode("machine/usr/file"), 0600U);
  EXPECT_EQ(folder.mode("machine/people/anna/file"), 0600U);
}

TEST_F(InstallUtilTest, AnyOtherFolderAtTheTopIsTreated) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a root folder of its own";
  folder.makeFile("machine/D/file", "", 0600);
  EXPECT_EQ(inOwnRoot(folder / "machine",
                      [] { return InstallUtil::changeAttributesForDirectory(OptionalString("/D")) ? "yes" : "no"; }),
            "yes");
  EXPECT_EQ(folder.mode("machine/D/file"), 0775U);
}

// ----- Shell commands -----

TEST_F(InstallUtilTest, CommandLineGoesThroughTheShellAndIsWaitedFor) {
  InstallUtil::startProvisionWithArgs("V='a b'; printf %s \"$V\" > '" + (folder / "result") + "' && exit 3");
  EXPECT_EQ(folder.read("result"), "a b");
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallUtilTest, CommandThatDoesNotExistIsPassedOver) {
  InstallUtil::startProvisionWithArgs("'" + (folder / "no such program") + "' 2> /dev/null");
  EXPECT_EQ(folder.names(), (Texts{"outside"}));
}

// ----- Prefixes -----

TEST_F(InstallUtilTest, PrefixIgnoresCase) {
  const struct {
    const char *text, *prefix;
    bool answer;
  } rows[] = {
      {".KeyStore_old", ".keystore", true},
      {".keystore", ".KEYSTORE", true},
      {"my.keystore", ".keystore", false},
      {".keystor", ".keystore", false},
      {"text", "", false},
      {"", "", false},
      {"", "x", false},
      {"xx.keystore.keystore", ".keystore", false},
      {"a.c", "a.", true},
      {"abc", "a.", false},
      {"\xC3\x89t\xC3\xA9", "\xC3\xA9T", true},
      {"E\xCC\x81t", "\xC3\xA9", true},
      {"e\xCC\x81t", "e", false},
      {"\xFF.x", "\xFF.X", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(InstallUtil::hasPrefixCaseInsensitive(std::string(row.text), row.prefix), row.answer)
        << row.text << ", " << row.prefix;
  }
}

TEST_F(InstallUtilTest, AbsentTextHasNoPrefix) {
  EXPECT_FALSE(InstallUtil::hasPrefixCaseInsensitive(std::nullopt, "x"));
  EXPECT_FALSE(InstallUtil::hasPrefixCaseInsensitive(std::nullopt, ""));
  EXPECT_FALSE(InstallUtil::hasPrefixCaseInsensitive("x", std::nullopt));
  EXPECT_FALSE(InstallUtil::hasPrefixCaseInsensitive(std::nullopt, std::nullopt));
}

// ----- The package variable -----

TEST_F(InstallUtilTest, PackageIsPutIntoEveryText) {
  PropertyListValue::Dictionary settings = {
      {"path", "${package}/lib:${package}/bin"},
      {"plain", "value"},
      {"other", "${Package} ${packages} $package"},
      {"${package}", "x"},
      {"empty", ""},
  };
  const PropertyListValue::Dictionary expected = {
      {"path", "p/lib:p/bin"}, {"plain", "value"}, {"other", "${Package} ${packages} $package"},
      {"${package}", "x"},     {"empty", ""},
  };
  InstallUtil::replacePackageVariableWith("p", settings);
  EXPECT_EQ(settings, expected);
}

TEST_F(InstallUtilTest, PackageIsTakenLiterally) {
  PropertyListValue::Dictionary settings = {{"k", "<${package}>"}};
  InstallUtil::replacePackageVariableWith("${package}\\1&", settings);
  EXPECT_EQ(settings["k"], PropertyListValue("<${package}\\1&>"));
}

TEST_F(InstallUtilTest, EmptyPackageIsAPackage) {
  PropertyListValue::Dictionary settings = {{"k", "a${package}b"}};
  InstallUtil::replacePackageVariableWith("", settings);
  EXPECT_EQ(settings["k"], PropertyListValue("ab"));
}

TEST_F(InstallUtilTest, AbsentPackageChangesNothing) {
  PropertyListValue::Dictionary settings = {{"k", "${package}"}};
  InstallUtil::replacePackageVariableWith(std::nullopt, settings);
  EXPECT_EQ(settings["k"], PropertyListValue("${package}"));
}

TEST_F(InstallUtilTest, ValuesThatAreNoTextsAreLeftAlone) {
  PropertyListValue::Dictionary settings = {
      {"array", PropertyListValue(PropertyListValue::Array{"${package}"})},
      {"dictionary", PropertyListValue(PropertyListValue::Dictionary{{"k", "${package}"}})},
      {"number", PropertyListValue::integer(1)},
      {"boolean", PropertyListValue(true)},
  };
  const PropertyListValue::Dictionary before = settings;
  InstallUtil::replacePackageVariableWith("p", settings);
  EXPECT_EQ(settings, before);
}

// ----- Copying folders -----

class InstallUtilCopyTest : public FakeHostTest {
 protected:
  /// The destination's tree after source has been copied to it.
  Tree copied() const {
    const Tree before = treeSnapshot(folder / "source");
    InstallUtil::copyFolderFrom(folder / "source", folder / "to");
    EXPECT_EQ(treeSnapshot(folder / "source"), before);
    EXPECT_TRUE(log().empty());
    return treeSnapshot(folder / "to");
  }
};

TEST_F(InstallUtilCopyTest, NothingHappensWithoutBothPaths) {
  folder.makeFile("source/file", "new");
  InstallUtil::copyFolderFrom(std::nullopt, folder / "to");
  InstallUtil::copyFolderFrom(folder / "source", std::nullopt);
  InstallUtil::copyFolderFrom(std::nullopt, std::nullopt);
  EXPECT_EQ(folder.names(), (Texts{"outside", "source"}));
}

TEST_F(InstallUtilCopyTest, NothingHappensWithoutASource) {
  folder.makeFile("to/file", "old");
  EXPECT_EQ(copied(), (Tree{{"file", "file: old"}}));
  InstallUtil::copyFolderFrom(folder / "source", folder / "new");
  EXPECT_FALSE(folder.has("new"));
}

TEST_F(InstallUtilCopyTest, MissingDestinationGetsTheWholeTree) {
  folder.makeFile("source/file", "1", 0640);
  folder.makeFile("source/.hidden", "2");
  folder.makeFile("source/a/b/c", "3");
  folder.makeFolder("source/empty", 0700);
  folder.makeLink("source/link", "file");
  EXPECT_EQ(copied(), treeSnapshot(folder / "source"));
  EXPECT_EQ(folder.mode("to/file"), 0640U);
  EXPECT_EQ(folder.mode("to/empty"), 0700U);
}

TEST_F(InstallUtilCopyTest, PlainFileIsCopiedToAMissingDestination) {
  folder.makeFile("source", "text");
  InstallUtil::copyFolderFrom(folder / "source", folder / "to");
  EXPECT_EQ(folder.read("to"), "text");
}

TEST_F(InstallUtilCopyTest, PlainFileLeavesAnExistingDestinationAlone) {
  folder.makeFile("source", "text");
  folder.makeFile("to", "old");
  InstallUtil::copyFolderFrom(folder / "source", folder / "to");
  EXPECT_EQ(folder.read("to"), "old");
  folder.makeFile("folder/file", "old");
  InstallUtil::copyFolderFrom(folder / "source", folder / "folder");
  EXPECT_EQ(treeSnapshot(folder / "folder"), (Tree{{"file", "file: old"}}));
}

TEST_F(InstallUtilCopyTest, DestinationInAMissingFolderIsNotMade) {
  folder.makeFile("source/file", "1");
  InstallUtil::copyFolderFrom(folder / "source", folder / "missing/to");
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(InstallUtilCopyTest, MergeReplacesFilesMergesFoldersAndKeepsTheRest) {
  folder.makeFile("source/file", "new");
  folder.makeFile("source/only source", "new");
  folder.makeFile("source/a/file", "new");
  folder.makeFile("source/a/b/file", "new");
  folder.makeFile("source/new folder/file", "new");
  folder.makeFile("to/file", "old");
  folder.makeFile("to/only to", "old");
  folder.makeFile("to/a/file", "old");
  folder.makeFile("to/a/only to", "old");
  folder.makeFile("to/a/b/only to", "old");
  EXPECT_EQ(copied(), (Tree{{"a", "folder"},
                            {"a/b", "folder"},
                            {"a/b/file", "file: new"},
                            {"a/b/only to", "file: old"},
                            {"a/file", "file: new"},
                            {"a/only to", "file: old"},
                            {"file", "file: new"},
                            {"new folder", "folder"},
                            {"new folder/file", "file: new"},
                            {"only source", "file: new"},
                            {"only to", "file: old"}}));
}

TEST_F(InstallUtilCopyTest, MergeTakesTheModeOfFilesAndKeepsThatOfFolders) {
  folder.makeFile("source/a/file", "new", 0600);
  folder.makeFolder("source/a", 0700);
  folder.makeFile("to/a/file", "old", 0644);
  folder.makeFolder("to/a", 0711);
  copied();
  EXPECT_EQ(folder.mode("to/a/file"), 0600U);
  EXPECT_EQ(folder.mode("to/a"), 0711U);
}

TEST_F(InstallUtilCopyTest, FileReplacesAFolderOfItsName) {
  folder.makeFile("source/name", "new");
  folder.makeFile("to/name/inside/file", "old");
  EXPECT_EQ(copied(), (Tree{{"name", "file: new"}}));
}

TEST_F(InstallUtilCopyTest, FolderLeavesAFileOfItsNameAlone) {
  folder.makeFile("source/name/file", "new");
  folder.makeFile("source/name/inner/file", "new");
  folder.makeFile("source/other", "new");
  folder.makeFile("to/name", "old");
  EXPECT_EQ(copied(), (Tree{{"name", "file: old"}, {"other", "file: new"}}));
}

TEST_F(InstallUtilCopyTest, FileReplacesALinkAndNotItsTarget) {
  folder.makeFile("target", "precious");
  folder.makeFile("source/name", "new");
  folder.makeLink("to/name", "../target");
  EXPECT_EQ(copied(), (Tree{{"name", "file: new"}}));
  EXPECT_EQ(folder.read("target"), "precious");
}

TEST_F(InstallUtilCopyTest, OneFailureDoesNotStopTheOthers) {
  folder.makeFifo("source/fifo");
  for (int number = 0; number < 20; ++number) folder.makeFile("source/" + std::to_string(number), "new");
  folder.makeFolder("to");
  const Tree tree = copied();
  EXPECT_EQ(tree.size(), 20U + tree.count("fifo"));
}

// ----- Receipts -----

class InstallUtilReceiptTest : public InstanceTest {};

TEST_F(InstallUtilReceiptTest, ReceiptIsForgottenByPkgutil) {
  InstallUtil::removeReceipt("com.qor.hotfix.pkg");
  EXPECT_EQ(children(),
            (std::vector<Texts>{{folder / outside("/usr/sbin/pkgutil"), "--forget", "com.qor.hotfix.pkg"}}));
  EXPECT_TRUE(log().empty());
}

TEST_F(InstallUtilReceiptTest, IdentifierIsOneArgumentWhateverItHolds) {
  for (const char* identifier : {"", "a b; $(c) 'd'", "--help", "*"}) {
    InstallUtil::removeReceipt(identifier);
    EXPECT_EQ(children().back(), (Texts{folder / outside("/usr/sbin/pkgutil"), "--forget", identifier}));
  }
}

TEST_F(InstallUtilReceiptTest, AbsentIdentifierDoesNothing) {
  InstallUtil::removeReceipt(std::nullopt);
  EXPECT_TRUE(children().empty());
}

TEST_F(InstallUtilReceiptTest, OutputAndStatusOfPkgutilAreIgnored) {
  makeNotingProgram(outside(platform::kPkgutil), "echo out; echo error >&2; exit 7");
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  InstallUtil::removeReceipt("x");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(children().size(), 1U);
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
