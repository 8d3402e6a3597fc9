#include <cstdint>
#include <iterator>
#include <limits>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The whole text of a list whose root is written as \a root.
std::string list(const std::string& root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         root + "</plist>\n";
}

std::string written(const PropertyListValue& value) { return property_list::toXml(value).value_or("(none)"); }

void expectReals(const std::vector<std::pair<double, std::string>>& rows) {
  for (const auto& [real, text] : rows) {
    EXPECT_EQ(written(PropertyListValue(real)), list("<real>" + text + "</real>\n"));
  }
}

std::string writtenDate(double seconds) {
  const std::string text = written(PropertyListValue(Date{seconds}));
  const size_t start = text.find("<date>") + 6;
  return text.substr(start, text.find("</date>") - start);
}

void expectDates(const std::vector<std::pair<double, const char*>>& rows) {
  for (const auto& [seconds, text] : rows) EXPECT_EQ(writtenDate(seconds), text);
}

TEST(PropertyListWriterTest, ValueOfEachTypeHasItsForm) {
  const std::pair<PropertyListValue, std::string> rows[] = {
      {PropertyListValue(Dictionary{{"k", PropertyListValue(Array{"a & b"})}}),
       "<dict>\n\t<key>k</key>\n\t<array>\n\t\t<string>a &amp; b</string>\n\t</array>\n</dict>\n"},
      {"text", "<string>text</string>\n"},
      {PropertyListValue(Array{"a"}), "<array>\n\t<string>a</string>\n</array>\n"},
      {PropertyListValue(true), "<true/>\n"},
      {PropertyListValue(Array{PropertyListValue(true), PropertyListValue(false)}),
       "<array>\n\t<true/>\n\t<false/>\n</array>\n"},
      {PropertyListValue(Dictionary()), "<dict/>\n"},
      {PropertyListValue(Array()), "<array/>\n"},
      {"", "<string></string>\n"},
      {PropertyListValue(Dictionary{{"", ""}}), "<dict>\n\t<key></key>\n\t<string></string>\n</dict>\n"},
      {PropertyListValue::integer(0), "<integer>0</integer>\n"},
      {PropertyListValue::integer(42), "<integer>42</integer>\n"},
      {PropertyListValue::integer(-1), "<integer>-1</integer>\n"},
      {PropertyListValue::integer(std::numeric_limits<std::int64_t>::min()),
       "<integer>-9223372036854775808</integer>\n"},
      {PropertyListValue(Integer{std::numeric_limits<std::uint64_t>::max(), false}),
       "<integer>18446744073709551615</integer>\n"},
      {PropertyListValue(Data()), "<data>\n</data>\n"},
      {PropertyListValue(Array{PropertyListValue(Data())}), "<array>\n\t<data>\n\t</data>\n</array>\n"},
      {PropertyListValue(Data{"A"}), "<data>\nQQ==\n</data>\n"},
      {PropertyListValue(Data{"AB"}), "<data>\nQUI=\n</data>\n"},
      {PropertyListValue(Data{"ABC"}), "<data>\nQUJD\n</data>\n"},
      {PropertyListValue(Data{std::string("\0\xFF\xFE\xFB", 4)}), "<data>\nAP/++w==\n</data>\n"},
      {PropertyListValue(Data{std::string(57, '\0')}), "<data>\n" + std::string(76, 'A') + "\n</data>\n"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(written(value), list(text)) << shown(value);
}

TEST(PropertyListWriterTest, RealsHaveSeventeenDigitsOrAName) {
  expectReals({{0.1, "0.10000000000000001"},
               {1, "1"},
               {-2.5, "-2.5"},
               {1.0 / 3, "0.33333333333333331"},
               {100000, "100000"},
               {1e17, "1e+17"},
               {1e-5, "1.0000000000000001e-05"},
               {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
               {std::numeric_limits<double>::denorm_min(), "4.9406564584124654e-324"},
               {0, "0.0"},
               {-0.0, "0.0"},
               {std::numeric_limits<double>::quiet_NaN(), "nan"},
               {kInfinity, "+infinity"},
               {-kInfinity, "-infinity"}});
}

TEST(PropertyListWriterTest, DatesAreUtcSecondsWithoutFractions) {
  expectDates({{0, "2001-01-01T00:00:00Z"},
               {-978307200, "1970-01-01T00:00:00Z"},
               {-978307201, "1969-12-31T23:59:59Z"},
               {86399, "2001-01-01T23:59:59Z"},
               {86400, "2001-01-02T00:00:00Z"},
               {-1, "2000-12-31T23:59:59Z"},
               {0.999, "2001-01-01T00:00:00Z"},
               {-0.5, "2000-12-31T23:59:59Z"},
               {2147483647.0 - 978307200, "2038-01-19T03:14:07Z"},
               {2147483648.0 - 978307200, "2038-01-19T03:14:08Z"},
               {-2147483649.0 - 978307200, "1901-12-13T20:45:51Z"},
               {252423993599.0, "9999-12-31T23:59:59Z"},
               {252423993600.0, "10000-01-01T00:00:00Z"},
               {-63113904000.0, "0001-01-01T00:00:00Z"},
               {-63113904001.0, "0000-12-31T23:59:59Z"},
               {-63145526400.0, "0000-01-01T00:00:00Z"},
               {-63145526401.0, "-001-12-31T23:59:59Z"}});  // "%04d"
}

TEST(PropertyListWriterTest, LeapDaysFollowTheGregorianRule) {
  constexpr double kDay = 86400;
  expectDates({{-307 * kDay, "2000-02-29T00:00:00Z"},
               {-306 * kDay, "2000-03-01T00:00:00Z"},
               {1154 * kDay, "2004-02-29T00:00:00Z"},
               {36217 * kDay, "2100-02-28T00:00:00Z"},
               {36218 * kDay, "2100-03-01T00:00:00Z"},
               {-36832 * kDay, "1900-02-28T00:00:00Z"},
               {-36831 * kDay, "1900-03-01T00:00:00Z"}});
}

TEST(PropertyListWriterTest, DatesThatNoCalendarHoldsAreWrittenAsSomeDate) {
  EXPECT_EQ(writtenDate(std::numeric_limits<double>::quiet_NaN()), "2001-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(kInfinity), writtenDate(1e15));
  EXPECT_EQ(writtenDate(-kInfinity), writtenDate(-1e15));
  EXPECT_EQ(writtenDate(1e300), writtenDate(1e15));
  EXPECT_EQ(writtenDate(1e15), "31690739-07-06T01:46:40Z");
}

TEST(PropertyListWriterTest, OnlyThreeCharactersAreEscaped) {
  EXPECT_EQ(written(std::string("<a>&\"'\t\r\n\x01\0", 11)),
            list("<string>&lt;a&gt;&amp;\"'\t\r\n\x01" + std::string(1, '\0') + "</string>\n"));
  EXPECT_EQ(written(PropertyListValue(Dictionary{{"<a>&\"'", "\xC3\xA9"}})),
            list("<dict>\n\t<key>&lt;a&gt;&amp;\"'</key>\n\t<string>\xC3\xA9</string>\n</dict>\n"));
}

TEST(PropertyListWriterTest, KeysAreSortedByCharactersNotByNumberOrCase) {
  const PropertyListValue value(Dictionary{{"a", "1"}, {"B", "2"}, {"9", "3"}, {"10", "4"}, {"", "5"}, {"aa", "6"}});
  EXPECT_EQ(written(value), list("<dict>\n"
                                 "\t<key></key>\n\t<string>5</string>\n"
                                 "\t<key>10</key>\n\t<string>4</string>\n"
                                 "\t<key>9</key>\n\t<string>3</string>\n"
                                 "\t<key>B</key>\n\t<string>2</string>\n"
                                 "\t<key>a</key>\n\t<string>1</string>\n"
                                 "\t<key>aa</key>\n\t<string>6</string>\n"
                                 "</dict>\n"));
}

TEST(PropertyListWriterTest, KeysOfTwoUnitsComeBeforeTheLastOnesOfOneUnit) {
  // In UTF-16 the characters above U+FFFF begin with a unit from D800 to DBFF.
  const char* const kOrdered[] = {"z",          "\u00E9", "\uD7FF", "\U00010000", "\U0001F600", "\U00040000",
                                  "\U0010FFFF", "\uE000", "\uEFFF", "\uF000",     "\uFFFD"};
  Dictionary dictionary;
  std::string expected = "<dict>\n";
  for (const char* key : kOrdered) {
    dictionary.emplace(key, PropertyListValue(true));
    expected += std::string("\t<key>") + key + "</key>\n\t<true/>\n";
  }
  EXPECT_EQ(written(PropertyListValue(dictionary)), list(expected + "</dict>\n"));
}

TEST(PropertyListWriterTest, DataLinesGetShorterWithTheirLevel) {
  constexpr size_t kLengths[] = {76, 68, 60, 52, 44, 36, 28, 20, 12, 12, 12};
  for (size_t level = 0; level < std::size(kLengths); ++level) {
    // Two full lines and a byte.
    const std::string bytes(kLengths[level] / 4 * 3 * 2 + 1, '\0');
    PropertyListValue value(Data{bytes});
    std::string before;
    std::string after;
    for (size_t outer = level; outer > 0; --outer) value = PropertyListValue(Array{value});
    for (size_t outer = 0; outer < level; ++outer) {
      before += std::string(outer, '\t') + "<array>\n";
      after.insert(0, std::string(outer, '\t') + "</array>\n");
    }
    const std::string tabs(level, '\t');
    const std::string lineTabs(std::min<size_t>(level, 8), '\t');
    const std::string line = lineTabs + std::string(kLengths[level], 'A') + "\n";
    EXPECT_EQ(written(value),
              list(before + tabs + "<data>\n" + line + line + lineTabs + "AA==\n" + tabs + "</data>\n" + after))
        << "level " << level;
  }
}

TEST(PropertyListWriterTest, TextThatIsNoUtf8CannotBeWritten) {
  EXPECT_EQ(property_list::toXml("\xE9"), std::nullopt);
  EXPECT_EQ(property_list::toXml("\xED\xA0\x80"), std::nullopt);  // a surrogate
  EXPECT_EQ(property_list::toXml(PropertyListValue(Array{"a", "\xC3"})), std::nullopt);
  EXPECT_EQ(property_list::toXml(PropertyListValue(Dictionary{{"\xFF", "a"}})), std::nullopt);
  EXPECT_EQ(property_list::toXml(PropertyListValue(Dictionary{{"k", PropertyListValue(Array{"\xFF"})}})), std::nullopt);
}

TEST(PropertyListWriterTest, WrittenValueIsReadAsItWas) {
  Array values;
  for (const char* text : {"", " \t\r\n", "<&>\"'", "]]>", "\u00E9\u20AC\U0001F600\uFEFF", "\x01\x7F", "&amp;"}) {
    values.emplace_back(text);
  }
  values.emplace_back(std::string("a\0b", 3));
  for (const double number : {0.1, 1.0 / 3, -1e-100, std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::infinity()}) {
    values.emplace_back(number);
  }
  for (const unsigned bits : {31U, 32U, 53U, 63U}) {
    const std::uint64_t power = std::uint64_t{1} << bits;
    for (const std::uint64_t number : {power - 1, power, power + 1}) values.emplace_back(Integer{number, false});
    values.push_back(PropertyListValue::integer(static_cast<std::int64_t>(~power + 1)));
  }
  values.emplace_back(Integer{std::numeric_limits<std::uint64_t>::max(), false});
  constexpr std::int64_t kYear = 31556952;  // in the mean
  for (std::int64_t seconds = -3000 * kYear; seconds < 12'000 * kYear; seconds += 3 * kYear + 12345) {
    values.emplace_back(Date{static_cast<double>(seconds)});
  }
  PropertyListValue value{Array()};
  for (size_t level = 0; level <= 9; ++level) {
    const size_t line = (76 - 8 * std::min<size_t>(level, 8)) / 4 * 3;
    Array data{value};
    for (const size_t size : {size_t{1}, size_t{2}, line - 1, line, line + 1, 2 * line}) {
      data.emplace_back(Data{repeated("\xFB\xFF\x01", size).substr(0, size)});
    }
    value = PropertyListValue(data);
  }
  values.push_back(value);
  const PropertyListValue all(values);
  const std::optional<PropertyListValue> readBack = property_list::read(written(all));
  ASSERT_TRUE(readBack);
  EXPECT_EQ(shown(readBack), shown(all));
}

}  // namespace

}  // namespace hotfix
