#include <climits>

#include "MacInstaller/StringUtil.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

std::u16string escapedKey(const std::u16string& key) { return StringUtil::convertNSStringTo8859_1Key(key); }
std::u16string escapedValue(const std::u16string& value) { return StringUtil::convertNSStringTo8859_1Value(value); }
std::u16string decoded(const std::u16string& escaped) { return StringUtil::convertUnicode2Characters(escaped); }
std::u16string unit(unsigned number) { return std::u16string(1, static_cast<char16_t>(number)); }

std::u16string hexDigits(std::uint16_t number) {
  std::u16string digits;
  StringUtil::addHexDigits(number, digits);
  return digits;
}

// ----- Escapes of a properties file -----

TEST(StringUtilTest, FourHexDigitsInLowerCaseAreAppended) {
  std::u16string text = u"\\u";
  for (const std::uint16_t number : std::vector<std::uint16_t>{0, 0x9, 0xE9, 0x20AC, 0xABCD, 0xFFFF}) {
    StringUtil::addHexDigits(number, text);
  }
  EXPECT_EQ(text, u"\\u0000000900e920acabcdffff");
}

// EveryUnitIsEscapedAsTheTableSays has the units alone.
TEST(StringUtilTest, KeyEscapes) {
  const struct {
    const char16_t *key, *escaped;
  } rows[] = {
      {u"", u""},
      {u"plain.Key-1_~", u"plain.Key-1_~"},
      {u"  a  ", u"\\ \\ a\\ \\ "},
      {u"x=y:z", u"x\\=y\\:z"},
      {u"a#b!c", u"a\\#b\\!c"},
      {u"a\\", u"a\\\\"},
      {u"\\u0041", u"\\\\u0041"},
      {u"C:\\users", u"C\\:\\\\users"},
      {u"\t\r\n\f", u"\\u0009\\u000d\\u000a\\u000c"},
      {u"\U0001F600", u"\\ud83d\\ude00"},
  };
  for (const auto& row : rows) EXPECT_EQ(escapedKey(row.key), row.escaped);
}

TEST(StringUtilTest, ValueEscapes) {
  const struct {
    const char16_t *value, *escaped;
  } rows[] = {
      {u"", u""},
      {u"plain value", u"plain value"},
      {u"  a b  ", u"  a b  "},
      {u"x=y:z", u"x\\=y\\:z"},
      {u"a\\", u"a\\\\"},
      {u"\\\\", u"\\\\\\\\"},
      {u"\\ ", u"\\\\ "},
      {u"\\u0041", u"\\u0041"},
      {u"C:\\users", u"C\\:\\users"},
      {u"C:\\Users", u"C\\:\\\\Users"},
      {u"\\u", u"\\u"},
      {u"\\\\u", u"\\\\\\u"},
      {u"\U0001F600", u"\\ud83d\\ude00"},
  };
  for (const auto& row : rows) EXPECT_EQ(escapedValue(row.value), row.escaped);
}

TEST(StringUtilTest, EveryUnitIsEscapedAsTheTableSays) {
  const std::u16string marked = u"#!=:\\";
  for (unsigned number = 0; number <= 0xFFFF; ++number) {
    const std::u16string text = unit(number);
    std::u16string expected = text;
    if (number < 0x20 || number > 0x7E) {
      expected = u"\\u" + hexDigits(static_cast<std::uint16_t>(number));
    } else if (marked.find(text[0]) != std::u16string::npos) {
      expected = u"\\" + text;
    }
    ASSERT_EQ(escapedValue(text), expected) << number;
    ASSERT_EQ(escapedKey(text), number == 0x20 ? u"\\ " : expected) << number;
  }
}

TEST(StringUtilTest, NulUnitDoesNotEndAText) {
  EXPECT_EQ(escapedKey(std::u16string(u"a\0b", 3)), u"a\\u0000b");
  EXPECT_EQ(escapedValue(std::u16string(u"a\0b", 3)), u"a\\u0000b");
  EXPECT_EQ(decoded(std::u16string(u"a\0b", 3)), std::u16string(u"a\0b", 3));
}

