#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Platform/posix/OldStylePropertyList.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Dictionary = PropertyListValue::Dictionary;

/// Expects that a text is a list, and which.
void expectRead(const std::string& text, const PropertyListValue& expected) {
  const std::optional<PropertyListValue> value = platform::parseOldStylePropertyList(text);
  ASSERT_TRUE(value) << text;
  EXPECT_TRUE(*value == expected) << text;
}

void expectRead(const std::string& text, const Dictionary& expected) { expectRead(text, PropertyListValue(expected)); }
void expectRead(const std::string& text, const Array& expected) { expectRead(text, PropertyListValue(expected)); }
void expectRead(const std::string& text, const Data& expected) { expectRead(text, PropertyListValue(expected)); }
void expectRead(const std::string& text, const char* expected) { expectRead(text, PropertyListValue(expected)); }

void expectRefused(const std::string& text) { EXPECT_FALSE(platform::parseOldStylePropertyList(text)) << text; }

std::string repeated(const std::string& text, size_t count) {
  std::string result;
  for (size_t index = 0; index < count; ++index) result += text;
  return result;
}

// ----- Collections -----

TEST(OldStylePropertyListTest, DictionaryHoldsItsEntries) {
  expectRead("{ a = b; c = \"d e\"; }", Dictionary{{"a", "b"}, {"c", "d e"}});
  expectRead("{a=b;}", Dictionary{{"a", "b"}});
  expectRead("{}", Dictionary());
  expectRead("{ a = { b = ( c ); }; }",
             Dictionary{{"a", PropertyListValue(Dictionary{{"b", PropertyListValue(Array{"c"})}})}});
}

TEST(OldStylePropertyListTest, EveryEntryNeedsItsSemicolon) {
  expectRefused("{ a = b }");
  expectRefused("{ a = b; c = d }");
  expectRefused("{ a }");
  expectRefused("a = b");
  expectRefused("a = b; c = d");
}

TEST(OldStylePropertyListTest, KeyWithoutValueIsItsOwnValue) {
  expectRead("{ a; }", Dictionary{{"a", "a"}});
  expectRead("a;", Dictionary{{"a", "a"}});
}

TEST(OldStylePropertyListTest, MalformedEntriesAreRefused) {
  expectRefused("{ a = ; }");
  expectRefused("{ = b; }");
  expectRefused("{ a b; }");
  expectRefused("{ a = b;; }");
  expectRefused("{ ; }");
  expectRefused("{ (a) = b; }");
  expectRefused("{ a = b; ");
  expectRefused("{ a = ");
  expectRefused("{");
  expectRefused("}");
}

TEST(OldStylePropertyListTest, LastOfEqualKeysCounts) {
  expectRead("{ a = 1; b = 2; a = 3; }", Dictionary{{"a", "3"}, {"b", "2"}});
  expectRead("a = 1; a = 2;", Dictionary{{"a", "2"}});
}

TEST(OldStylePropertyListTest, ArrayMayEndInAComma) {
  expectRead("( a, b )", Array{"a", "b"});
  expectRead("( a, b, )", Array{"a", "b"});
  expectRead("(a)", Array{"a"});
  expectRead("()", Array());
  expectRead("( (a), {b;}, <00> )", Array{PropertyListValue(Array{"a"}), PropertyListValue(Dictionary{{"b", "b"}}),
                                          PropertyListValue(Data{std::string(1, '\0')})});
}

TEST(OldStylePropertyListTest, MalformedArraysAreRefused) {
  expectRefused("(");
  expectRefused("( a");
  expectRefused("( a b )");
  expectRefused("( , )");
  expectRefused("( a,, b )");
  expectRefused("( a; )");
  expectRefused("( a }");
}

// ----- Scalars -----

TEST(OldStylePropertyListTest, DataIsPairsOfHexadecimalDigits) {
  expectRead("<0fbd 77 1c>", Data{"\x0F\xBD\x77\x1C"});
  expectRead("<>", Data());
  expectRead("< AB\tcd\r\n\u2028\u2029ef >", Data{"\xAB\xCD\xEF"});
}

TEST(OldStylePropertyListTest, MalformedDataIsRefused) {
  expectRefused("<0>");
  expectRefused("<0fb>");
  expectRefused("<0 f>");
  expectRefused("<0g>");
  expectRefused("<00");
  expectRefused("<");
  expectRefused("<00 /* c */>");
}

