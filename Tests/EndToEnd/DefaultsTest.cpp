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
};

TEST_F(DefaultsTest, UserWithoutSettingsHasAmericanEnglish) { expectLocale("en_US"); }

TEST_F(DefaultsTest, LocaleIsThatOfTheCaller) {
  makeAlices("{ AppleLocale = \"zh-Hans_CN@currency=EUR\"; AppleLanguages = (de, en); }");
  expectLocale("zh-Hans_CN@currency=EUR");
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

TEST_F(DefaultsTest, TraceIsNotTurnedOff) {
  files().makeFile(inside("/Users/alice/Library/Preferences/com.qor.rcp.install.mac.plist"),
                   "{ \"com.qor.rcp.install.mac.traceEnable\" = NO; }");
  expectLocale("en_US");  // and with it the whole trace
}

}  // namespace

}  // namespace hotfix
