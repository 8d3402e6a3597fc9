#include "Platform/UserDefaults.h"
#include "Platform/UserIdentity.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using platform::booleanValue;
using platform::globalDefault;
using platform::persistentDomain;

class UserDefaultsTest : public FakeHostTest {};

TEST_F(UserDefaultsTest, GlobalValueIsTheUsers) {
  EXPECT_FALSE(globalDefault("AppleLocale"));
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; AppleLanguages = (de, en); }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
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

TEST_F(UserDefaultsTest, ChangedValueIsSeenAtTheNextRead) {
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("de_DE"));
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = fr_FR; }");
  EXPECT_EQ(globalDefault("AppleLocale"), PropertyListValue("fr_FR"));
}

TEST_F(UserDefaultsTest, DomainHoldsItsOwnSettingsOnly) {
  EXPECT_FALSE(persistentDomain("com.qor.product"));
  setUserDefaults(".GlobalPreferences", "{ AppleLocale = de_DE; }");
  EXPECT_FALSE(persistentDomain("com.qor.product"));
  setUserDefaults("com.qor.product", "{ a = 1; b = { c = 2; }; }");
  const PropertyListValue::Dictionary inner{{"c", "2"}};
  EXPECT_EQ(persistentDomain("com.qor.product"),
            (PropertyListValue::Dictionary{{"a", "1"}, {"b", PropertyListValue(inner)}}));
  EXPECT_FALSE(globalDefault("a"));
}

TEST_F(UserDefaultsTest, EveryFormOfPropertyListIsRead) {
  setUserDefaults("xml", "<plist><dict><key>k</key><true/></dict></plist>");
  EXPECT_EQ(persistentDomain("xml"), (PropertyListValue::Dictionary{{"k", PropertyListValue(true)}}));
  // { k = true } in the binary form: three objects, the table of their offsets, and the trailer
  const std::string binary(
      "bplist00\xd1\x01\x02\x51k\x09\x08\x0b\x0d\0\0\0\0\0\0\1\1\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x0e",
      49);
  setUserDefaults("binary", binary);
  EXPECT_EQ(persistentDomain("binary"), (PropertyListValue::Dictionary{{"k", PropertyListValue(true)}}));
}

TEST_F(UserDefaultsTest, FileThatIsNoDictionaryIsNoDomain) {
  for (const char* text : {"", "hello", "( a, b )", "{ a = 1", "<plist><array/></plist>"}) {
    setUserDefaults("com.qor.product", text);
    setUserDefaults(".GlobalPreferences", text);
    EXPECT_FALSE(persistentDomain("com.qor.product")) << text;
    EXPECT_FALSE(globalDefault("a")) << text;
  }
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

TEST(BooleanValueTest, BooleansAndNumbers) {
  EXPECT_TRUE(booleanValue(PropertyListValue(true)));
  EXPECT_FALSE(booleanValue(PropertyListValue(false)));
  EXPECT_TRUE(booleanValue(PropertyListValue::integer(1)));
  EXPECT_TRUE(booleanValue(PropertyListValue::integer(-1)));
  EXPECT_TRUE(booleanValue(PropertyListValue::integer(256)));
  EXPECT_TRUE(booleanValue(PropertyListValue::integer(std::int64_t{1} << 32)));
  EXPECT_FALSE(booleanValue(PropertyListValue::integer(0)));
  EXPECT_TRUE(booleanValue(PropertyListValue(0.5)));
  EXPECT_FALSE(booleanValue(PropertyListValue(0.0)));
  EXPECT_FALSE(booleanValue(PropertyListValue(-0.0)));
}

TEST(BooleanValueTest, EverythingElseIsFalse) {
  EXPECT_FALSE(booleanValue({}));
  EXPECT_FALSE(booleanValue(PropertyListValue(PropertyListValue::Array{"YES"})));
  EXPECT_FALSE(booleanValue(PropertyListValue(PropertyListValue::Dictionary{{"YES", "YES"}})));
  EXPECT_FALSE(booleanValue(PropertyListValue(PropertyListValue::Data{"YES"})));
  EXPECT_FALSE(booleanValue(PropertyListValue(PropertyListValue::Date{1})));
}

}  // namespace

}  // namespace hotfix
