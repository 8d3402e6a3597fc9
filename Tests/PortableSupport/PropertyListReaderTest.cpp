#include <iterator>

#include "Support/PropertyListForms.h"
#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"
#include "Support/TextEncoding.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using property_list::kDeepest;
using property_list::Limits;

// ----- Forms -----

TEST(PropertyListReaderTest, TextThatIsNoXmlGetsASecondChanceAsOldStyle) {
  expectRows({{"<0fbd>", "<0fbd>"},        // begins like XML
              {"bplist00", "'bplist00'"},  // begins like a binary list
              {"bplist00 = 1;", "{'bplist00': '1'}"},
              {"<dict><key>a</key></dict>", "none"},
              {"<dict>", "none"},
              {"<", "none"}});
}

TEST(PropertyListReaderTest, NoTextIsNoListAndBlanksAreAnEmptyDictionary) {
  expectRows({{"\xEF\xBB\xBF \n", "{}"}, {"\n", "{}"}});
  expectRefused({"", "\xEF\xBB\xBF", "\xFE\xFF", std::string("\xFF\xFE\0\0", 4)});
}

// ----- Encodings -----

std::string utf16BigEndian(const std::string& utf8) {
  std::string bytes;
  for (const char16_t unit : text::utf16FromUtf8(utf8)) bytes += bigEndian(unit, 2);
  return bytes;
}

std::string swappedPairs(std::string bytes) {
  for (size_t index = 0; index + 1 < bytes.size(); index += 2) std::swap(bytes[index], bytes[index + 1]);
  return bytes;
}

std::string declared(const std::string& declaration, const std::string& text) {
  return "<?xml version=\"1.0\" " + declaration + "?><string>" + text + "</string>";
}

TEST(PropertyListReaderTest, ByteOrderMarkTellsTheEncodingAndWinsOverADeclaration) {
  for (const char* encoding : {"UTF-8", "ISO-8859-1"}) {
    const std::string list = declared("encoding=\"" + std::string(encoding) + "\"", "\u00E9\U0001F600");
    expectRows({{"\xEF\xBB\xBF" + list, "'\u00E9\U0001F600'"},
                {"\xFE\xFF" + utf16BigEndian(list), "'\u00E9\U0001F600'"},
                {"\xFF\xFE" + swappedPairs(utf16BigEndian(list)), "'\u00E9\U0001F600'"}});
  }
}

TEST(PropertyListReaderTest, NulInFrontTellsUtf16AndCostsTheFirstCharacter) {
  expectRows({{utf16BigEndian("<string>a</string>"), "none"},
              {swappedPairs(utf16BigEndian("<string>a</string>")), "none"},
              {utf16BigEndian("ab = c;"), "{'b': 'c'}"},
              {swappedPairs(utf16BigEndian(" \"\u20AC\"")), "'\u20AC'"}});
}

TEST(PropertyListReaderTest, DeclarationTellsTheEncoding) {
  expectRows({{declared("encoding=\"ISO-8859-1\"", "\xE9"), "'\u00E9'"},
              {declared("encoding='iso-8859-1' standalone='yes'", "\xE9"), "'\u00E9'"},
              {declared("encoding=\"US-ASCII\"", "a\xE9"), "'a\u00E9'"},
              {declared("encoding=\"utf-8\"", "\u00E9"), "'\u00E9'"},
              {declared("", "\u00E9"), "'\u00E9'"},
              {declared("encoding=ISO-8859-1", "\xE9"), "none"},
              {declared("encoding = 'iso-8859-1'", "\xE9"), "none"},  // with blanks it is overlooked
              {declared("encoding = 'iso-8859-1'", "a"), "'a'"},
              {declared("encoding=\"UTF-8\"", "\xE9"), "none"}});
}

