#include <stdlib.h>

#include <clocale>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

std::vector<ListRow> elements(const std::string& type, const std::vector<ListRow>& rows) {
  std::vector<ListRow> result;
  for (const ListRow& row : rows) result.push_back({"<" + type + ">" + row.list + "</" + type + ">", row.value});
  return result;
}

void expectElementsRefused(const std::string& type, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) expectXmlRows(elements(type, {{text, "none"}}));
}

// ----- The frame -----

TEST(XmlPropertyListReaderTest, PlatformsOwnTextIsRead) {
  expectRows(
      {{"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n<dict>\n\t<key>k</key>\n\t<array>\n\t\t<string>a &amp; b</string>\n\t</array>\n"
        "</dict>\n</plist>\n",
        "{'k': ['a & b']}"}});
}

TEST(XmlPropertyListReaderTest, FrameMayBeMissing) {
  expectRows({{"<dict><key>a</key><true/></dict>", "{'a': true}"},
              {"<string>a</string>", "'a'"},
              {"<integer>1</integer>", "1"},
              {" \r\n\t<array/>", "[]"}});
}

TEST(XmlPropertyListReaderTest, WhatFollowsTheRootIsIgnored) {
  expectRows({{"<plist><string>a</string></plist>junk < & </plist>", "'a'"},
              {"<plist><string>a</string></plist><plist><string>b</string></plist>", "'a'"},
              {"<dict/>junk", "{}"},
              {"<array></array><array>", "[]"},
              {"<string>a</string></dict>", "'a'"},
              {"<string>a</string>\xFF", "'a'"},
              {std::string("<string>a</string>\0b", 20), "'a'"},
              {std::string("<plist><true/></plist>\0", 23), "true"}});
}

TEST(XmlPropertyListReaderTest, FrameHoldsOneObjectAndIsClosed) {
  expectRows({{"<plist><string>a</string></plist  >", "'a'"}});
  expectRefused({"<plist></plist>", "<plist> <!-- none --> </plist>", "<plist/>", "<plist version=\"1.0\"/>",
                 "<plist><string>a</string>", "<plist><string>a</string></plist", "<plist><string>a</string></dict>"});
  expectXmlRefused({"<string>a</string><string>b</string>", "<dict/><dict/>", "<string>a</string>text",
                    "text<string>a</string>", "<plist><true/></plist>"});
}

TEST(XmlPropertyListReaderTest, CommentsInstructionsAndDoctypesAreSkipped) {
  expectRows(
      {{"<!-- a > b -- <dict> --><?php echo \"?\" ?>\n<!DOCTYPE plist><!-- c --> <?pi?><plist><!-- c --><?pi > ?>"
        "<dict><!-- c --><key>a</key><!-- c --><?pi?><true/><!-- c --></dict><!-- c --></plist>",
        "{'a': true}"},
       {"<!DOCTYPE plist SYSTEM \"a>b[\"><string>a</string>", "'a'"},
       {"<!DOCTYPE plist SYSTEM 'a\">'><string>a</string>", "'a'"},
       {"<!-- \xFF --><string>a</string>", "'a'"}});
}

TEST(XmlPropertyListReaderTest, DoctypeWithASubsetIsRefused) {
  expectRefused({"<!DOCTYPE plist []><string>a</string>", "<!DOCTYPE plist [<!ENTITY e \"text\">]><string>a</string>",
                 "<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><string>&e;</string>"});
}

TEST(XmlPropertyListReaderTest, UnclosedMarkupIsRefused) {
  for (const char* text : {"<!-- c", "<?pi", "<!DOCTYPE plist", "<!DOCTYPE plist \"", "<!ELEMENT a>", "<!"}) {
    expectRows({{std::string(text) + "<string>a</string>", "none"}});
  }
}

