#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

/// The locale of the user on whose behalf the tool runs, from real accounts.
class DefaultsTest : public MachineTest {
 protected:
  void SetUp() override {
    MachineTest::SetUp();
    if (!ThrowAwayRoot::hasAccounts()) GTEST_SKIP() << "a user namespace of one account";
  }

  static constexpr char kSettings[] = "/Users/alice/Library/Preferences/.GlobalPreferences.plist";

  /// Runs the uninstall and expects each provisioning run to get this locale.
  void expectLocale(const std::string& locale) {
    const CommandLine update = launch("update", data, locale);
    expectSucceeded(run(uninstall()),
                    std::vector<CommandLine>{update, update, forget(), findJava(), collect(data),
                                             launch("cleanup", data, locale), update},
                    allTrace());
  }
};

TEST_F(DefaultsTest, LocaleIsThatOfTheCaller) {
  // In settings that nobody but alice can read.
  files().makeFile(inside(kSettings), "{ AppleLocale = \"zh-Hans_CN@currency=EUR\"; AppleLanguages = (de, en); }",
                   0600);
  for (const char* path : {kSettings, "/Users/alice/Library/Preferences", "/Users/alice/Library"}) {
    giveTo(ThrowAwayRoot::alice(), ThrowAwayRoot::alice(), path);
  }
  files().makeFolder(inside("/Users/alice/Library"), 0700);
  expectLocale("zh-Hans_CN@currency=EUR");
}

TEST_F(DefaultsTest, SettingsThatTheCallerCannotReadAreNotReadForThem) {
  files().makeFile(inside("/root/secret.plist"), "{ AppleLocale = it_IT; }", 0600);
  files().makeLink(inside(kSettings), "/root/secret.plist");
  expectLocale("en_US");
}

}  // namespace

}  // namespace hotfix