TEST(PropertyListReaderTest, OtherEncodingsAreConvertedOrRefused) {
  const property_list::TextConverter convert = [](std::string_view bytes, const std::string& encoding) {
    return encoding == "x-other" ? OptionalString("<string>" + std::to_string(bytes.size()) + "</string>")
                                 : std::nullopt;
  };
  const std::string list = declared("encoding=\"x-other\"", "a");
  EXPECT_EQ(shown(property_list::read(list, convert)), "'" + std::to_string(list.size()) + "'");
  EXPECT_FALSE(property_list::read(list));
  EXPECT_FALSE(property_list::read(declared("encoding=\"no-such\"", "a"), convert));
}

TEST(PropertyListReaderTest, HalvesInUtf16AreReadLeniently) {
  expectRows({{"\xFF\xFE" + swappedPairs(utf16BigEndian("a = b;")) + "x", "{'a': 'b'}"},
              {std::string("\xFE\xFF\0\"\xD8\0\0\"", 8), "'\uFFFD'"}});
}

TEST(PropertyListReaderTest, UnclosedDeclarationIsRefused) {
  expectRefused({"<?xml version=\"1.0\" encoding=\"UTF-8", "<?xml encoding", "<?xml encoding=", "<?xml"});
}

// ----- Limits -----

std::string nestedArrays(size_t depth) {
  BinaryList list;
  list.offsetSize = 4;
  list.referenceSize = 2;
  for (std::uint64_t number = 1; number < depth; ++number) list.objects.push_back(list.array({number}));
  list.objects.push_back(list.array({}));
  return list.bytes();
}