TEST(XmlPropertyListReaderTest, AttributesAreIgnored) {
  expectRows({{"<plist version='2' x=\">\"><dict a=\"b\"><key c='/'>k</key ><array d=\"<>\" /><key>l</key>"
               "<string xml:space=\"preserve\" >v</string></dict></plist>",
               "{'k': [], 'l': 'v'}"},
              {"<true a=\"/\"></true>", "true"},
              {"<string a=\">x</string>", "none"}});
}

TEST(XmlPropertyListReaderTest, UnknownTagsAreRefused) {
  for (const char* object : {"<what/>", "<what>a</what>", "<Dict/>", "<DICT></DICT>", "<dictionary/>",
                             "<ustring>a</ustring>", "< dict/>", "<>", "</>", "<null/>", "<uid>1</uid>"}) {
    expectXmlRows({{object, "none"}, {"<array>" + std::string(object) + "</array>", "none"}});
  }
}

// ----- Collections -----

TEST(XmlPropertyListReaderTest, CollectionsHoldWhatIsBetweenTheirTags) {
  expectXmlRows(
      {{"<array/>", "[]"},
       {"<array></array>", "[]"},
       {"<array >\n</array >", "[]"},
       {"<dict/>", "{}"},
       {"<dict></dict>", "{}"},
       {"<array><array/><dict/></array>", "[[], {}]"},
       {"<array><string>b</string><string>a</string><true/><string>b</string></array>", "['b', 'a', true, 'b']"},
       {"<dict><key>CF$UID</key><integer>5</integer></dict>", "{'CF$UID': 5}"}});
}

TEST(XmlPropertyListReaderTest, LastOfEqualKeysCounts) {
  expectXmlRows({{"<dict><key>a</key><string>1</string><key>b</key><true/><key>a</key><string>2</string></dict>",
                  "{'a': '2', 'b': true}"},
                 {"<dict><key>a</key><array><true/></array><key>a</key><array/></dict>", "{'a': []}"}});
}

TEST(XmlPropertyListReaderTest, KeysAndValuesTakeTurns) {
  expectXmlRefused({"<dict><key>a</key></dict>", "<dict><true/></dict>", "<dict><string>a</string><true/></dict>",
                    "<dict><key>a</key><key>b</key><true/></dict>",
                    "<dict><key>a</key><key>b</key><key>c</key><true/></dict>",
                    "<dict><key>a</key><true/><false/></dict>", "<dict><key>a</key><true/><key>b</key></dict>",
                    "<array><key>a</key></array>", "<key>a</key>"});
}

TEST(XmlPropertyListReaderTest, CollectionsAreClosedInOrder) {
  expectXmlRefused({"<array>", "<array></dict>", "<dict></array>", "<array><dict></array></dict>", "</array>",
                    "<array>text</array>", "<array></arrayx>"});
}

// ----- Texts -----

TEST(XmlPropertyListReaderTest, TextsAreKeptExactly) {
  expectXmlRows({{"<string/>", "''"},
                 {"<string></string>", "''"},
                 {"<dict><key/><string/></dict>", "{'': ''}"},
                 {"<dict><key></key><true/></dict>", "{'': true}"},
                 {"<string> a\t\n\r\nb </string>", "' a\t\n\r\nb '"},
                 {"<dict><key> k </key><true/></dict>", "{' k ': true}"},
                 {"<string>a]]>b</string>", "'a]]>b'"},
                 {"<string>\x01\x1F\x7F\u0085</string>", "'\x01\x1F\x7F\u0085'"},
                 {"<string>\uFEFF</string>", "'\uFEFF'"},
                 {"<dict><key>\uFEFF</key><true/><key></key><false/></dict>", "{'': false, '\uFEFF': true}"},
                 {std::string("<string>a\0b</string>", 20), std::string("'a\0b'", 5)}});
}

TEST(XmlPropertyListReaderTest, ReferencesAreDecoded) {
  expectXmlRows(
      {{"<string>&lt;&gt;&amp;&quot;&apos;&#65;&#x41;&#xe9;&#x20AC;&#8364;</string>", "'<>&\"'AA\u00E9\u20AC\u20AC'"},
       {"<string>&amp;lt;</string>", "'&lt;'"},
       {"<string>a&#10;&#x0000041;b</string>", "'a\nAb'"},
       {"<string>&#xFFFF;&#xE000;&#xD7FF;</string>", "'\uFFFF\uE000\uD7FF'"},
       {"<dict><key>a&amp;b</key><true/></dict>", "{'a&b': true}"}});
}

