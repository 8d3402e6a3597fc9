#include "Support/PropertyListReader.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

TEST(OldStylePropertyListReaderTest, DictionaryHoldsItsEntries) {
  expectRows({{"{ a = b; c = \"d e\"; }", "{'a': 'b', 'c': 'd e'}"},
              {"{a=b;}", "{'a': 'b'}"},
              {"{}", "{}"},
              {"{ a = { b = ( c ); }; }", "{'a': {'b': ['c']}}"},
              {"{ a; }", "{'a': 'a'}"},
              {"{ a = 1; b = 2; a = 3; }", "{'a': '3', 'b': '2'}"},
              {"{ count = 3; flag = true; real = 1.5; negative = -4; }",
               "{'count': '3', 'flag': 'true', 'negative': '-4', 'real': '1.5'}"}});
}

TEST(OldStylePropertyListReaderTest, MalformedDictionariesAreRefused) {
  expectRefused({"{ a = b }", "{ a = b; c = d }", "{ a }", "{ a = ; }", "{ = b; }", "{ a b; }", "{ a = b;; }", "{ ; }",
                 "{ (a) = b; }", "{ a = b; ", "{ a = ", "{", "}"});
}

TEST(OldStylePropertyListReaderTest, ArrayMayEndInAComma) {
  expectRows({{"( a, b )", "['a', 'b']"},
              {"( a, b, )", "['a', 'b']"},
              {"(a)", "['a']"},
              {"()", "[]"},
              {"( (a), {b;}, <00> )", "[['a'], {'b': 'b'}, <00>]"}});
  expectRefused({"(", "( a", "( a b )", "( , )", "( a,, b )", "( a; )", "( a }"});
}

TEST(OldStylePropertyListReaderTest, DataIsPairsOfHexadecimalDigits) {
  expectRows({{"<0fbd 77 1c>", "<0fbd771c>"}, {"<>", "<>"}, {"< AB\tcd\r\n\u2028\u2029ef >", "<abcdef>"}});
  expectRefused({"<0>", "<0fb>", "<0 f>", "<0g>", "<00", "<", "<00 /* c */>"});
}

TEST(OldStylePropertyListReaderTest, BareStringsAreOfCertainCharacters) {
  expectRows({{"hello", "'hello'"},
              {"  A-Z_a.z:0/9$ ", "'A-Z_a.z:0/9$'"},
              {"http://host/path", "'http://host/path'"},
              {"-1", "'-1'"},
              {"/", "'/'"},
              {"/a/b", "'/a/b'"},
              {"( a//b )", "['a//b']"}});
  expectRefused({"a+b", "a@b", "a,b", "*", "a!", "\u00E9", "a\u00E9", "#", "%", "\\", "~/x", "( a/*b*/ )"});
}

TEST(OldStylePropertyListReaderTest, QuotedStringsTakeBothQuotes) {
  expectRows({{"\"a 'b' {}\"", "'a 'b' {}'"},
              {"'a \"b\" ;'", "'a \"b\" ;'"},
              {"\"\"", "''"},
              {"{ \"\" = ''; }", "{'': ''}"},
              {"\"// no comment /* either */\"", "'// no comment /* either */'"},
              {"\"\u00E9\U0001F600\uFEFF\"", "'\u00E9\U0001F600\uFEFF'"},
              {"\"a\nb\r\nc\"", "'a\nb\r\nc'"},
              {std::string("\"a\0b\"", 5), std::string("'a\0b'", 5)}});
  expectRefused({"\"", "\"a", "'a\"", "\"a\\", "\"a\\\"", "{ a = \"b; }"});
}

