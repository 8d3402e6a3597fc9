#include <limits>

#include "Platform/UserDefaults.h"
#include "Platform/UserIdentity.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/PropertyLists.h"

namespace hotfix {

namespace {

using platform::booleanValue;
using platform::globalDefault;
using platform::persistentDomain;

class UserDefaultsTest : public FakeHostTest {};

TEST_F(UserDefaultsTest, GlobalValueIsTheUsersAndReadEachTime) {
  EXPECT_FALSE(globalDefault("AppleLocale"));
  for (const char* locale : {"de_DE", "fr_FR"}) {
    setUserDefaults(".GlobalPreferences", std::string("{ AppleLanguages = (de, en); AppleLocale = ") + locale + "; }");
    EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue(locale));
  }
  EXPECT_EQ(globalDefault("AppleLanguages"), PropertyListValue(PropertyListValue::Array{"de", "en"}));
  EXPECT_FALSE(globalDefault("Other"));
  EXPECT_FALSE(globalDefault(""));
}

TEST_F(UserDefaultsTest, ValueOfAllUsersCountsBehindTheUsersOwn) {
  folder.makeFile(outside("/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = it_IT; Other = all; }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("it_IT"));
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
  EXPECT_EQ(globalDefault("Other"), PropertyListValue("all"));
  folder.makeFile(outside("/Library/Preferences/com.qor.product.plist"), "{ a = 1; }");
  EXPECT_FALSE(persistentDomain("com.qor.product"));
}

TEST_F(UserDefaultsTest, SettingsOfMoreThanEightMebibytesAreNone) {
  const std::string settings = "<dict><key>AppleLocale</key><string>de_DE</string></dict>";
  for (const size_t more : {size_t{0}, size_t{1}}) {
    const std::string list = settings + std::string((8U << 20U) + more - settings.size(), 'x');  // does not count
    setUserDefaults(".GlobalPreferences", list);
    setUserDefaults("com.qor.product", list);
    EXPECT_EQ(globalDefault("AppleLocale").has_value(), more == 0);
    EXPECT_EQ(persistentDomain("com.qor.product").has_value(), more == 0);
  }
}

TEST_F(UserDefaultsTest, DomainHoldsItsOwnSettingsOnly) {
  EXPECT_FALSE(persistentDomain("com.qor.product"));
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_FALSE(persistentDomain("com.qor.product"));
  setUserDefaults("com.qor.product", "( a, b )");
  EXPECT_FALSE(persistentDomain("com.qor.product")) << "no dictionary";
  setUserDefaults("com.qor.product", "{ a = 1; b = { c = 2; }; }");
  const PropertyListValue::Dictionary inner{{"c", "2"}};
  EXPECT_EQ(persistentDomain("com.qor.product"),
            (PropertyListValue::Dictionary{{"a", "1"}, {"b", PropertyListValue(inner)}}));
  EXPECT_FALSE(globalDefault("a"));
}

TEST_F(UserDefaultsTest, HomeOfTheEnvironmentIsNotConsulted) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  folder.makeFile(outside("/elsewhere/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = fr_FR; }");
  folder.makeFile("elsewhere/Library/Preferences/.GlobalPreferences.plist", "{ AppleLocale = it_IT; }");
  for (const std::string& home : {std::string("/elsewhere"), folder / "elsewhere"}) {
    setEnvironment("HOME", home);
    EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
  }
}

TEST_F(UserDefaultsTest, SettingsAreThoseOfTheEffectiveUser) {
  const auto other = otherAccount();
  if (!isRoot() || !other) GTEST_SKIP() << "needs the rights to be somebody else";
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  folder.makeFile(outside(other->home + "/Library/Preferences/.GlobalPreferences.plist"), "{ AppleLocale = fr_FR; }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
  {
    const platform::ScopedEffectiveUser user(other->name);
    EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("fr_FR"));
  }
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
}

// ----- Booleans -----

TEST(BooleanValueTest, TextsThatAreTrue) {
  for (const char* text : {"t", "true", "tRuE", "yes", "YES", "1", "+000009", " 1 ", "ya", "y+", "1a", "-1", "0123",
                           "  Y", "\t\nTrue", "+1", "9", "00000000000000000000001"}) {
    EXPECT_TRUE(booleanValue(PropertyListValue(text))) << text;
  }
}

TEST(BooleanValueTest, TextsThatAreFalse) {
  for (const char* text : {"",   " ",   "a", "a1", "false", "no",     "NO", "0",   "+0",  "-00000", "+t",  "+y", "+0y",
                           "0t", "0+y", "+", "++", "_true", "<true>", "on", "0x1", "--1", "+-1",    "- 1", ".1"}) {
    EXPECT_FALSE(booleanValue(PropertyListValue(text))) << text;
  }
}

TEST(BooleanValueTest, OtherValues) {
  const std::pair<PropertyListValue, bool> rows[] = {
      {PropertyListValue(true), true},
      {PropertyListValue(false), false},
      {PropertyListValue::integer(1), true},
      {PropertyListValue::integer(-1), true},
      {PropertyListValue::integer(256), true},
      {PropertyListValue::integer(std::int64_t{1} << 32), true},
      {PropertyListValue::integer(std::numeric_limits<std::int64_t>::min()), true},
      {PropertyListValue::integer(0), false},
      {PropertyListValue(0.5), true},
      {PropertyListValue(0.0), false},
      {PropertyListValue(-0.0), false},
      {PropertyListValue(PropertyListValue::Array{"YES"}), false},
      {PropertyListValue(PropertyListValue::Dictionary{{"YES", "YES"}}), false},
      {PropertyListValue(PropertyListValue::Data{"YES"}), false},
      {PropertyListValue(PropertyListValue::Date{1}), false},
  };
  for (const auto& [value, isTrue] : rows) EXPECT_EQ(booleanValue(value), isTrue) << shown(value);
  EXPECT_FALSE(booleanValue({}));
}

}  // namespace

}  // namespace hotfix
