#include <unistd.h>

#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// The locale of the user on whose behalf the tool runs, as the launcher is told it.
class DefaultsTest : public MachineTest {
 protected:
  void SetUp() override {
    MachineTest::SetUp();
    if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  }

  static constexpr char kAlices[] = "/Users/alice/Library/Preferences/.GlobalPreferences.plist";
  static constexpr char kRoots[] = "/root/Library/Preferences/.GlobalPreferences.plist";

  /// Settings that nobody but alice can read.
  void makeAlices(const std::string& propertyList) {
    files().makeFile(inside(kAlices), propertyList, 0600);
    const uid_t alice = ThrowAwayRoot::alice();
    giveTo(alice, alice, kAlices);
    giveTo(alice, alice, "/Users/alice/Library/Preferences");
    giveTo(alice, alice, "/Users/alice/Library");
    files().makeFolder(inside("/Users/alice/Library"), 0700);
  }

  /// Runs the uninstall and expects each provisioning run to get this locale.
  void expectLocale(const std::string& locale, const Call& call) {
    const Outcome outcome = run(call);
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.errors, "");
    const CommandLine update = launch("update", data, locale);
    EXPECT_EQ(outcome.commandLines(), (std::vector<CommandLine>{update, update, forget(), findJava(), collect(data),
                                                                launch("cleanup", data, locale), update}));
    EXPECT_EQ(outcome.trace, allTrace());
  }
  void expectLocale(const std::string& locale) { expectLocale(locale, uninstall()); }

  /// { AppleLocale = <locale>; } in binary form; a short text.
  static std::string binaryList(const std::string& locale) {
    std::string list = "bplist00";
    list += '\xD1';  // object 0 at 8: a dictionary of one entry, key object 1, value object 2
    list += '\x01';
    list += '\x02';
    list += '\x5B';  // object 1 at 11: a text of eleven characters
    list += "AppleLocale";
    list += static_cast<char>(0x50 + locale.size());  // object 2 at 23
    list += locale;
    const size_t table = list.size();
    for (const char offset : {'\x08', '\x0B', '\x17'}) list += offset;
    // Trailer: bytes per offset and per reference, then number of objects, top object and place of the table.
    list += std::string(6, '\0') + '\x01' + '\x01';
    list += std::string(7, '\0') + '\x03';
    list += std::string(8, '\0');
    list += std::string(7, '\0') + static_cast<char>(table);
    return list;
  }
};

TEST_F(DefaultsTest, UserWithoutSettingsHasAmericanEnglish) { expectLocale("en_US"); }

TEST_F(DefaultsTest, LocaleOfTheCallerIsReadFromXml) {
  makeAlices(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\"><dict><key>AppleLocale</key><string>de_DE</string></dict></plist>\n");
  expectLocale("de_DE");
}

TEST_F(DefaultsTest, LocaleOfTheCallerIsReadFromBinary) {
  makeAlices(binaryList("fr_CH"));
  expectLocale("fr_CH");
}

TEST_F(DefaultsTest, LocaleOfTheCallerIsReadFromTheOldStyle) {
  makeAlices("{ AppleLocale = \"zh-Hans_CN@currency=EUR\"; AppleLanguages = (de, en); }");
  expectLocale("zh-Hans_CN@currency=EUR");
}

TEST_F(DefaultsTest, LocaleOfRootIsNotTheCallers) {
  files().makeFile(inside(kRoots), "{ AppleLocale = it_IT; }");
  expectLocale("en_US");
}

TEST_F(DefaultsTest, LocaleOfRootCountsWhereNobodyElseCalls) {
  files().makeFile(inside(kRoots), "{ AppleLocale = it_IT; }");
  makeAlices("{ AppleLocale = de_DE; }");
  Call call = uninstall();
  call.environment.erase("USER");
  expectLocale("it_IT", call);
}

TEST_F(DefaultsTest, HomeVariableDoesNotLeadToOtherSettings) {
  files().makeFile(inside("/Applications/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = it_IT; }");
  Call call = uninstall();
  call.environment["HOME"] = "/Applications";
  expectLocale("en_US", call);
}

TEST_F(DefaultsTest, UnknownUserHasAmericanEnglish) {
  makeAlices("{ AppleLocale = de_DE; }");
  Call call = uninstall();
  call.environment["USER"] = "nobody known here";
  expectLocale("en_US", call);
}

TEST_F(DefaultsTest, LocaleThatIsNoTextHasAmericanEnglish) {
  makeAlices("<plist version=\"1.0\"><dict><key>AppleLocale</key><array><string>de_DE</string></array></dict></plist>");
  expectLocale("en_US");
}

TEST_F(DefaultsTest, DamagedSettingsCountAsNone) {
  makeAlices(binaryList("fr_CH").substr(0, 40));
  expectLocale("en_US");
}

TEST_F(DefaultsTest, FifosAsSettingsDoNotHoldTheToolUp) {
  files().makeFifo(inside(kAlices));
  files().makeFifo(inside("/Users/alice/Library/Preferences/com.qor.rcp.install.mac.plist"));
  expectLocale("en_US");
}

TEST_F(DefaultsTest, SettingsThatTheCallerCannotReadAreNotReadForThem) {
  files().makeFile(inside("/root/secret.plist"), "{ AppleLocale = it_IT; }", 0600);
  files().makeLink(inside(kAlices), "/root/secret.plist");
  expectLocale("en_US");
}

class TraceSwitchTest : public DefaultsTest, public ForEachText {};

TEST_P(TraceSwitchTest, DoesNotTurnTheTraceOff) {
  files().makeFile(inside("/Users/alice/Library/Preferences/com.qor.rcp.install.mac.plist"), GetParam().text);
  expectLocale("en_US");  // and with it the whole trace
}

INSTANTIATE_TEST_SUITE_P(Settings, TraceSwitchTest,
                         ::testing::Values(NamedText{"No", "{ \"com.qor.rcp.install.mac.traceEnable\" = NO; }"},
                                           NamedText{"Yes", "{ \"com.qor.rcp.install.mac.traceEnable\" = YES; }"},
                                           NamedText{"Array", "{ \"com.qor.rcp.install.mac.traceEnable\" = (odd); }"},
                                           NamedText{"NoList", "not a list"}),
                         nameOf);

}  // namespace

}  // namespace hotfix