TEST(OldStylePropertyListTest, BareStringsAreOfCertainCharacters) {
  expectRead("hello", "hello");
  expectRead("  A-Z_a.z:0/9$ ", "A-Z_a.z:0/9$");
  expectRead("http://host/path", "http://host/path");
  expectRead("-1", "-1");
  for (const char* text : {"a+b", "a@b", "a,b", "*", "a!", "\u00E9", "a\u00E9", "#", "%", "\\", "~/x"}) {
    expectRefused(text);
  }
}

TEST(OldStylePropertyListTest, ScalarsAreStrings) {
  expectRead("{ count = 3; flag = true; real = 1.5; negative = -4; }",
             Dictionary{{"count", "3"}, {"flag", "true"}, {"real", "1.5"}, {"negative", "-4"}});
}

TEST(OldStylePropertyListTest, QuotedStringsTakeBothQuotes) {
  expectRead("\"a 'b' {}\"", "a 'b' {}");
  expectRead("'a \"b\" ;'", "a \"b\" ;");
  expectRead("\"\"", "");
  expectRead("{ \"\" = ''; }", Dictionary{{"", ""}});
  expectRead("\"// no comment /* either */\"", "// no comment /* either */");
  expectRead("\"\u00E9\U0001F600\"", "\u00E9\U0001F600");
  expectRead("{ 'a b' = \"c d\"; }", Dictionary{{"a b", "c d"}});
}

TEST(OldStylePropertyListTest, QuotedStringMaySpanLines) { expectRead("\"a\nb\r\nc\"", "a\nb\r\nc"); }

TEST(OldStylePropertyListTest, UnterminatedQuotesAreRefused) {
  expectRefused("\"");
  expectRefused("\"a");
  expectRefused("'a\"");
  expectRefused("\"a\\");
  expectRefused("\"a\\\"");
  expectRefused("{ a = \"b; }");
}

TEST(OldStylePropertyListTest, EscapesStandForControlCharacters) {
  expectRead(R"("\a\b\f\n\r\t\v")", "\a\b\f\n\r\t\v");
  expectRead(R"("\"\\\'")", "\"\\'");
  expectRead(R"('\'')", "'");
  expectRead("\"a\\\nb\"", "a\nb");
}

TEST(OldStylePropertyListTest, OtherEscapedCharactersStandForThemselves) {
  expectRead(R"("\q\ \;\u0041\x\8")", "q ;u0041x8");
  expectRead("\"\\\u00E9\\\U0001F600\"", "\u00E9\U0001F600");
}

TEST(OldStylePropertyListTest, OctalEscapesTakeUpToThreeDigits) {
  expectRead(R"("\101")", "A");
  expectRead(R"("\7\12x")", "\a\nx");
  expectRead(R"("\1015")", "A5");
  expectRead(R"("\0418")", "!8");
  expectRefused(R"("a\000")");
  expectRead(R"("\501")", "A");  // a byte: the ninth bit does not count
}

TEST(OldStylePropertyListTest, OctalEscapesAboveAsciiAreNextstepCodes) {
  expectRead(R"("\200")", "\u00A0");
  expectRead(R"("\201")", "\u00C0");
  expectRead(R"("\225")", "\u00D5");
  expectRead(R"("\244")", "\u2044");
  expectRead(R"("\256\257")", "\uFB01\uFB02");
  expectRead(R"("\320")", "\u2014");
  expectRead(R"("\341")", "\u00C6");
  expectRead(R"("\373")", "\u00DF");
  expectRead(R"("\375")", "\u00FF");
  expectRead(R"("\376\377")", "\uFFFD\uFFFD");
}

TEST(OldStylePropertyListTest, UnicodeEscapesTakeUpToFourDigits) {
  expectRead(R"("\U00e9")", "\u00E9");
  expectRead(R"("\U20AC")", "\u20AC");
  expectRead(R"("\U41")", "A");
  expectRead(R"("\U41z")", "Az");
  expectRead(R"("\U00411")", "A1");
}

TEST(OldStylePropertyListTest, UnicodeEscapesMayMakeAPair) { expectRead(R"("x\Ud83d\Ude00y")", "x\U0001F600y"); }

TEST(OldStylePropertyListTest, HalfAPairBecomesTheReplacementCharacter) {
  expectRead(R"("\Ud83d")", "\uFFFD");
  expectRead(R"("\Ud83dx\Ude00")", "\uFFFDx\uFFFD");
  expectRead(R"("\Ude00\Ud83d")", "\uFFFD\uFFFD");
}