TEST(OldStylePropertyListReaderTest, EscapesStandForCharacters) {
  expectRows({{R"("\a\b\f\n\r\t\v")", "'\a\b\f\n\r\t\v'"},
              {R"("\"\\\'")", "'\"\\''"},
              {"\"a\\\nb\"", "'a\nb'"},
              {R"("\q\ \;\u0041\x\8")", "'q ;u0041x8'"},
              {"\"\\\u00E9\\\U0001F600\"", "'\u00E9\U0001F600'"},
              {R"("\101\7\12x\1015\0418")", "'A\a\nxA5!8'"},
              {R"("a\000b")", std::string("'a\0b'", 5)},
              {R"("\501")", "'A'"},  // a byte: the ninth bit does not count
              {R"("\U00e9\U20AC\U41\U41z\U00411")", "'\u00E9\u20ACAAzA1'"},
              {R"("x\Ud83d\Ude00y")", "'x\U0001F600y'"},
              {R"("\Ud83dx\Ude00")", "'\uFFFDx\uFFFD'"},
              {R"("\Ude00\Ud83d")", "'\uFFFD\uFFFD'"}});
}

TEST(OldStylePropertyListReaderTest, OctalEscapesAboveAsciiAreNextstepCodes) {
  expectRows({{R"("\200\201\225\244")", "'\u00A0\u00C0\u00D5\u2044'"},
              {R"("\256\257\320\341")", "'\uFB01\uFB02\u2014\u00C6'"},
              {R"("\373\375\376\377")", "'\u00DF\u00FF\uFFFD\uFFFD'"}});
}

TEST(OldStylePropertyListReaderTest, BlanksAndCommentsMayStandBetweenAllParts) {
  expectRows({{"/*1*/{/*2*/a /*3*/=/*4*/(/*5*/b /**/,//6\nc //7\r)/* * / */;/*8*/}/*9*/ // 10", "{'a': ['b', 'c']}"},
              {"( b, //6\u2028 c //7\u2029 )", "['b', 'c']"},
              {"\v{\fa\u2028=\u2029b\r;\n}\t", "{'a': 'b'}"},
              {"{ path = /a; }", "{'path': '/a'}"}});
}

TEST(OldStylePropertyListReaderTest, TextOfBlanksAndCommentsIsAnEmptyDictionary) {
  for (const char* text :
       {" ", "\n\n", "\t\v\f\r", "\u2028\u2029", "// c", "// c\n", "/* c */", "/* a */ // b\n ", "/* not closed"}) {
    expectRows({{text, "{}"}});
  }
}

TEST(OldStylePropertyListReaderTest, StringsFileIsADictionary) {
  expectRows({{"a = b;", "{'a': 'b'}"},
              {"a;", "{'a': 'a'}"},
              {"a = 1; a = 2;", "{'a': '2'}"},
              {"/* greeting */\n\"Hello\" = \"Bonjour\";\n// more\nk2 = v2;\n", "{'Hello': 'Bonjour', 'k2': 'v2'}"},
              {"a = { b = c; };", "{'a': {'b': 'c'}}"}});
  expectRefused({"a = b", "a = b; c = d", "a b", "\"a\" \"b\""});
}

TEST(OldStylePropertyListReaderTest, JunkIsIgnoredBehindAStringsFileOnly) {
  expectRows({{"a = b;;", "{'a': 'b'}"}, {"a = b; }", "{'a': 'b'}"}, {"a = b; ( c )", "{'a': 'b'}"}});
  expectRefused({"{ a = b; } c", "( a ) ;", "<00> x", "{} {}"});
}

TEST(OldStylePropertyListReaderTest, OtherTextIsRefused) {
  expectRefused({";", "=", ",", ")", "<?xml?>", "\\", "\x01", "\"\xE9\""});
}

TEST(OldStylePropertyListReaderTest, StringsFileIsALevelOfItsOwn) {
  expectRefused({"a=" + repeated("(", 512) + repeated(")", 512) + ";"});
  EXPECT_TRUE(property_list::read("a=" + repeated("(", 511) + repeated(")", 511) + ";"));
}

}  // namespace

}  // namespace hotfix
