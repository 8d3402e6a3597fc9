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

/// The whole text of a list whose root is written as \a root.
std::string list(const std::string& root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         root + "</plist>\n";
}

std::string written(const PropertyListValue& value) { return property_list::toXml(value).value_or("(none)"); }

std::string writtenReal(double real) {
  const std::string text = written(PropertyListValue(real));
  const std::string start = list("<real>").substr(0, list("<real>").size() - std::string("</plist>\n").size());
  return text.substr(start.size(), text.find("</real>") - start.size());
}

std::string writtenDate(double seconds) {
  const std::string text = written(PropertyListValue(Date{seconds}));
  const size_t start = text.find("<date>") + 6;
  return text.substr(start, text.find("</date>") - start);
}

TEST(PropertyListWriterTest, DictionaryHoldsKeysAndValuesOnLinesOfTheirOwn) {
  const PropertyListValue value(Dictionary{{"k", PropertyListValue(Array{"a & b"})}});
  EXPECT_EQ(written(value), list("<dict>\n"
                                 "\t<key>k</key>\n"
                                 "\t<array>\n"
                                 "\t\t<string>a &amp; b</string>\n"
                                 "\t</array>\n"
                                 "</dict>\n"));
}

TEST(PropertyListWriterTest, RootOfAnyTypeStandsAtLevelZero) {
  EXPECT_EQ(written("text"), list("<string>text</string>\n"));
  EXPECT_EQ(written(PropertyListValue(Array{"a"})), list("<array>\n\t<string>a</string>\n</array>\n"));
  EXPECT_EQ(written(PropertyListValue(true)), list("<true/>\n"));
}

TEST(PropertyListWriterTest, EmptyValuesHaveTheirOwnForms) {
  EXPECT_EQ(written(PropertyListValue(Dictionary())), list("<dict/>\n"));
  EXPECT_EQ(written(PropertyListValue(Array())), list("<array/>\n"));
  EXPECT_EQ(written(""), list("<string></string>\n"));
  EXPECT_EQ(written(PropertyListValue(Data())), list("<data>\n</data>\n"));
  EXPECT_EQ(written(PropertyListValue(Dictionary{{"", ""}})),
            list("<dict>\n\t<key></key>\n\t<string></string>\n</dict>\n"));
  EXPECT_EQ(written(PropertyListValue(Array{PropertyListValue(Data())})),
            list("<array>\n\t<data>\n\t</data>\n</array>\n"));
}

TEST(PropertyListWriterTest, BooleansAreEmptyElements) {
  EXPECT_EQ(written(PropertyListValue(Array{PropertyListValue(true), PropertyListValue(false)})),
            list("<array>\n\t<true/>\n\t<false/>\n</array>\n"));
}

TEST(PropertyListWriterTest, IntegersAreDecimal) {
  EXPECT_EQ(written(PropertyListValue::integer(0)), list("<integer>0</integer>\n"));
  EXPECT_EQ(written(PropertyListValue::integer(42)), list("<integer>42</integer>\n"));
  EXPECT_EQ(written(PropertyListValue::integer(-1)), list("<integer>-1</integer>\n"));
  EXPECT_EQ(written(PropertyListValue::integer(std::numeric_limits<std::int64_t>::min())),
            list("<integer>-9223372036854775808</integer>\n"));
  EXPECT_EQ(written(PropertyListValue(Integer{std::numeric_limits<std::uint64_t>::max(), false})),
            list("<integer>18446744073709551615</integer>\n"));
}