// ----- Blanks and comments -----

TEST(OldStylePropertyListTest, TextOfBlanksAndCommentsIsAnEmptyDictionary) {
  for (const char* text :
       {"", " ", "\n\n", "\t\v\f\r", "\u2028\u2029", "// c", "// c\n", "/* c */", "/* a */ // b\n ", "/* not closed"}) {
    expectRead(text, Dictionary());
  }
}

TEST(OldStylePropertyListTest, BlanksAndCommentsMayStandBetweenAllParts) {
  expectRead("/*1*/{/*2*/a /*3*/=/*4*/(/*5*/b /**/,//6\nc //7\r)/* * / */;/*8*/}/*9*/ // 10",
             Dictionary{{"a", PropertyListValue(Array{"b", "c"})}});
  expectRead("( b, //6\u2028 c //7\u2029 )", Array{"b", "c"});
  expectRead("\v{\fa\u2028=\u2029b\r;\n}\t", Dictionary{{"a", "b"}});
}

TEST(OldStylePropertyListTest, SingleSlashIsNoComment) {
  expectRead("/a/b", "/a/b");
  expectRead("{ path = /a; }", Dictionary{{"path", "/a"}});
  expectRead("/", "/");
}

TEST(OldStylePropertyListTest, SlashesBehindABareStringBelongToIt) {
  expectRead("( a//b )", Array{"a//b"});
  expectRefused("( a/*b*/ )");  // an asterisk does not
}

// ----- Whole files -----

TEST(OldStylePropertyListTest, StringsFileIsADictionary) {
  expectRead("a = b;", Dictionary{{"a", "b"}});
  expectRead("/* greeting */\n\"Hello\" = \"Bonjour\";\n// more\nk2 = v2;\n",
             Dictionary{{"Hello", "Bonjour"}, {"k2", "v2"}});
  expectRead("a = { b = c; };", Dictionary{{"a", PropertyListValue(Dictionary{{"b", "c"}})}});
}

TEST(OldStylePropertyListTest, JunkBehindTheListIsRefused) {
  expectRefused("{ a = b; } c");
  expectRefused("( a ) ;");
  expectRefused("<00> x");
  expectRefused("{} {}");
  expectRefused("a b");
  expectRefused("a = b; }");
  expectRefused("a = b; ( c )");
  expectRefused("\"a\" \"b\"");
}

TEST(OldStylePropertyListTest, OtherTextIsRefused) {
  for (const char* text : {";", "=", ",", ")", "<?xml?>", "<dict></dict>", "\\", "\x01"}) expectRefused(text);
}

TEST(OldStylePropertyListTest, NestingEndsAtTheDeepestLevel) {
  PropertyListValue deepest{Array()};
  for (int level = 1; level < 512; ++level) deepest = PropertyListValue(Array{std::move(deepest)});
  expectRead(repeated("(", 512) + repeated(")", 512), deepest);
  expectRefused(repeated("(", 513) + repeated(")", 513));
  expectRefused(repeated("{a=", 513) + "b" + repeated(";}", 513));
  expectRefused(repeated("(", 1'000'000));
  expectRefused("a=" + repeated("(", 512) + repeated(")", 512) + ";");  // the file is a dictionary too
}

TEST(OldStylePropertyListTest, LongListsAreRead) {
  constexpr size_t kCount = 20'000;
  const std::optional<PropertyListValue> array =
      platform::parseOldStylePropertyList("(" + repeated("/*c*/ \"\\U00e9\\\\\", ", kCount) + ")");
  ASSERT_TRUE(array && array->asArray() != nullptr);
  ASSERT_EQ(array->asArray()->size(), kCount);
  EXPECT_EQ(array->asArray()->back(), PropertyListValue("\u00E9\\"));
}

TEST(OldStylePropertyListTest, TextCutAnywhereIsRefusedOrShorter) {
  const std::string text = "{ a = ( \"b\\U00e9\\101\", <0fbd> ); /* c */ 'd' = { e; }; }";
  ASSERT_TRUE(platform::parseOldStylePropertyList(text));
  EXPECT_TRUE(platform::parseOldStylePropertyList("") == PropertyListValue(Dictionary()));
  for (size_t size = 1; size < text.size(); ++size) expectRefused(text.substr(0, size));
}

}  // namespace

}  // namespace hotfix