TEST(StringUtilTest, Decoding) {
  const struct {
    const char16_t *escaped, *text;
  } rows[] = {
      {u"", u""},
      {u"plain", u"plain"},
      {u"\\u0041", u"A"},
      {u"\\u00E9", u"\u00E9"},
      {u"\\u00e9", u"\u00E9"},
      {u"\\uFFfe", u"\uFFFE"},
      {u"a\\u0041b\\u0042c", u"aAbBc"},
      {u"\\u00411", u"A1"},
      {u"\\u00g1", u"\u0001"},
      {u"\\u1g23", u"\u0123"},
      {u"\\u00 41", u"\u00041"},
      {u"\\u", u"\\u"},
      {u"\\u0", u"\\u0"},
      {u"\\u004", u"\\u004"},
      {u"x\\u004", u"x\\u004"},
      {u"\\U0041", u"\\U0041"},
      {u"u0041", u"u0041"},
      {u"\\", u"\\"},
      {u"a\\n\\t\\=\\:\\\\", u"a\\n\\t\\=\\:\\\\"},
      {u"\\\\u0041", u"\\A"},
      {u"\\u005cu0041", u"\\u0041"},
      {u"\\ud83d\\ude00", u"\U0001F600"},
  };
  for (const auto& row : rows) EXPECT_EQ(decoded(row.escaped), row.text) << ::testing::PrintToString(row.escaped);
  EXPECT_EQ(decoded(u"\\uwxyz"), std::u16string(1, u'\0')) << "no digits at all";
}

TEST(StringUtilTest, DecodingUndoesTheEscapeOfEveryUnitOutsideAscii) {
  for (unsigned number = 0x7F; number <= 0xFFFF; ++number) {
    ASSERT_EQ(decoded(escapedKey(unit(number))), unit(number)) << number;
  }
}

TEST(StringUtilTest, CharAtIndexIsOneUnit) {
  EXPECT_EQ(StringUtil::charAtIndex(0, u"abc"), u"a");
  EXPECT_EQ(StringUtil::charAtIndex(2, u"abc"), u"c");
  EXPECT_EQ(StringUtil::charAtIndex(1, u"\U0001F600"), unit(0xDE00));
}

TEST(StringUtilTest, CharAtIndexOutsideTheTextIsNone) {
  for (const int index : {3, 256, 65536, INT_MAX, -1, -254, INT_MIN}) {
    EXPECT_EQ(StringUtil::charAtIndex(index, u"abc"), std::nullopt) << index;
  }
  EXPECT_EQ(StringUtil::charAtIndex(0, u""), std::nullopt);
  EXPECT_EQ(StringUtil::charAtIndex(0, std::nullopt), std::nullopt);
  EXPECT_EQ(StringUtil::charAtIndex(0, nullptr), std::nullopt);
}

// ----- Placeholders -----