TEST(XmlPropertyListReaderTest, ReferencesAboveSixteenBitsAreTheCharacter) {
  expectXmlRows({{"<string>&#128512;&#x1F600;</string>", "'\U0001F600\U0001F600'"},
                 {"<string>&#xD83D;&#xDE00;&#55357;&#56832;</string>", "'\U0001F600\U0001F600'"},
                 {"<string>&#65536;&#x10FFFF;</string>", "'\U00010000\U0010FFFF'"},
                 {"<dict><key>&#128512;</key><true/></dict>", "{'\U0001F600': true}"}});
}

void expectTextsRefused(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    expectXmlRefused({"<string>" + text + "</string>", "<dict><key>" + text + "</key><true/></dict>"});
  }
}

TEST(XmlPropertyListReaderTest, OtherReferencesAreRefused) {
  expectTextsRefused({"&nbsp;", "&", "&amp", "& b;", "&;", "&LT;", "&ampx;"});
  expectTextsRefused({"&#;", "&#x;", "&#65", "&#6a;", "&#xg;", "&#-1;", "&#x110000;", "&#99999999999999999999;"});
}

TEST(XmlPropertyListReaderTest, LoneSurrogatesAreRefused) {
  expectTextsRefused({"&#xD83D;", "&#xDE00;", "&#xD83D;x&#xDE00;", "&#xD83D;&#xD83D;&#xDE00;", "&#xD83D;&#65;",
                      "&#xD83D;&#xE000;", "&#xDE00;&#xD83D;", "&#xD83D;&amp;"});
}

TEST(XmlPropertyListReaderTest, CdataIsText) {
  expectXmlRows({{"<string><![CDATA[]]></string>", "''"},
                 {"<string><![CDATA[<a> & &lt; ]] >]]></string>", "'<a> & &lt; ]] >'"},
                 {"<string>a<![CDATA[<]]>b<![CDATA[>]]>&amp;<![CDATA[&]]></string>", "'a<b>&&'"},
                 {"<dict><key>a<![CDATA[&]]>b</key><true/></dict>", "{'a&b': true}"},
                 {"<string>]]]]>>]]&gt;]]><![CDATA[]]]]>&gt;]]</string>", "']]]]>>]]>]]>]]>]]'"},
                 {"<string><![CDATA[a</string>", "none"},
                 {"<string><![cdata[a]]></string>", "none"}});
}

TEST(XmlPropertyListReaderTest, OtherMarkupInTextsIsRefused) {
  expectXmlRefused({"<string>a<true/>b</string>", "<string>a<b>c</b></string>", "<string>a<!-- c --></string>",
                    "<string>a</key>", "<string>a</stringx>", "<string>a"});
}

TEST(XmlPropertyListReaderTest, TextThatIsNoUtf8IsRefused) { expectTextsRefused({"\xE9", "\xED\xA0\x80", "\xFF"}); }

// ----- Other scalars -----

TEST(XmlPropertyListReaderTest, BooleansHaveTwoForms) {
  expectXmlRows(
      {{"<true/>", "true"}, {"<false/>", "false"}, {"<true></true>", "true"}, {"<false ></false >", "false"}});
  expectXmlRefused({"<true>1</true>", "<true></false>", "<true>"});
}