TEST(PropertyListReaderTest, NestingEndsAtTheDeepestLevelInEveryForm) {
  EXPECT_EQ(kDeepest, 512);
  expectRows({{repeated("<array>", 512) + repeated("</array>", 512), repeated("[", 512) + repeated("]", 512)},
              {repeated("(", 512) + repeated(")", 512), repeated("[", 512) + repeated("]", 512)},
              {nestedArrays(512), repeated("[", 512) + repeated("]", 512)},
              {repeated("<array>", 511) + "<dict/>" + repeated("</array>", 511),
               repeated("[", 511) + "{}" + repeated("]", 511)}});
  expectRefused({repeated("<array>", 512) + "<dict/>" + repeated("</array>", 512),
                 repeated("<array>", 513) + repeated("</array>", 513),
                 repeated("<dict><key>a</key>", 513) + "<true/>" + repeated("</dict>", 513),
                 repeated("(", 513) + repeated(")", 513), repeated("{a=", 513) + "b" + repeated(";}", 513),
                 nestedArrays(513), nestedArrays(60'000), repeated("<array>", 100'000), repeated("(", 100'000)});
}

/// The array of so many values, in each form.
std::vector<std::string> arraysOf(size_t count) {
  BinaryList list({"", "\x09"});
  list.offsetSize = 4;
  list.objects[0] = list.array(std::vector<std::uint64_t>(count, 1));
  return {"<array>" + repeated("<true/>", count) + "</array>", "(" + repeated("1,", count) + ")", list.bytes()};
}

TEST(PropertyListReaderTest, ListOfAnyFormHoldsLimitedValues) {
  EXPECT_EQ(Limits().values, 1'000'000U);
  Limits limits;
  limits.values = 100;
  for (const std::string& list : arraysOf(99)) {  // the array is one of them
    EXPECT_TRUE(property_list::read(list, nullptr, limits)) << list;
  }
  std::vector<std::string> tooMany = arraysOf(100);
  tooMany.push_back("<dict>" + repeated("<key/><true/>", 100) + "</dict>");
  tooMany.push_back("{" + repeated("a;", 100) + "}");
  BinaryList dictionary({"", "\x51k", "\x09"});
  dictionary.offsetSize = 2;
  dictionary.objects[0] = dictionary.dictionary(std::vector<std::uint64_t>(100, 1), std::vector<std::uint64_t>(100, 2));
  tooMany.push_back(dictionary.bytes());
  for (const std::string& list : tooMany) EXPECT_FALSE(property_list::read(list, nullptr, limits)) << list;
  EXPECT_TRUE(property_list::read(tooMany.back()));
}

TEST(PropertyListReaderTest, LargeListsAreReadWhole) {
  constexpr size_t kCount = 3'000;
  expectRows({{"<string>" + repeated("&lt;", kCount) + "</string>", "'" + std::string(kCount, '<') + "'"},
              {"\xFE\xFF" + utf16BigEndian("\"" + repeated("\u00E9\u20AC\U0001F600.", kCount) + "\""),
               "'" + repeated("\u00E9\u20AC\U0001F600.", kCount) + "'"}});
  BinaryList list;
  list.offsetSize = 4;
  list.referenceSize = 4;
  list.objects.resize(1);
  std::vector<std::uint64_t> keys;
  std::string xml;
  std::string oldStyle;
  PropertyListValue::Dictionary expected;
  for (size_t number = 0; number < kCount; ++number) {
    const std::string key = "k" + std::to_string(number * 7919 % kCount);  // not in their order
    keys.push_back(list.objects.size());
    list.objects.push_back(BinaryList::ascii(key));
    xml += "<key>" + key + "</key><string>" + key + "</string>";
    oldStyle += key + " = \"" + key + "\"; // c\n";
    expected.emplace(key, key);
  }
  list.objects[0] = list.dictionary(keys, keys);
  for (const std::string& bytes : {"<dict>" + xml + "</dict>", oldStyle, list.bytes()}) {
    EXPECT_TRUE(property_list::read(bytes) == PropertyListValue(expected)) << bytes.substr(0, 20);
  }
}

// ----- Damaged lists -----

std::vector<std::string> samples() {
  return {richBinaryList(), property_list::toXml(richList()).value_or(""),
          "{ a = ( \"b\\U00e9\\101\", <0fbd> ); /* c */ 'd' = { e; }; }",
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!DOCTYPE plist><!-- c --><plist><dict><key>a&#65;"
          "<![CDATA[b]]></key><real>-1.5e3</real></dict></plist>",
          "\xFE\xFF" + utf16BigEndian("<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\U0001F600</string>")};
}

/// Whatever is read can be written, and what was written is read as the same.
void expectConsistent(const std::string& bytes) {
  const std::optional<PropertyListValue> value = property_list::read(bytes);
  if (!value) return;
  const OptionalString text = property_list::toXml(*value);
  ASSERT_TRUE(text) << bytes;
  const std::optional<PropertyListValue> readBack = property_list::read(*text);
  ASSERT_TRUE(readBack) << *text;
  EXPECT_EQ(property_list::toXml(*readBack), text) << bytes;
}

TEST(PropertyListReaderTest, ListCutAnywhereIsNoDictionary) {
  const size_t kEnds[] = {0, std::string("\n</plist>\n").size(), 0, std::string("</plist>").size(), 0};
  const std::vector<std::string> lists = samples();
  ASSERT_EQ(lists.size(), std::size(kEnds));
  for (size_t index = 0; index < lists.size(); ++index) {
    ASSERT_TRUE(property_list::read(lists[index])) << lists[index];
    for (size_t size = 0; size < lists[index].size() - kEnds[index]; ++size) {
      const std::string value = shown(property_list::read(lists[index].substr(0, size)));
      // "bplist00" alone is a bare string.
      EXPECT_TRUE(value == "none" || (size <= 8 && value[0] == '\'')) << lists[index].substr(0, size);
    }
  }
}

TEST(PropertyListReaderTest, ListWithAnyByteChangedIsReadConsistentlyOrRefused) {
  for (const std::string& list : samples()) {
    for (size_t position = 0; position < list.size(); ++position) {
      for (const unsigned change : {0x01U, 0x08U, 0x10U, 0x20U, 0x40U, 0x80U, 0xFFU}) {
        std::string damaged = list;
        damaged[position] = static_cast<char>(static_cast<unsigned char>(damaged[position]) ^ change);
        expectConsistent(damaged);
      }
      std::string damaged = list;
      damaged.erase(position, 1);
      expectConsistent(damaged);
      damaged = list;
      damaged.insert(position, 1, '\xFF');
      expectConsistent(damaged);
    }
  }
}

}  // namespace

}  // namespace hotfix