TEST(PropertyListWriterTest, RealsHaveSeventeenDigits) {
  EXPECT_EQ(writtenReal(0.1), "0.10000000000000001");
  EXPECT_EQ(writtenReal(1), "1");
  EXPECT_EQ(writtenReal(-2.5), "-2.5");
  EXPECT_EQ(writtenReal(1.0 / 3), "0.33333333333333331");
  EXPECT_EQ(writtenReal(100000), "100000");
  EXPECT_EQ(writtenReal(1e17), "1e+17");
  EXPECT_EQ(writtenReal(1e-5), "1.0000000000000001e-05");
  EXPECT_EQ(writtenReal(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(writtenReal(std::numeric_limits<double>::denorm_min()), "4.9406564584124654e-324");
}

TEST(PropertyListWriterTest, SpecialRealsHaveNames) {
  EXPECT_EQ(writtenReal(0), "0.0");
  EXPECT_EQ(writtenReal(-0.0), "0.0");
  EXPECT_EQ(writtenReal(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(writtenReal(std::numeric_limits<double>::infinity()), "+infinity");
  EXPECT_EQ(writtenReal(-std::numeric_limits<double>::infinity()), "-infinity");
}

TEST(PropertyListWriterTest, DatesAreUtcSeconds) {
  EXPECT_EQ(writtenDate(0), "2001-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(-978307200), "1970-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(86399), "2001-01-01T23:59:59Z");
  EXPECT_EQ(writtenDate(86400), "2001-01-02T00:00:00Z");
  EXPECT_EQ(writtenDate(-1), "2000-12-31T23:59:59Z");
  EXPECT_EQ(writtenDate(2147483647.0 - 978307200), "2038-01-19T03:14:07Z");
  EXPECT_EQ(writtenDate(252423993599.0), "9999-12-31T23:59:59Z");
}

TEST(PropertyListWriterTest, LeapDaysFollowTheGregorianRule) {
  constexpr double kDay = 86400;
  EXPECT_EQ(writtenDate(-307 * kDay), "2000-02-29T00:00:00Z");
  EXPECT_EQ(writtenDate(-306 * kDay), "2000-03-01T00:00:00Z");
  EXPECT_EQ(writtenDate(1154 * kDay), "2004-02-29T00:00:00Z");
  EXPECT_EQ(writtenDate(36217 * kDay), "2100-02-28T00:00:00Z");
  EXPECT_EQ(writtenDate(36218 * kDay), "2100-03-01T00:00:00Z");
  EXPECT_EQ(writtenDate(-36832 * kDay), "1900-02-28T00:00:00Z");
  EXPECT_EQ(writtenDate(-36831 * kDay), "1900-03-01T00:00:00Z");
}

TEST(PropertyListWriterTest, FractionsOfASecondAreDropped) {
  EXPECT_EQ(writtenDate(0.999), "2001-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(-0.5), "2000-12-31T23:59:59Z");
}

TEST(PropertyListWriterTest, YearsBeforeTheFirstAndAfterTheLastOfFourDigits) {
  EXPECT_EQ(writtenDate(-63113904000.0), "0001-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(-63113904001.0), "0000-12-31T23:59:59Z");
  EXPECT_EQ(writtenDate(-63145526400.0), "0000-01-01T00:00:00Z");
  EXPECT_EQ(writtenDate(-63145526401.0), "-001-12-31T23:59:59Z");  // "%04d"
  EXPECT_EQ(writtenDate(252423993600.0), "10000-01-01T00:00:00Z");
}

TEST(PropertyListWriterTest, DatesThatNoCalendarHoldsAreWrittenAsSomeDate) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
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

TEST(PropertyListWriterTest, DataIsBase64WithPadding) {
  EXPECT_EQ(written(PropertyListValue(Data{"A"})), list("<data>\nQQ==\n</data>\n"));
  EXPECT_EQ(written(PropertyListValue(Data{"AB"})), list("<data>\nQUI=\n</data>\n"));
  EXPECT_EQ(written(PropertyListValue(Data{"ABC"})), list("<data>\nQUJD\n</data>\n"));
  EXPECT_EQ(written(PropertyListValue(Data{std::string("\0\xFF\xFE\xFB", 4)})), list("<data>\nAP/++w==\n</data>\n"));
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

TEST(PropertyListWriterTest, FullLastDataLineIsNotFollowedByAnEmptyOne) {
  EXPECT_EQ(written(PropertyListValue(Data{std::string(57, '\0')})),
            list("<data>\n" + std::string(76, 'A') + "\n</data>\n"));
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
  values.push_back(PropertyListValue(Integer{std::numeric_limits<std::uint64_t>::max(), false}));
  values.push_back(PropertyListValue::integer(std::numeric_limits<std::int64_t>::min()));
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