TEST(XmlPropertyListReaderTest, IntegersAreDecimalOrHexadecimalOfSixtyFourBits) {
  expectXmlRows(elements("integer", {{"42", "42"},
                                     {"-42", "-42"},
                                     {"+42", "42"},
                                     {" \n\t42", "42"},
                                     {"- 42", "-42"},
                                     {"0x1Fa", "506"},
                                     {"-0X10", "-16"},
                                     {"-0", "0"},
                                     {"010", "10"},
                                     {"-0099", "-99"},
                                     {"000", "0"},
                                     {"00000000000000000000000000000000000007", "7"},
                                     {"-1", "-1"},
                                     {"9223372036854775807", "9223372036854775807"},
                                     {"9223372036854775808", "9223372036854775808"},
                                     {"18446744073709551615", "18446744073709551615"},
                                     {"0xFFFFFFFFFFFFFFFF", "18446744073709551615"},
                                     {"-9223372036854775808", "-9223372036854775808"},
                                     {"-9223372036854775807", "-9223372036854775807"}}));
}

TEST(XmlPropertyListReaderTest, OtherIntegersAreRefused) {
  expectElementsRefused("integer", {"", " ", "-", "+", "--1", "+-1", "1.5", "1e3", "12a", "ff", "0x", "0xg", "x1",
                                    "1 2", "1 ", "a", "<!--c-->1", "&#49;", "<![CDATA[1]]>"});
  expectXmlRows({{"<integer/>", "none"}});
}

TEST(XmlPropertyListReaderTest, IntegersThatSixtyFourBitsCannotHoldAreRefused) {
  expectElementsRefused("integer", {"18446744073709551616", "99999999999999999999", "0x10000000000000000",
                                    "-9223372036854775809", "-18446744073709551615"});
}

TEST(XmlPropertyListReaderTest, RealsAreDecimalOrNamed) {
  expectXmlRows(elements("real", {{"1.5", "real 1.5"},
                                  {"-1.5e3", "real -1500"},
                                  {"+0.1", "real 0.10000000000000001"},
                                  {".5", "real 0.5"},
                                  {"5.", "real 5"},
                                  {"1E-2", "real 0.01"},
                                  {"\n 7", "real 7"},
                                  {"0.10000000000000001", "real 0.10000000000000001"},
                                  {"1.7976931348623157e+308", "real 1.7976931348623157e+308"},
                                  {"4.9406564584124654e-324", "real 4.9406564584124654e-324"},
                                  {"1e999", "real inf"},
                                  {"-1e999", "real -inf"},
                                  {"1e-999", "real 0"},
                                  {"nan", "real nan"},
                                  {"NaN", "real nan"},
                                  {"inf", "real inf"},
                                  {"+inf", "real inf"},
                                  {"INF", "real inf"},
                                  {"infinity", "real inf"},
                                  {"+Infinity", "real inf"},
                                  {"-inf", "real -inf"},
                                  {"-INFINITY", "real -inf"}}));
}

TEST(XmlPropertyListReaderTest, OtherRealsAreRefused) {
  expectElementsRefused(
      "real", {"",     " ",   "a",       "-",         ".",    "1e",   "1e+",    "1.5x", "1,5",       "0x10",
               "1.5 ", "1 5", "infinit", "infinityx", "-nan", "+NAN", "nan(1)", "--1",  "<!--c-->1", "&#49;"});
  expectXmlRows({{"<real/>", "none"}});
}

TEST(XmlPropertyListReaderTest, DatesAreUtcSecondsAndRunOver) {
  expectXmlRows(elements("date", {{"2001-01-01T00:00:00Z", "date 0"},
                                  {"2001-01-01T00:00:01Z", "date 1"},
                                  {"2000-12-31T23:59:59Z", "date -1"},
                                  {"1970-01-01T00:00:00Z", "date -978307200"},
                                  {"1969-12-31T23:59:59Z", "date -978307201"},
                                  {"1901-12-13T20:45:51Z", "date -3125790849"},
                                  {"1601-01-01T00:00:00Z", "date -12622780800"},
                                  {"2038-01-19T03:14:08Z", "date 1169176448"},
                                  {"2100-03-01T00:00:00Z", "date 3129235200"},
                                  {"9999-12-31T23:59:59Z", "date 252423993599"},
                                  {"0001-01-01T00:00:00Z", "date -63113904000"},
                                  {"0000-01-01T00:00:00Z", "date -63145526400"},
                                  {"-001-12-31T23:59:59Z", "date -63145526401"},
                                  {"10000-01-01T00:00:00Z", "date 252423993600"},
                                  {"31690739-07-06T01:46:40Z", "date 1000000000000000"},
                                  {"1-01-01T00:00:00Z", "date -63113904000"},
                                  {"2001-13-01T00:00:00Z", "date 31536000"},
                                  {"2001-00-01T00:00:00Z", "date -2678400"},
                                  {"2001-01-01T24:00:00Z", "date 86400"},
                                  {"2001-01-32T00:60:61Z", "date 2682061"}}));
}