TEST(StringUtilTest, ReplacementSearchesFromTheEnd) {
  const struct {
    const char *source, *target, *replacement, *result;
  } rows[] = {
      {"aaa", "aa", "b", "ab"},
      {"aaaa", "aa", "b", "bb"},
      {"ababa", "aba", "x", "abx"},
      {"x", "", "y", "x"},
      {"", "", "y", ""},
      {"", "x", "y", ""},
      {"a", "a", "aa", "aa"},
      {"abc", "x", "y", "abc"},
      {"abc", "abcd", "y", "abc"},
      {"abc", "abc", "", ""},
      {"${env.HOME}/w:${env.HOME}", "${env.HOME}", "/u", "/u/w:/u"},
      {"A${x}a", "${X}", "-", "A${x}a"},
      {"a.c abc", "a.c", "$1\\1", "$1\\1 abc"},
      {"${${x}x}", "${x}", "${x}", "${${x}x}"},
      {"ab", "b", "ab", "aab"},
      {"\xC3\xA9t\xC3\xA9", "\xC3\xA9", "e", "ete"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(StringUtil::stringByReplacingOccurrencesOfString(row.source, row.target, row.replacement), row.result)
        << row.source << ", " << row.target;
  }
}

TEST(StringUtilTest, ReplacementOfManyOccurrences) {
  std::string source;
  std::string expected;
  for (int i = 0; i < 100000; ++i) {
    source += "${x},";
    expected += "value,";
  }
  EXPECT_EQ(StringUtil::stringByReplacingOccurrencesOfString(source, "${x}", "value"), expected);
}

TEST(StringUtilTest, BindStringPutsTextsInOrder) {
  using Texts = std::vector<std::string>;
  const struct {
    const char* templateText;
    Texts texts;
    const char* result;
  } rows[] = {
      {"%@ of %@", {"1"}, "1 of "},
      {"%@ of %@", {"1", "2", "3"}, "1 of 2"},
      {"%@ of %@", {}, " of "},
      {"no placeholder", {"1"}, "no placeholder"},
      {"", {"1"}, ""},
      {"%@", {}, ""},
      {"%@", {"x"}, "x"},
      {"%@%@", {"x", "y"}, "xy"},
      {"%%@ %s %", {"x"}, "%x %s %"},
      {"a%@b", {"%@"}, "a%@b"},
      {"%@%@", {"%@", "y"}, "%@y"},
      {"%@ %d", {"%s"}, "%s %d"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(StringUtil::bindString(std::string(row.templateText), row.texts), row.result) << row.templateText;
  }
}

TEST(StringUtilTest, BindStringWithoutATemplateIsNoneAndWithoutAListHasEmptyTexts) {
  EXPECT_EQ(StringUtil::bindString(std::nullopt, std::vector<std::string>{"1"}), std::nullopt);
  EXPECT_EQ(StringUtil::bindString("<%@>", std::nullopt), "<>");
  EXPECT_EQ(StringUtil::bindString("plain", std::nullopt), "plain");
}

// ----- Other texts -----

TEST(StringUtilTest, BooleanLooksAtTheLowEightBits) {
  for (const int boolean : {1, -1, 2, 128, 255, 257, INT_MAX})
    EXPECT_EQ(StringUtil::boolToString(boolean), "true") << boolean;
  for (const int boolean : {0, 256, -256, 0x7FFFFF00, INT_MIN})
    EXPECT_EQ(StringUtil::boolToString(boolean), "false") << boolean;
}

TEST(StringUtilTest, QuotesGoAroundTheText) {
  EXPECT_EQ(StringUtil::addQuotesToString("a b"), "\"a b\"");
  EXPECT_EQ(StringUtil::addQuotesToString(""), "\"\"");
  EXPECT_EQ(StringUtil::addQuotesToString("a\"b\\"), "\"a\"b\\\"");
}

TEST(StringUtilTest, VolumeOfAPath) {
  const struct {
    const char *path, *volume;
  } rows[] = {
      {"/", "/"},
      {"/Volumes/Data/a/b", "/Volumes/Data"},
      {"/Volumes/Data", "/Volumes/Data"},
      {"/Volumes/My Disk/x.app", "/Volumes/My Disk"},
      {"/Volumes/Volumes/Volumes", "/Volumes/Volumes"},
      {"/Volumes", "/"},
      {"/Volumes/", "/"},
      {"/Applications/X.app", "/"},
      {"/x/Volumes/Data/a", "/"},
      {"/VolumesX/Data/a", "/"},
      {"/volumes/Data", "/"},
      {"/volumes/Data/a", "/"},
      {"relative/path", "/"},
      {"Volumes/Data/a", "/"},
      {"x", "/"},
      {"", "/"},
      {"~", "/"},
      {"~/x", "/"},
  };
  for (const auto& row : rows) EXPECT_EQ(StringUtil::getVolume(std::string(row.path)), row.volume) << row.path;
  EXPECT_EQ(StringUtil::getVolume(std::nullopt), std::nullopt);
}

TEST(StringUtilTest, TranslationSignLeavesTheTextAsItIs) {
  EXPECT_EQ(StringUtil::addTranslationSignToString("text"), "text");
}

}  // namespace

}  // namespace hotfix