TEST(XmlPropertyListReaderTest, OtherDatesAreRefused) {
  expectElementsRefused(
      "date",
      {"", "2001-01-01", "2001-01-01T00:00:00", "2001-01-01T00:00:00z", "2001-01-01 00:00:00Z", "-01-01T00:00:00Z",
       "+2001-01-01T00:00:00Z", "99999999999999999999-01-01T00:00:00Z", "2001-1-1T0:0:0Z", "today",
       "2001-01-01T00:00:00.5Z", "2001-01-01T00:00:00+01:00", "200a-01-01T00:00:00Z", "2001-01-01T00:00:00Z ",
       " 2001-01-01T00:00:00Z", "2001-01-01T<!--c-->00:00:00Z", "2001-01-01T00:00:00<![CDATA[Z]]>"});
  expectXmlRows({{"<date/>", "none"}});
}

TEST(XmlPropertyListReaderTest, DataIsWholeGroupsOfBase64) {
  expectXmlRows(elements("data", {{"QUJD", "<414243>"},
                                  {"QUI=", "<4142>"},
                                  {"QQ==", "<41>"},
                                  {"AP/++w==", "<00fffefb>"},
                                  {"QQ==QUI=", "<414142>"},
                                  {"", "<>"},
                                  {"\n\t", "<>"},
                                  {"QUJDQU", "<414243>"},
                                  {"====", "<>"},
                                  {"\n\tQU\r\n\tJD\n", "<414243>"},
                                  {"!Q-U_J*D\u00E9.", "<414243>"},
                                  {"QU<!-- c -->JD", "none"},
                                  {"<![CDATA[QUJD]]>", "none"}}));
  expectXmlRows({{"<data/>", "none"}, {"<data>QUJD", "none"}});
}

/// Gives the test's process a locale with a decimal comma.
class PropertyListLocaleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string source = folder.makeFile("source",
                                               "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n"
                                               "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\ngrouping -1\n"
                                               "END LC_NUMERIC\n");
    // Its status tells of missing categories too; whether the locale is there shows below.
    (void)!system(("localedef -c -i " + source + " -f ANSI_X3.4-1968 " + folder.path() + "/comma 2>/dev/null").c_str());
    if (!folder.has("comma/LC_NUMERIC")) GTEST_SKIP() << "localedef, or its sources of locales, are not installed";
    ASSERT_EQ(setenv("LOCPATH", folder.path().c_str(), 1), 0);
    ASSERT_NE(setlocale(LC_NUMERIC, "comma"), nullptr);
  }
  void TearDown() override {
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
  }

  TemporaryFolder folder;
};

TEST_F(PropertyListLocaleTest, DecimalCommaOfTheProcessChangesNothing) {
  ASSERT_STREQ(localeconv()->decimal_point, ",");
  const std::optional<PropertyListValue> value = property_list::read("<real>1.5</real>");
  ASSERT_TRUE(value && value->asReal() != nullptr);
  EXPECT_EQ(*value->asReal(), 1.5);
  expectRows({{"<real>1,5</real>", "none"}});
  const std::string text = property_list::toXml(PropertyListValue(-1234567.5e-30)).value_or("");
  EXPECT_NE(text.find("<real>-1.2345675e-24</real>"), std::string::npos) << text;
}

}  // namespace

}  // namespace hotfix
