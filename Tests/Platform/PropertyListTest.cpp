#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "Platform/PropertyList.h"
#include "Platform/posix/PropertyListGuard.h"
#include "Support/TextEncoding.h"
#include "Tests/Support/TemporaryFolder.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;

// ----- Helpers -----

std::string repeated(const std::string& text, size_t count) {
  std::string result;
  for (size_t index = 0; index < count; ++index) result += text;
  return result;
}

/// Expects that the bytes are a list, and which.
void expectRead(const std::string& bytes, const PropertyListValue& expected) {
  const std::optional<PropertyListValue> value = platform::parsePropertyList(bytes);
  ASSERT_TRUE(value) << bytes;
  EXPECT_TRUE(*value == expected) << bytes << "\nwas read as\n" << platform::xmlPropertyList(*value).value_or("(none)");
}

void expectRefused(const std::string& bytes) {
  const std::optional<PropertyListValue> value = platform::parsePropertyList(bytes);
  EXPECT_FALSE(value) << bytes << "\nwas read as\n" << platform::xmlPropertyList(*value).value_or("(none)");
}

std::string inPlist(const std::string& object) { return "<plist version=\"1.0\">" + object + "</plist>"; }

void expectXml(const std::string& object, const PropertyListValue& expected) { expectRead(inPlist(object), expected); }
void expectXmlRefused(const std::string& object) { expectRefused(inPlist(object)); }

PropertyListValue unsignedInteger(std::uint64_t number) { return PropertyListValue(Integer{number, false}); }

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// \a number in big-endian bytes.
std::string bigEndian(std::uint64_t number, size_t size) {
  std::string bytes;
  for (size_t index = size; index-- > 0;) {
    bytes += static_cast<char>(index < 8 ? static_cast<unsigned char>(number >> (8 * index)) : 0);
  }
  return bytes;
}

std::string bigEndian(double number) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &number, sizeof bits);
  return bigEndian(bits, 8);
}

std::string byte(unsigned value) { return std::string(1, static_cast<char>(static_cast<unsigned char>(value))); }

/// Puts a binary list together. Any part of it can be made wrong.
struct BinaryList {
  std::vector<std::string> objects;
  unsigned offsetSize = 1;
  unsigned referenceSize = 1;
  std::uint64_t root = 0;
  std::string mark = "bplist00";

  explicit BinaryList(std::vector<std::string> initialObjects = {}) : objects(std::move(initialObjects)) {}

  std::string references(const std::vector<std::uint64_t>& numbers) const {
    std::string bytes;
    for (const std::uint64_t number : numbers) bytes += bigEndian(number, referenceSize);
    return bytes;
  }
  std::string array(const std::vector<std::uint64_t>& elements) const {
    return header(0xA0, elements.size()) + references(elements);
  }
  std::string dictionary(const std::vector<std::uint64_t>& keys, const std::vector<std::uint64_t>& values) const {
    return header(0xD0, keys.size()) + references(keys) + references(values);
  }

  static std::string header(unsigned kind, std::uint64_t count) {
    return count < 15 ? byte(kind | static_cast<unsigned>(count)) : byte(kind | 0xF) + "\x13" + bigEndian(count, 8);
  }
  static std::string ascii(const std::string& text) { return header(0x50, text.size()) + text; }
  static std::string utf16(const std::u16string& text) {
    std::string bytes = header(0x60, text.size());
    for (const char16_t unit : text) bytes += bigEndian(unit, 2);
    return bytes;
  }

  std::string bytes() const {
    std::string result = mark;
    std::string table;
    for (const std::string& object : objects) {
      table += bigEndian(result.size(), offsetSize);
      result += object;
    }
    return withTrailer(result, table, objects.size());
  }
  std::string withTrailer(const std::string& head, const std::string& table, std::uint64_t count) const {
    return head + table + std::string(6, '\0') + byte(offsetSize) + byte(referenceSize) + bigEndian(count, 8) +
           bigEndian(root, 8) + bigEndian(head.size(), 8);
  }
};

std::string binaryOf(const std::string& object) { return BinaryList({object}).bytes(); }

void expectBinary(const std::string& object, const PropertyListValue& expected) {
  expectRead(binaryOf(object), expected);
}

/// Expects that the guard knows a list for a binary one, and keeps it from libplist.
void expectUnsafe(const std::string& bytes) {
  EXPECT_TRUE(platform::isBinaryPropertyList(bytes)) << bytes;
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(bytes)) << bytes;
  expectRefused(bytes);
}
void expectBinaryUnsafe(const std::string& object) { expectUnsafe(binaryOf(object)); }

/// A binary list with an object of each kind.
std::string richBinaryList() {
  BinaryList list;
  list.objects = {"",
                  BinaryList::ascii("key"),
                  BinaryList::utf16(u"\u00E9\u20AC"),
                  BinaryList::ascii("a string that needs a count of its own"),
                  "\x09",
                  "\x11\x01\x02",
                  "\x23" + bigEndian(1.5),
                  "\x33" + bigEndian(-0.25),
                  std::string("\x43\x00\xFF\x01", 4),
                  "\x80\x07",
                  list.array({4, 5, 6, 7, 8, 9})};
  list.objects[0] = list.dictionary({1, 2}, {3, 10});
  return list.bytes();
}

PropertyListValue richList() {
  Array array;
  array.emplace_back(true);
  array.push_back(PropertyListValue::integer(258));
  array.emplace_back(1.5);
  array.emplace_back(Date{-0.25});
  array.emplace_back(Data{std::string("\x00\xFF\x01", 3)});
  array.emplace_back(Dictionary{{"CF$UID", PropertyListValue::integer(7)}});
  return PropertyListValue(Dictionary{{"key", "a string that needs a count of its own"},
                                      {"\u00E9\u20AC", PropertyListValue(std::move(array))}});
}

// ----- Which form -----

class DictionaryFileTest : public ::testing::Test {
 protected:
  std::optional<Dictionary> read(const std::string& contents) const {
    return platform::readDictionary(folder.makeFile("list.plist", contents));
  }
  void expectDictionary(const std::string& contents, const Dictionary& expected) const {
    const std::optional<Dictionary> dictionary = read(contents);
    ASSERT_TRUE(dictionary) << contents;
    EXPECT_TRUE(*dictionary == expected) << contents;
  }

  TemporaryFolder folder;
};

TEST_F(DictionaryFileTest, EmptyFileIsNone) { EXPECT_FALSE(read("")); }

TEST_F(DictionaryFileTest, FileOfBlanksOrCommentsIsEmpty) {
  for (const char* contents : {" ", "\n\n", "// nothing\n", "/* nothing */ \t", "\xEF\xBB\xBF", "\xEF\xBB\xBF \n"}) {
    expectDictionary(contents, Dictionary());
  }
}

TEST_F(DictionaryFileTest, OtherRootsAreNone) {
  for (const std::string& contents : {std::string("hello"), std::string("( a )"), std::string("<00>"),
                                      inPlist("<string>a</string>"), inPlist("<array/>"), inPlist("<true/>"),
                                      BinaryList({BinaryList().array({})}).bytes(), binaryOf(BinaryList::ascii("a"))}) {
    ASSERT_TRUE(platform::parsePropertyList(contents)) << contents;
    EXPECT_FALSE(read(contents)) << contents;
  }
}

TEST_F(DictionaryFileTest, StringsFileIsADictionary) {
  expectDictionary("a = b;", Dictionary{{"a", "b"}});
  expectDictionary("a;", Dictionary{{"a", "a"}});
  EXPECT_FALSE(read("a = b"));
}

TEST_F(DictionaryFileTest, EveryFormIsRead) {
  expectDictionary("{ a = b; }", Dictionary{{"a", "b"}});
  expectDictionary(inPlist("<dict><key>a</key><string>b</string></dict>"), Dictionary{{"a", "b"}});
  BinaryList list({"", BinaryList::ascii("a"), BinaryList::ascii("b")});
  list.objects[0] = list.dictionary({1}, {2});
  expectDictionary(list.bytes(), Dictionary{{"a", "b"}});
}

TEST_F(DictionaryFileTest, MissingFileOrFolderIsNone) {
  EXPECT_FALSE(platform::readDictionary(folder / "missing"));
  EXPECT_FALSE(platform::readDictionary(folder.makeFolder("folder")));
  EXPECT_FALSE(platform::readDictionary(""));
}

TEST_F(DictionaryFileTest, WrittenDictionaryIsReadBack) {
  const Dictionary dictionary = *richList().asDictionary();
  ASSERT_TRUE(platform::writeDictionary(folder / "list.plist", dictionary));
  const std::optional<Dictionary> readBack = platform::readDictionary(folder / "list.plist");
  ASSERT_TRUE(readBack);
  EXPECT_EQ(platform::xmlPropertyList(PropertyListValue(*readBack)),
            platform::xmlPropertyList(PropertyListValue(dictionary)));
  EXPECT_EQ(folder.read("list.plist"), platform::xmlPropertyList(PropertyListValue(dictionary)));
  EXPECT_EQ(folder.names(), std::vector<std::string>{"list.plist"});
}

TEST_F(DictionaryFileTest, BinaryFileIsWrittenBackAsXml) {
  folder.makeFile("list.plist", richBinaryList());
  const std::optional<Dictionary> dictionary = platform::readDictionary(folder / "list.plist");
  ASSERT_TRUE(dictionary);
  ASSERT_TRUE(platform::writeDictionary(folder / "list.plist", *dictionary));
  EXPECT_EQ(folder.read("list.plist").substr(0, 5), "<?xml");
}

TEST_F(DictionaryFileTest, FailedWriteLeavesTheFileAsItWas) {
  folder.makeFile("list.plist", "a = b;");
  EXPECT_FALSE(platform::writeDictionary(folder / "list.plist", Dictionary{{"a", "\xFF"}}));
  EXPECT_EQ(folder.read("list.plist"), "a = b;");
  EXPECT_FALSE(platform::writeDictionary(folder / "list.plist/in a file", Dictionary{{"a", "b"}}));
  EXPECT_FALSE(platform::writeDictionary(folder / "missing/list.plist", Dictionary{{"a", "b"}}));
  EXPECT_EQ(folder.names(), std::vector<std::string>{"list.plist"});
}

TEST(PropertyListTest, NoBytesAreNoList) { expectRefused(""); }

TEST(PropertyListTest, TextThatIsNoXmlGetsASecondChanceAsOldStyle) {
  expectRead("<0fbd>", PropertyListValue(Data{"\x0F\xBD"}));  // begins like XML
  expectRead("bplist00", "bplist00");                         // begins like a binary list
  expectRead("bplist00 = 1;", PropertyListValue(Dictionary{{"bplist00", "1"}}));
  expectRefused("<dict><key>a</key></dict>");
  expectRefused("<dict>");
  expectRefused("<");
}

TEST(PropertyListTest, NothingIsPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  expectRefused(inPlist("<dict><key>a"));
  expectRefused(inPlist("<what/>"));
  expectRefused(richBinaryList().substr(1));
  expectBinaryUnsafe("\x0F");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
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

TEST(PropertyListEncodingTest, MarkTellsTheEncoding) {
  const std::string list = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + inPlist("<string>\u00E9\U0001F600</string>");
  const PropertyListValue expected("\u00E9\U0001F600");
  expectRead(list, expected);
  expectRead("\xEF\xBB\xBF" + list, expected);
  expectRead("\xFE\xFF" + utf16BigEndian(list), expected);
  expectRead("\xFF\xFE" + swappedPairs(utf16BigEndian(list)), expected);

  std::string utf32("\0\0\xFE\xFF", 4);
  for (const char c : inPlist("<string>a</string>")) utf32 += bigEndian(static_cast<unsigned char>(c), 4);
  expectRead(utf32, "a");
  for (size_t index = 0; index < utf32.size(); index += 4) {
    std::swap(utf32[index], utf32[index + 3]);
    std::swap(utf32[index + 1], utf32[index + 2]);
  }
  expectRead(utf32, "a");
}

TEST(PropertyListEncodingTest, MarkWinsOverDeclaration) {
  const std::string list = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + inPlist("<string>\u00E9</string>");
  expectRead("\xEF\xBB\xBF" + list, "\u00E9");
  expectRead("\xFE\xFF" + utf16BigEndian(list), "\u00E9");
}

TEST(PropertyListEncodingTest, NulInFrontTellsUtf16) {
  for (const char* declared : {"UTF-16", "UTF-8", "utf-16le"}) {
    const std::string list =
        std::string("<?xml version=\"1.0\" encoding=\"") + declared + "\"?>" + inPlist("<string>\u00E9</string>");
    expectRead(utf16BigEndian(list), "\u00E9");
    expectRead(swappedPairs(utf16BigEndian(list)), "\u00E9");
  }
  expectRead(utf16BigEndian("{ a = b; }"), PropertyListValue(Dictionary{{"a", "b"}}));
  expectRead(swappedPairs(utf16BigEndian("\"\u20AC\"")), "\u20AC");
}

TEST(PropertyListEncodingTest, DeclarationTellsTheEncoding) {
  const auto list = [](const std::string& declaration, const std::string& text) {
    return "<?xml version=\"1.0\" " + declaration + "?>" + inPlist("<string>" + text + "</string>");
  };
  expectRead(list("encoding=\"ISO-8859-1\"", "\xE9"), "\u00E9");
  expectRead(list("encoding = 'iso-8859-1' standalone='yes'", "\xE9"), "\u00E9");
  expectRead(list("encoding=\"windows-1252\"", "\x80"), "\u20AC");
  expectRead(list("encoding=\"ISO-8859-15\"", "\xA4"), "\u20AC");
  expectRead(list("encoding=\"Shift_JIS\"", "\x82\xA0"), "\u3042");
  expectRead(list("encoding=\"US-ASCII\"", "a"), "a");
  expectRead(list("encoding=\"utf-8\"", "\u00E9"), "\u00E9");
  expectRead(list("", "\u00E9"), "\u00E9");
}

TEST(PropertyListEncodingTest, TextThatIsNotInItsEncodingIsRefused) {
  const auto list = [](const std::string& encoding, const std::string& text) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + inPlist("<string>" + text + "</string>");
  };
  expectRefused(list("UTF-8", "\xE9"));
  expectRefused(list("US-ASCII", "\xE9"));
  expectRefused(list("Shift_JIS", "\x82"));
  expectRefused(list("UTF-16", "a"));
  expectRefused(list("no-such-encoding", "a"));
  expectRefused(list("ISO-8859-1//TRANSLIT", "a"));
  expectRefused("\"\xE9\"");
  expectRefused("\xFF\xFE" + swappedPairs(utf16BigEndian("a = b;")) + "x");
  expectRefused(std::string("\xFE\xFF\0\"\xD8\0\0\"", 8));  // half a pair
}

TEST(PropertyListEncodingTest, LongTextIsConvertedWhole) {
  const std::string text = repeated("\u00E9\u20AC\U0001F600.", 20'000);
  expectRead("\xFE\xFF" + utf16BigEndian("\"" + text + "\""), PropertyListValue(text));
}

TEST(PropertyListEncodingTest, UnclosedDeclarationIsRefused) {
  expectRefused("<?xml version=\"1.0\" encoding=\"UTF-8");
  expectRefused("<?xml encoding");
  expectRefused("<?xml encoding=");
  expectRefused("<?xml");
}

// ----- XML: the frame -----

TEST(XmlPropertyListTest, PlatformsOwnTextIsRead) {
  expectRead(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n"
      "<dict>\n"
      "\t<key>k</key>\n"
      "\t<array>\n"
      "\t\t<string>a &amp; b</string>\n"
      "\t</array>\n"
      "</dict>\n"
      "</plist>\n",
      PropertyListValue(Dictionary{{"k", PropertyListValue(Array{"a & b"})}}));
}

TEST(XmlPropertyListTest, FrameMayBeMissing) {
  expectRead("<dict><key>a</key><true/></dict>", PropertyListValue(Dictionary{{"a", PropertyListValue(true)}}));
  expectRead("<string>a</string>", "a");
  expectRead("<integer>1</integer>", PropertyListValue::integer(1));
  expectRead(" \r\n\t<array/>", PropertyListValue(Array()));
}

TEST(XmlPropertyListTest, WhatFollowsTheRootIsIgnored) {
  expectRead(inPlist("<string>a</string>") + "junk < & </plist>", "a");
  expectRead(inPlist("<string>a</string>") + inPlist("<string>b</string>"), "a");
  expectRead("<dict/>junk", PropertyListValue(Dictionary()));
  expectRead("<array></array><array>", PropertyListValue(Array()));
  expectRead("<string>a</string></dict>", "a");
}

TEST(XmlPropertyListTest, FrameHoldsOneObject) {
  expectRefused("<plist></plist>");
  expectRefused("<plist> <!-- none --> </plist>");
  expectRefused("<plist/>");
  expectRefused("<plist version=\"1.0\"/>");
  expectXmlRefused("<string>a</string><string>b</string>");
  expectXmlRefused("<dict/><dict/>");
  expectXmlRefused("<string>a</string>text");
  expectXmlRefused("text<string>a</string>");
  expectXmlRefused("<plist><true/></plist>");
}

TEST(XmlPropertyListTest, FrameMustBeClosed) {
  expectRefused("<plist><string>a</string>");
  expectRefused("<plist><string>a</string></plist");
  expectRefused("<plist><string>a</string></dict>");
  expectRead("<plist><string>a</string></plist  >", "a");
}

TEST(XmlPropertyListTest, CommentsInstructionsAndDoctypeAreSkipped) {
  expectRead(
      "<!-- a > b -- <dict> --><?php echo \"?\" ?>\n<!DOCTYPE plist [\n<!ENTITY e \"]> <string>no</string>\">\n"
      "<!-- ]> ' --><?pi ]> \" ?><!ELEMENT a ANY>\n]><!-- c --> <?pi?>"
      "<plist><!-- c --><?pi > ?><dict><!-- c --><key>a</key><!-- c --><?pi?><true/><!-- c --></dict><!-- c "
      "--></plist>",
      PropertyListValue(Dictionary{{"a", PropertyListValue(true)}}));
  expectRead("<!DOCTYPE plist SYSTEM \"a>b[\"><string>a</string>", "a");
  expectRead("<!DOCTYPE plist SYSTEM 'a\">'><string>a</string>", "a");
}

TEST(XmlPropertyListTest, UnclosedCommentInstructionOrDoctypeIsRefused) {
  for (const char* text : {"<!-- c", "<?pi", "<!DOCTYPE plist", "<!DOCTYPE plist [", "<!DOCTYPE plist [ <!-- ]>",
                           "<!DOCTYPE plist \"", "<!ELEMENT a>", "<!"}) {
    expectRefused(std::string(text) + "<string>a</string>");
  }
}

TEST(XmlPropertyListTest, EntitiesOfTheDocumentAreNotUsed) {
  expectRefused("<!DOCTYPE plist [<!ENTITY e \"text\">]>" + inPlist("<string>&e;</string>"));
  expectRefused("<!DOCTYPE plist [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>" + inPlist("<string>&e;</string>"));
}

TEST(XmlPropertyListTest, AttributesAreIgnored) {
  expectRead(
      "<plist version='2' x=\">\"><dict a=\"b\"><key c='/'>k</key ><array d=\"<>\" /><key>l</key>"
      "<string xml:space=\"preserve\" >v</string></dict></plist>",
      PropertyListValue(Dictionary{{"k", PropertyListValue(Array())}, {"l", "v"}}));
  expectXml("<true a=\"/\"></true>", PropertyListValue(true));
  expectXmlRefused("<string a=\">x</string>");
}

TEST(XmlPropertyListTest, UnknownTagsAreRefused) {
  for (const char* object : {"<what/>", "<what>a</what>", "<Dict/>", "<DICT></DICT>", "<dictionary/>",
                             "<ustring>a</ustring>", "< dict/>", "<>", "</>", "<null/>", "<uid>1</uid>"}) {
    expectXmlRefused(object);
    expectXmlRefused("<array>" + std::string(object) + "</array>");
  }
}

// ----- XML: collections -----

TEST(XmlPropertyListTest, EmptyCollectionsHaveTwoForms) {
  expectXml("<array/>", PropertyListValue(Array()));
  expectXml("<array></array>", PropertyListValue(Array()));
  expectXml("<array >\n</array >", PropertyListValue(Array()));
  expectXml("<dict/>", PropertyListValue(Dictionary()));
  expectXml("<dict></dict>", PropertyListValue(Dictionary()));
  expectXml("<array><array/><dict/></array>",
            PropertyListValue(Array{PropertyListValue(Array()), PropertyListValue(Dictionary())}));
}

TEST(XmlPropertyListTest, ArrayKeepsItsOrder) {
  expectXml("<array><string>b</string><string>a</string><true/><string>b</string></array>",
            PropertyListValue(Array{"b", "a", PropertyListValue(true), "b"}));
}

TEST(XmlPropertyListTest, LastOfEqualKeysCounts) {
  expectXml("<dict><key>a</key><string>1</string><key>b</key><true/><key>a</key><string>2</string></dict>",
            PropertyListValue(Dictionary{{"a", "2"}, {"b", PropertyListValue(true)}}));
}

TEST(XmlPropertyListTest, ManyEqualKeysCountOnce) {
  std::string text;
  for (int number = 0; number < 2000; ++number) {
    text += "<key>k" + std::to_string(number % 700) + "</key><integer>" + std::to_string(number) + "</integer>";
  }
  const std::optional<PropertyListValue> value = platform::parsePropertyList("<dict>" + text + "</dict>");
  ASSERT_TRUE(value && value->asDictionary() != nullptr);
  EXPECT_EQ(value->asDictionary()->size(), 700U);
  EXPECT_EQ(value->asDictionary()->at("k0"), PropertyListValue::integer(1400));
  EXPECT_EQ(value->asDictionary()->at("k699"), PropertyListValue::integer(1399));
}

TEST(XmlPropertyListTest, KeysAndValuesTakeTurns) {
  expectXmlRefused("<dict><key>a</key></dict>");
  expectXmlRefused("<dict><true/></dict>");
  expectXmlRefused("<dict><string>a</string><true/></dict>");
  expectXmlRefused("<dict><key>a</key><key>b</key><true/></dict>");
  expectXmlRefused("<dict><key>a</key><key>b</key><key>c</key><true/></dict>");
  expectXmlRefused("<dict><key>a</key><true/><false/></dict>");
  expectXmlRefused("<dict><key>a</key><true/><key>b</key></dict>");
  expectXmlRefused("<array><key>a</key></array>");
  expectXmlRefused("<key>a</key>");
}

TEST(XmlPropertyListTest, CollectionsMustBeClosedInOrder) {
  expectXmlRefused("<array>");
  expectXmlRefused("<array></dict>");
  expectXmlRefused("<dict></array>");
  expectXmlRefused("<array><dict></array></dict>");
  expectXmlRefused("</array>");
  expectXmlRefused("<array>text</array>");
  expectXmlRefused("<array></arrayx>");
  expectRefused("<array><string>a</string>");
}

TEST(XmlPropertyListTest, UidStaysADictionary) {
  expectXml("<dict><key>CF$UID</key><integer>5</integer></dict>",
            PropertyListValue(Dictionary{{"CF$UID", PropertyListValue::integer(5)}}));
}

TEST(XmlPropertyListTest, NestingEndsAtTheDeepestLevel) {
  PropertyListValue deepest{Array()};
  for (int level = 1; level < 512; ++level) deepest = PropertyListValue(Array{deepest});
  expectXml(repeated("<array>", 512) + repeated("</array>", 512), deepest);
  expectXml(repeated("<array>", 511) + "<array/>" + repeated("</array>", 511), deepest);
  expectXmlRefused(repeated("<array>", 513) + repeated("</array>", 513));
  expectXmlRefused(repeated("<array>", 512) + "<dict/>" + repeated("</array>", 512));
  expectXmlRefused(repeated("<dict><key>a</key>", 513) + "<true/>" + repeated("</dict>", 513));
  expectRefused(repeated("<array>", 1'000'000));
}

TEST(XmlPropertyListTest, ManyCollectionsSideBySideAreRead) {
  const std::optional<PropertyListValue> value =
      platform::parsePropertyList("<array>" + repeated("<array></array><dict/>", 1000) + "</array>");
  ASSERT_TRUE(value && value->asArray() != nullptr);
  EXPECT_EQ(value->asArray()->size(), 2000U);
}

// ----- XML: strings -----

TEST(XmlPropertyListTest, StringsMayBeEmpty) {
  expectXml("<string/>", "");
  expectXml("<string></string>", "");
  expectXml("<string><![CDATA[]]></string>", "");
  expectXml("<dict><key/><string/></dict>", PropertyListValue(Dictionary{{"", ""}}));
  expectXml("<dict><key></key><true/></dict>", PropertyListValue(Dictionary{{"", PropertyListValue(true)}}));
}

TEST(XmlPropertyListTest, WhiteSpaceInStringsIsKept) {
  expectXml("<string> a\t\n\r\nb </string>", " a\t\n\r\nb ");
  expectXml("<string>\n</string>", "\n");
  expectXml("<dict><key> k </key><true/></dict>", PropertyListValue(Dictionary{{" k ", PropertyListValue(true)}}));
}

TEST(XmlPropertyListTest, EntitiesAreDecoded) {
  expectXml("<string>&lt;&gt;&amp;&quot;&apos;&#65;&#x41;&#xe9;&#x20AC;&#8364;</string>", "<>&\"'AA\u00E9\u20AC\u20AC");
  expectXml("<string>&amp;lt;</string>", "&lt;");
  expectXml("<string>&amp;</string>", "&");
  expectXml("<string>a&#10;&#x0000041;b</string>", "a\nAb");
  expectXml("<string>&#xFFFF;&#xE000;&#xD7FF;</string>", "\uFFFF\uE000\uD7FF");
  expectXml("<dict><key>a&amp;b</key><true/></dict>", PropertyListValue(Dictionary{{"a&b", PropertyListValue(true)}}));
}

TEST(XmlPropertyListTest, OtherEntitiesAreRefused) {
  for (const char* text :
       {"&nbsp;", "&", "&amp", "& b;", "&;", "&#;", "&#x;", "&#65", "&#6a;", "&#xg;", "&#-1;", "&LT;", "&ampx;", "&#0;",
        "&#xD83D;&#xDE00;", "&#x1F600;", "&#65536;", "&#99999999999999999999;"}) {
    expectXmlRefused("<string>" + std::string(text) + "</string>");
    expectXmlRefused("<dict><key>" + std::string(text) + "</key><true/></dict>");
  }
}

TEST(XmlPropertyListTest, ManyEntitiesAreDecoded) {
  constexpr size_t kCount = 200'000;
  expectXml("<string>" + repeated("&lt;", kCount) + "</string>", PropertyListValue(std::string(kCount, '<')));
}

TEST(XmlPropertyListTest, CdataIsText) {
  expectXml("<string><![CDATA[<a> & &lt; ]] >]]></string>", "<a> & &lt; ]] >");
  expectXml("<string>a<![CDATA[<]]>b<![CDATA[>]]>&amp;<![CDATA[&]]></string>", "a<b>&&");
  expectXml("<dict><key>a<![CDATA[&]]>b</key><true/></dict>",
            PropertyListValue(Dictionary{{"a&b", PropertyListValue(true)}}));
  expectXmlRefused("<string><![CDATA[a</string>");
  expectXmlRefused("<string><![cdata[a]]></string>");
}

TEST(XmlPropertyListTest, EndOfCdataInTextIsKept) {
  expectXml("<string>a]]>b</string>", "a]]>b");
  expectXml("<string>]]]]>]]&gt;]]><![CDATA[]]]]>&gt;]]</string>", "]]]]>]]>]]>]]>]]");
}

TEST(XmlPropertyListTest, ControlCharactersInStringsAreKept) {
  expectXml("<string>\x01\x1F\x7F\u0085</string>", "\x01\x1F\x7F\u0085");
}

TEST(XmlPropertyListTest, NulIsRefused) {  // libplist's strings end there
  expectXmlRefused(std::string("<string>a\0b</string>", 20));
}

TEST(XmlPropertyListTest, OtherMarkupInStringsIsRefused) {
  expectXmlRefused("<string>a<true/>b</string>");
  expectXmlRefused("<string>a<b>c</b></string>");
  expectXmlRefused("<string>a<!-- c --></string>");
  expectXmlRefused("<string>a</key>");
  expectXmlRefused("<string>a</stringx>");
  expectXmlRefused("<string>a");
}

// ----- XML: other scalars -----

TEST(XmlPropertyListTest, BooleansHaveTwoForms) {
  expectXml("<true/>", PropertyListValue(true));
  expectXml("<false/>", PropertyListValue(false));
  expectXml("<true></true>", PropertyListValue(true));
  expectXml("<false ></false >", PropertyListValue(false));
  expectXmlRefused("<true>1</true>");
  expectXmlRefused("<true></false>");
  expectXmlRefused("<true>");
}

TEST(XmlPropertyListTest, IntegersAreDecimalOrHexadecimal) {
  expectXml("<integer>42</integer>", PropertyListValue::integer(42));
  expectXml("<integer>-42</integer>", PropertyListValue::integer(-42));
  expectXml("<integer>+42</integer>", PropertyListValue::integer(42));
  expectXml("<integer> \n\t42</integer>", PropertyListValue::integer(42));
  expectXml("<integer>- 42</integer>", PropertyListValue::integer(-42));
  expectXml("<integer>0x1Fa</integer>", PropertyListValue::integer(0x1FA));
  expectXml("<integer>-0X10</integer>", PropertyListValue::integer(-16));
  expectXml("<integer>-0</integer>", PropertyListValue::integer(0));
}

TEST(XmlPropertyListTest, LeadingZeroDoesNotMakeAnIntegerOctal) {
  expectXml("<integer>010</integer>", PropertyListValue::integer(10));
  expectXml("<integer>-0099</integer>", PropertyListValue::integer(-99));
  expectXml("<integer>000</integer>", PropertyListValue::integer(0));
  expectXml("<integer>00000000000000000000000000000000000007</integer>", PropertyListValue::integer(7));
}

TEST(XmlPropertyListTest, IntegersReachTheEndsOfBothTypes) {
  expectXml("<integer>-1</integer>", PropertyListValue::integer(-1));
  expectXml("<integer>9223372036854775807</integer>", unsignedInteger(kMost >> 1));
  expectXml("<integer>9223372036854775808</integer>", unsignedInteger(std::uint64_t{1} << 63));
  expectXml("<integer>18446744073709551615</integer>", unsignedInteger(kMost));
  expectXml("<integer>0xFFFFFFFFFFFFFFFF</integer>", unsignedInteger(kMost));
  expectXml("<integer>-9223372036854775808</integer>", PropertyListValue::integer(kLeast));
  expectXml("<integer>-9223372036854775807</integer>", PropertyListValue::integer(kLeast + 1));
}

TEST(XmlPropertyListTest, IntegersBeyond64BitsAreRefused) {
  for (const char* text : {"18446744073709551616", "99999999999999999999", "0x10000000000000000",
                           "-9223372036854775809", "-18446744073709551615"}) {
    expectXmlRefused("<integer>" + std::string(text) + "</integer>");
  }
}

TEST(XmlPropertyListTest, OtherIntegersAreRefused) {
  for (const char* text : {"", " ", "-", "+", "--1", "+-1", "1.5", "1e3", "12a", "ff", "0x", "0xg", "x1", "1 2", "1 ",
                           "a", "<!--c-->1", "&#49;", "<![CDATA[1]]>"}) {
    expectXmlRefused("<integer>" + std::string(text) + "</integer>");
  }
  expectXmlRefused("<integer/>");
}

TEST(XmlPropertyListTest, RealsAreDecimal) {
  expectXml("<real>1.5</real>", PropertyListValue(1.5));
  expectXml("<real>-1.5e3</real>", PropertyListValue(-1500.0));
  expectXml("<real>+0.1</real>", PropertyListValue(0.1));
  expectXml("<real>.5</real>", PropertyListValue(0.5));
  expectXml("<real>5.</real>", PropertyListValue(5.0));
  expectXml("<real>1E-2</real>", PropertyListValue(0.01));
  expectXml("<real>\n 7</real>", PropertyListValue(7.0));
  expectXml("<real>0.10000000000000001</real>", PropertyListValue(0.1));
  expectXml("<real>1.7976931348623157e+308</real>", PropertyListValue(std::numeric_limits<double>::max()));
}

TEST(XmlPropertyListTest, SpecialRealsHaveNames) {
  for (const char* text : {"inf", "+inf", "INF", "infinity", "+Infinity", "+INFINITY"}) {
    expectXml("<real>" + std::string(text) + "</real>", PropertyListValue(kInfinity));
  }
  for (const char* text : {"-inf", "-INFINITY"}) {
    expectXml("<real>" + std::string(text) + "</real>", PropertyListValue(-kInfinity));
  }
  for (const char* text : {"nan", "NaN", "-nan", "+NAN"}) {
    const std::optional<PropertyListValue> value =
        platform::parsePropertyList(inPlist("<real>" + std::string(text) + "</real>"));
    ASSERT_TRUE(value && value->asReal() != nullptr) << text;
    EXPECT_TRUE(std::isnan(*value->asReal())) << text;
  }
}

TEST(XmlPropertyListTest, OtherRealsAreRefused) {
  for (const char* text : {"", " ", "a", "-", ".", "1e", "1e+", "1.5x", "1,5", "0x10", "1.5 ", "1 5", "infinit",
                           "nan(1)", "--1", "<!--c-->1", "&#49;"}) {
    expectXmlRefused("<real>" + std::string(text) + "</real>");
  }
  expectXmlRefused("<real/>");
}

TEST(XmlPropertyListTest, DatesAreUtcSeconds) {
  expectXml("<date>2001-01-01T00:00:00Z</date>", PropertyListValue(Date{0}));
  expectXml("<date>2001-01-01T00:00:01Z</date>", PropertyListValue(Date{1}));
  expectXml("<date>2000-12-31T23:59:59Z</date>", PropertyListValue(Date{-1}));
  expectXml("<date>1970-01-01T00:00:00Z</date>", PropertyListValue(Date{-978307200}));
  expectXml("<date>1601-01-01T00:00:00Z</date>", PropertyListValue(Date{-12622780800}));
  expectXml("<date>2038-01-19T03:14:08Z</date>", PropertyListValue(Date{1169176448}));
  expectXml("<date>2069-01-19T03:14:08Z</date>", PropertyListValue(Date{2147483648}));
  expectXml("<date>2100-03-01T00:00:00Z</date>", PropertyListValue(Date{3129235200}));
  expectXml("<date>9999-12-31T23:59:59Z</date>", PropertyListValue(Date{252423993599}));
  expectXml("<date>0001-01-01T00:00:00Z</date>", PropertyListValue(Date{-63113904000}));
  expectXml("<date>0000-01-01T00:00:00Z</date>", PropertyListValue(Date{-63145526400}));
}

TEST(XmlPropertyListTest, OtherDatesAreRefused) {
  for (const char* text : {"",
                           "2001-01-01",
                           "2001-01-01T00:00:00",
                           "2001-01-01T00:00:00z",
                           "2001-01-01 00:00:00Z",
                           "01-01-01T00:00:00Z",
                           "2001-00-01T00:00:00Z",
                           "2001-13-01T00:00:00Z",
                           "2001-01-00T00:00:00Z",
                           "2001-01-32T00:00:00Z",
                           "2001-01-01T24:00:00Z",
                           "2001-01-01T00:60:00Z",
                           "2001-01-01T00:00:61Z",
                           "2001-1-1T0:0:0Z",
                           "today",
                           "2001-01-01T00:00:00.5Z",
                           "2001-01-01T00:00:00+01:00",
                           "200a-01-01T00:00:00Z",
                           "2001-01-01T00:00:00Z ",
                           " 2001-01-01T00:00:00Z",
                           "2001-01-01T<!--c-->00:00:00Z",
                           "2001-01-01T00:00:00<![CDATA[Z]]>"}) {
    expectXmlRefused("<date>" + std::string(text) + "</date>");
  }
  expectXmlRefused("<date/>");
}

TEST(XmlPropertyListTest, DatesBeyondFourDigitsAreRefused) {  // libplist knows no others
  expectXmlRefused("<date>10000-01-01T00:00:00Z</date>");
  expectXmlRefused("<date>-001-12-31T23:59:59Z</date>");
}

TEST(XmlPropertyListTest, DataIsBase64) {
  expectXml("<data>QUJD</data>", PropertyListValue(Data{"ABC"}));
  expectXml("<data>QUI=</data>", PropertyListValue(Data{"AB"}));
  expectXml("<data>QQ==</data>", PropertyListValue(Data{"A"}));
  expectXml("<data>AP/++w==</data>", PropertyListValue(Data{std::string("\0\xFF\xFE\xFB", 4)}));
  expectXml("<data></data>", PropertyListValue(Data()));
  expectXml("<data>\n\t</data>", PropertyListValue(Data()));
}

TEST(XmlPropertyListTest, CharactersOutsideBase64AreIgnored) {
  expectXml("<data>\n\tQU\r\n\tJD\n</data>", PropertyListValue(Data{"ABC"}));
  expectXml("<data>!Q-U_J*D\u00E9.</data>", PropertyListValue(Data{"ABC"}));
}

TEST(XmlPropertyListTest, OtherDataIsRefused) {
  expectXmlRefused("<data/>");
  expectXmlRefused("<data>QU<!-- c -->JD</data>");
  expectXmlRefused("<data><![CDATA[QUJD]]></data>");
  expectXmlRefused("<data>QUJD");
}

// ----- Round trips -----

TEST(PropertyListRoundTripTest, EveryScalarComesBackAsItWas) {
  Array values;
  for (const char* text :
       {"", "a", " \t\r\n", "<&>\"'", "]]>", "]]]]>>", "\u00E9\u20AC\U0001F600", "\x01\x7F", "&amp;"}) {
    values.emplace_back(text);
  }
  values.emplace_back(true);
  values.emplace_back(false);
  for (const std::int64_t number : {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, kLeast, kLeast + 1,
                                    std::numeric_limits<std::int64_t>::max()}) {
    values.push_back(PropertyListValue::integer(number));
  }
  values.push_back(unsignedInteger(kMost));
  values.push_back(unsignedInteger(std::uint64_t{1} << 63));
  for (const double number : {0.0, 1.0, -1.0, 0.1, 1.0 / 3, 1e100, -1e-100, std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min(), kInfinity,
                              -kInfinity, 9007199254740993.0}) {
    values.emplace_back(number);
  }
  for (const PropertyListValue& value : values) {
    const OptionalString text = platform::xmlPropertyList(value);
    ASSERT_TRUE(text);
    expectRead(*text, value);
  }
  const OptionalString text = platform::xmlPropertyList(PropertyListValue(values));
  ASSERT_TRUE(text);
  expectRead(*text, PropertyListValue(values));
}

TEST(PropertyListRoundTripTest, DatesOfAllYearsOfFourDigitsComeBack) {
  for (const char* text :
       {"0000-01-01T00:00:00Z", "0001-01-01T00:00:00Z", "0400-02-29T12:00:00Z", "1582-10-04T23:59:59Z",
        "1601-01-01T00:00:00Z", "1899-12-31T23:59:59Z", "1900-02-28T00:00:00Z", "1900-03-01T00:00:00Z",
        "1970-01-01T00:00:00Z", "2000-02-29T00:00:00Z", "2001-01-01T00:00:00Z", "2038-01-19T03:14:08Z",
        "2100-02-28T23:59:59Z", "2100-03-01T00:00:00Z", "2400-02-29T00:00:00Z", "9999-12-31T23:59:59Z"}) {
    const std::string element = "<date>" + std::string(text) + "</date>\n";
    const std::optional<PropertyListValue> value = platform::parsePropertyList(element);
    ASSERT_TRUE(value) << text;
    ASSERT_NE(value->asDate(), nullptr) << text;
    const std::string written = platform::xmlPropertyList(*value).value_or("");
    EXPECT_NE(written.find("\n" + element), std::string::npos) << written;
  }
  constexpr std::int64_t kYear = 31556952;  // in the mean
  for (std::int64_t seconds = -2000 * kYear; seconds < 7998 * kYear; seconds += 3 * kYear + 12345) {
    const PropertyListValue date(Date{static_cast<double>(seconds)});
    expectRead(platform::xmlPropertyList(date).value_or(""), date);
  }
}

TEST(PropertyListRoundTripTest, DataOfAnySizeComesBackAtAnyLevel) {
  for (size_t level = 0; level <= 9; ++level) {
    const size_t line = (76 - 8 * std::min<size_t>(level, 8)) / 4 * 3;
    for (const size_t size :
         {size_t{0}, size_t{1}, size_t{2}, size_t{3}, line - 1, line, line + 1, 2 * line - 1, 2 * line, 2 * line + 1}) {
      Data data;
      for (size_t index = 0; index < size; ++index) data.bytes += static_cast<char>(index * 7 + level);
      PropertyListValue value(data);
      for (size_t outer = 0; outer < level; ++outer) value = PropertyListValue(Array{value});
      expectRead(platform::xmlPropertyList(value).value_or(""), value);
    }
  }
}

TEST(PropertyListRoundTripTest, TextThatWasWrittenIsWrittenAgainTheSame) {
  const OptionalString first = platform::xmlPropertyList(richList());
  ASSERT_TRUE(first);
  const std::optional<PropertyListValue> value = platform::parsePropertyList(*first);
  ASSERT_TRUE(value);
  EXPECT_EQ(platform::xmlPropertyList(*value), first);
}

TEST(PropertyListRoundTripTest, LargeCollectionsComeBack) {
  Array array;
  Dictionary dictionary;
  for (int number = 0; number < 3000; ++number) {
    array.push_back(PropertyListValue::integer(number - 1500));
    dictionary.emplace("key " + std::to_string(number), PropertyListValue::integer(number));
  }
  for (const PropertyListValue& value : {PropertyListValue(array), PropertyListValue(dictionary)}) {
    expectRead(platform::xmlPropertyList(value).value_or(""), value);
  }
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
    ASSERT_STREQ(localeconv()->decimal_point, ",");
  }
  void TearDown() override {
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
  }

  TemporaryFolder folder;
};

TEST_F(PropertyListLocaleTest, DecimalCommaChangesNothing) {
  expectXml("<real>1.5</real>", PropertyListValue(1.5));
  expectXmlRefused("<real>1,5</real>");
  const OptionalString text = platform::xmlPropertyList(PropertyListValue(1234567.5));
  ASSERT_TRUE(text);
  EXPECT_NE(text->find("<real>1234567.5</real>"), std::string::npos) << *text;
  expectXml("<date>2001-01-01T00:00:00Z</date>", PropertyListValue(Date{0}));
  EXPECT_STREQ(localeconv()->decimal_point, ",") << "the thread's locale was not put back";
}

// ----- Binary: objects -----

TEST(BinaryPropertyListTest, EmptyDictionaryOf42Bytes) {
  const std::string list = binaryOf("\xD0");
  ASSERT_EQ(list.size(), 42U);
  expectRead(list, PropertyListValue(Dictionary()));
}

TEST(BinaryPropertyListTest, EveryKindIsRead) { expectRead(richBinaryList(), richList()); }

TEST(BinaryPropertyListTest, BooleansAreRead) {
  expectBinary("\x08", PropertyListValue(false));
  expectBinary("\x09", PropertyListValue(true));
}

TEST(BinaryPropertyListTest, IntegersOfEachSizeAreRead) {
  expectBinary("\x10\xFF", PropertyListValue::integer(255));
  expectBinary("\x11\xFF\xFE", PropertyListValue::integer(0xFFFE));
  expectBinary("\x12\xFF\xFF\xFF\xFE", PropertyListValue::integer(0xFFFFFFFE));
  expectBinary("\x13" + bigEndian(kMost, 8), PropertyListValue::integer(-1));
  expectBinary("\x13" + bigEndian(std::uint64_t{1} << 63, 8), PropertyListValue::integer(kLeast));
  expectBinary("\x13" + bigEndian(kMost >> 1, 8), unsignedInteger(kMost >> 1));
  expectBinary("\x14" + bigEndian(kMost, 16), unsignedInteger(kMost));
  expectBinary("\x14" + bigEndian(std::uint64_t{1} << 63, 16), unsignedInteger(std::uint64_t{1} << 63));
  expectBinary("\x14" + bigEndian(7, 16), unsignedInteger(7));
}

TEST(BinaryPropertyListTest, IntegersBeyond64BitsAreRefused) {
  expectBinaryUnsafe("\x14" + bigEndian(1, 8) + bigEndian(0, 8));
  expectBinaryUnsafe("\x14" + bigEndian(kMost, 8) + bigEndian(kMost, 8));
  expectBinaryUnsafe("\x15" + std::string(32, '\0'));
  expectBinaryUnsafe("\x1F" + std::string(32, '\0'));
}

TEST(BinaryPropertyListTest, RealsOfEachSizeAreRead) {
  expectBinary(std::string("\x22\x3F\xC0\x00\x00", 5), PropertyListValue(1.5));
  expectBinary("\x23" + bigEndian(0.1), PropertyListValue(0.1));
  expectBinary("\x23" + bigEndian(-kInfinity), PropertyListValue(-kInfinity));
  for (const unsigned kind : {0x20U, 0x21U, 0x24U, 0x2FU}) expectBinaryUnsafe(byte(kind) + std::string(32, '\0'));
}

TEST(BinaryPropertyListTest, DatesKeepFractionsAndAllYears) {
  for (const double seconds :
       {0.0, 1.0, 0.1, -0.25, 1234567.0000001, 2147483648.0, -12622780800.0, 252423993600.0, 1e15, -1e15, 1e300}) {
    expectBinary("\x33" + bigEndian(seconds), PropertyListValue(Date{seconds}));
  }
  for (const unsigned kind : {0x30U, 0x32U, 0x34U, 0x3FU}) expectBinaryUnsafe(byte(kind) + std::string(32, '\0'));
}

TEST(BinaryPropertyListTest, DataIsRead) {
  expectBinary("\x40", PropertyListValue(Data()));
  expectBinary(std::string("\x42\x00\xFF", 3), PropertyListValue(Data{std::string("\x00\xFF", 2)}));
  expectBinary(
      "\x4F\x10\x03"
      "abc",
      PropertyListValue(Data{"abc"}));
}

TEST(BinaryPropertyListTest, CountsOfEachSizeAreRead) {
  const std::string text(300, 'x');
  BinaryList list;
  list.offsetSize = 2;
  for (const size_t size : {2U, 4U, 8U}) {
    list.objects = {byte(0x5F) + byte(size == 2 ? 0x11 : size == 4 ? 0x12 : 0x13) + bigEndian(300, size) + text};
    expectRead(list.bytes(), PropertyListValue(text));
  }
  expectBinary("\x5F\x10\x0F" + text.substr(0, 15), PropertyListValue(text.substr(0, 15)));
  expectBinary("\x5F\x10\x01x", "x");
}

TEST(BinaryPropertyListTest, StringsAreRead) {
  expectBinary("\x50", "");
  expectBinary(BinaryList::ascii("a\x01~"), "a\x01~");
  expectBinary(BinaryList::utf16(u"\u00E9\u20AC\U0001F600\uFFFF"), "\u00E9\u20AC\U0001F600\uFFFF");
}

TEST(BinaryPropertyListTest, StringsThatWouldBeCutOrChangedAreRefused) {
  expectBinaryUnsafe(BinaryList::ascii("\u00E9"));
  expectBinaryUnsafe(BinaryList::ascii("a\x80"));
  expectBinaryUnsafe(BinaryList::ascii(std::string("a\0b", 3)));
  expectBinaryUnsafe(BinaryList::utf16(std::u16string(u"a\0b", 3)));
  expectBinaryUnsafe(BinaryList::utf16({0xD83D}));
  expectBinaryUnsafe(BinaryList::utf16({0xDE00}));
  expectBinaryUnsafe(BinaryList::utf16({0xDE00, 0xD83D}));
  expectBinaryUnsafe(BinaryList::utf16({0xD83D, u'a'}));
  expectBinaryUnsafe(BinaryList::utf16({0xD83D, 0xD83D, 0xDE00}));
  expectBinaryUnsafe("\x60");
}

TEST(BinaryPropertyListTest, UidIsADictionary) {
  const auto uid = [](std::uint64_t number) {
    return PropertyListValue(Dictionary{{"CF$UID", PropertyListValue(Integer{number, false})}});
  };
  expectBinary("\x80\x05", uid(5));
  expectBinary(std::string("\x81\x01\x00", 3), uid(256));
  expectBinary("\x83\xFF\xFF\xFF\xFF", uid(0xFFFFFFFF));
  expectBinary("\x87" + bigEndian(7, 8), uid(7));
  expectBinary("\x8F" + bigEndian(7, 16), uid(7));
  expectBinaryUnsafe("\x87" + bigEndian(std::uint64_t{1} << 32, 8));
}

TEST(BinaryPropertyListTest, OtherKindsAreRefused) {
  for (unsigned kind = 0; kind < 0x100; ++kind) {
    const bool isKnown = kind == 0x08 || kind == 0x09 || (kind >= 0x10 && kind <= 0x14) || kind == 0x22 ||
                         kind == 0x23 || kind == 0x33 || (kind >> 4 >= 0x4 && kind >> 4 <= 0x6) || kind >> 4 == 0x8 ||
                         kind >> 4 == 0xA || kind >> 4 == 0xD;
    if (!isKnown) expectBinaryUnsafe(byte(kind) + std::string(64, '\x08'));
  }
}

// ----- Binary: the frame -----

TEST(BinaryPropertyListTest, LastCharacterOfTheMarkDoesNotCount) {
  BinaryList list({BinaryList::ascii("a")});
  for (const char* mark : {"bplist00", "bplist01", "bplist0\xFF", "bplist0?"}) {
    list.mark = mark;
    expectRead(list.bytes(), "a");
  }
  for (const char* mark : {"bplist10", "bplist15", "Bplist00", "cplist00"}) {
    list.mark = mark;
    expectRefused(list.bytes());
  }
}

TEST(BinaryPropertyListTest, OffsetsAndReferencesMayBeOfAnySize) {
  for (unsigned offsetSize = 1; offsetSize <= 8; ++offsetSize) {
    for (unsigned referenceSize = 1; referenceSize <= 8; ++referenceSize) {
      BinaryList list;
      list.offsetSize = offsetSize;
      list.referenceSize = referenceSize;
      list.objects = {"", BinaryList::ascii("k"), list.array({3, 4}), "\x09", BinaryList::ascii("v")};
      list.objects[0] = list.dictionary({1}, {2});
      expectRead(list.bytes(),
                 PropertyListValue(Dictionary{{"k", PropertyListValue(Array{PropertyListValue(true), "v"})}}));
    }
  }
}

TEST(BinaryPropertyListTest, RootMayBeAnyObject) {
  BinaryList list({BinaryList::ascii("a"), BinaryList::ascii("b")});
  expectRead(list.bytes(), "a");
  list.root = 1;
  expectRead(list.bytes(), "b");
}

TEST(BinaryPropertyListTest, ObjectsThatNothingRefersToDoNotCount) {
  expectRead(BinaryList({BinaryList::ascii("a"), "\xFF", std::string(1, '\0')}).bytes(), "a");
}

TEST(BinaryPropertyListTest, ObjectInManyPlacesIsReadInEach) {
  BinaryList list({"", BinaryList::ascii("a")});
  list.objects[0] = list.array({1, 1, 1});
  expectRead(list.bytes(), PropertyListValue(Array{"a", "a", "a"}));
  list.objects[0] = list.dictionary({1}, {1});
  expectRead(list.bytes(), PropertyListValue(Dictionary{{"a", "a"}}));
}

TEST(BinaryPropertyListTest, LastOfEqualKeysCounts) {
  BinaryList list(
      {"", BinaryList::ascii("k"), BinaryList::ascii("a"), BinaryList::ascii("b"), BinaryList::utf16(u"k")});
  list.objects[0] = list.dictionary({1, 4}, {2, 3});
  expectRead(list.bytes(), PropertyListValue(Dictionary{{"k", "b"}}));
}

TEST(BinaryPropertyListTest, LargeCollectionsAreRead) {
  constexpr std::uint64_t kCount = 5000;
  BinaryList list;
  list.offsetSize = 4;
  list.referenceSize = 2;
  list.objects.resize(3);
  std::vector<std::uint64_t> keys;
  std::vector<std::uint64_t> values;
  Array array;
  Dictionary dictionary;
  for (std::uint64_t number = 0; number < kCount; ++number) {
    keys.push_back(list.objects.size());
    list.objects.push_back(BinaryList::ascii("key " + std::to_string(number)));
    values.push_back(list.objects.size());
    list.objects.push_back("\x12" + bigEndian(number, 4));
    array.push_back(unsignedInteger(number));
    dictionary.emplace("key " + std::to_string(number), unsignedInteger(number));
  }
  list.objects[0] = list.array({1, 2});
  list.objects[1] = list.array(values);
  list.objects[2] = list.dictionary(keys, values);
  expectRead(list.bytes(), PropertyListValue(Array{PropertyListValue(array), PropertyListValue(dictionary)}));
}

// ----- Binary: hostile -----

/// A list with the bytes at \a position, counted from its end, replaced.
std::string withTail(std::string bytes, size_t position, const std::string& replacement) {
  return bytes.replace(bytes.size() - position, replacement.size(), replacement);
}

TEST(BinaryPropertyListTest, TrailerThatDoesNotFitMakesNoBinaryList) {
  const std::string list = richBinaryList();
  ASSERT_TRUE(platform::isBinaryPropertyList(list));
  constexpr size_t count = 11;
  const size_t table = list.size() - 32 - count;
  const std::vector<std::string> wrong = {
      withTail(list, 26, byte(0)),  // size of an offset
      withTail(list, 26, byte(2)),
      withTail(list, 26, byte(9)),
      withTail(list, 26, byte(255)),
      withTail(list, 25, byte(0)),  // size of a reference
      withTail(list, 25, byte(9)),
      withTail(list, 25, byte(255)),
      withTail(list, 24, bigEndian(0, 8)),  // number of objects
      withTail(list, 24, bigEndian(count - 1, 8)),
      withTail(list, 24, bigEndian(count + 1, 8)),
      withTail(list, 24, bigEndian(kMost, 8)),
      withTail(list, 24, bigEndian(std::uint64_t{1} << 32 | count, 8)),
      withTail(list, 16, bigEndian(count, 8)),  // root
      withTail(list, 16, bigEndian(kMost, 8)),
      withTail(list, 8, bigEndian(0, 8)),  // where the table lies
      withTail(list, 8, bigEndian(8, 8)),
      withTail(list, 8, bigEndian(table - 1, 8)),
      withTail(list, 8, bigEndian(table + 1, 8)),
      withTail(list, 8, bigEndian(list.size() - 32, 8)),
      withTail(list, 8, bigEndian(list.size(), 8)),
      withTail(list, 8, bigEndian(kMost, 8)),
      withTail(list, 33, byte(7)),  // the last offset
      withTail(list, 33, byte(static_cast<unsigned>(table))),
      withTail(list, 33, byte(255)),
      list + "x",
      list.substr(0, table) + "x" + list.substr(table),
  };
  for (size_t index = 0; index < wrong.size(); ++index) {
    EXPECT_FALSE(platform::isBinaryPropertyList(wrong[index])) << index;
    EXPECT_FALSE(platform::isSafeBinaryPropertyList(wrong[index])) << index;
    EXPECT_FALSE(platform::parsePropertyList(wrong[index])) << index;
  }
}

TEST(BinaryPropertyListTest, NumberOfObjectsThatOverflowsMakesNoBinaryList) {
  BinaryList list({"\x09"});
  list.offsetSize = 8;
  list.referenceSize = 8;
  expectRead(list.bytes(), PropertyListValue(true));
  const std::string wrong = withTail(list.bytes(), 24, bigEndian((std::uint64_t{1} << 61) + 1, 8));
  EXPECT_FALSE(platform::isBinaryPropertyList(wrong));  // 8 * 2^61 is 0 in 64 bits
}

TEST(BinaryPropertyListTest, NumbersThatCannotHoldWhatTheyCountMakeNoBinaryList) {
  BinaryList references;  // 256 objects, references of one byte
  references.offsetSize = 2;
  references.objects.assign(256, "\x09");
  EXPECT_FALSE(platform::isBinaryPropertyList(references.bytes()));
  references.objects.pop_back();
  EXPECT_TRUE(platform::isBinaryPropertyList(references.bytes()));

  BinaryList offsets({BinaryList::ascii(std::string(236, 'x'))});  // 10 bytes of header; table at 254, 255, 256
  EXPECT_TRUE(platform::isBinaryPropertyList(offsets.bytes()));
  offsets.objects[0] += "x";
  EXPECT_TRUE(platform::isBinaryPropertyList(offsets.bytes()));
  offsets.objects[0] += "x";
  EXPECT_FALSE(platform::isBinaryPropertyList(offsets.bytes()));
}

TEST(BinaryPropertyListTest, ContentBeyondTheObjectsIsRefused) {
  for (const std::string& object : {std::string("\x10"),
                                    std::string("\x13\x01"),
                                    std::string("\x14" + std::string(15, '\0')),
                                    std::string("\x22"),
                                    std::string("\x23" + std::string(7, '\0')),
                                    std::string("\x33" + std::string(7, '\0')),
                                    std::string("\x41"),
                                    std::string("\x51"),
                                    std::string("\x61\x01"),
                                    std::string("\x80"),
                                    std::string("\x87\x01"),
                                    std::string("\xA1"),
                                    std::string("\xD1\x01"),
                                    std::string("\x4F"),
                                    std::string("\x5F\x10"),
                                    std::string("\x4F\x10"),
                                    std::string("\x4F\x13"),
                                    std::string("\x5F\x10\x01"),
                                    std::string("\x6F\x10\x01x"),
                                    std::string("\xAF\x13"),
                                    std::string("\x5F\x14" + bigEndian(1, 16) + "x"),
                                    std::string("\x5F\x50\x01x"),
                                    std::string("\x5F\x09\x01x"),
                                    "\x4F\x13" + bigEndian(kMost, 8),
                                    "\x5F\x13" + bigEndian(kMost, 8),
                                    "\x6F\x13" + bigEndian(kMost, 8),
                                    "\x6F\x13" + bigEndian(kMost / 2 + 1, 8),
                                    "\xAF\x13" + bigEndian(kMost, 8),
                                    "\xDF\x13" + bigEndian(kMost, 8),
                                    "\xDF\x13" + bigEndian(kMost / 2 + 1, 8),
                                    "\xAF\x13" + bigEndian(std::uint64_t{1} << 32, 8)}) {
    expectBinaryUnsafe(object);
  }
}

TEST(BinaryPropertyListTest, ReferencesToNoObjectAreRefused) {
  BinaryList list({"", BinaryList::ascii("a")});
  for (const std::string& root :
       {list.array({2}), list.array({1, 255}), list.dictionary({2}, {1}), list.dictionary({1}, {2})}) {
    list.objects[0] = root;
    expectUnsafe(list.bytes());
  }
}

TEST(BinaryPropertyListTest, KeysThatAreNoStringsAreRefused) {
  for (const std::string& key :
       {std::string("\x09"), std::string("\x10\x01"), std::string("\x41x"), std::string("\xA0"), std::string("\xD0"),
        std::string("\x80\x01"), std::string(1, '\0')}) {
    BinaryList list({"", key, "\x09"});
    list.objects[0] = list.dictionary({1}, {2});
    expectUnsafe(list.bytes());
  }
}

TEST(BinaryPropertyListTest, ListThatHoldsItselfIsRefused) {
  BinaryList list({""});
  list.objects[0] = list.array({0});
  expectUnsafe(list.bytes());

  list.objects = {list.array({1}), list.array({2}), list.array({1})};
  expectUnsafe(list.bytes());

  list.objects = {list.dictionary({1}, {0}), BinaryList::ascii("k")};
  expectUnsafe(list.bytes());

  list.objects = {list.array({1, 2}), list.array({2}), list.array({3}), list.array({1})};
  expectUnsafe(list.bytes());
}

TEST(BinaryPropertyListTest, ListThatUnfoldsWithoutEndIsRefused) {
  BinaryList list;
  list.offsetSize = 2;
  for (std::uint64_t number = 0; number < 50; ++number) list.objects.push_back(list.array({number + 1, number + 1}));
  list.objects.push_back("\x09");
  expectUnsafe(list.bytes());

  BinaryList dictionaries;
  dictionaries.offsetSize = 2;
  for (std::uint64_t number = 0; number < 50; ++number) {
    dictionaries.objects.push_back(dictionaries.dictionary({51, 52}, {number + 1, number + 1}));
  }
  dictionaries.objects.insert(dictionaries.objects.end(), {"\x09", BinaryList::ascii("a"), BinaryList::ascii("b")});
  expectUnsafe(dictionaries.bytes());
}

TEST(BinaryPropertyListTest, ListMayUnfoldToFourMillionValues) {
  // 1 + 2000 * (1 + 1998) + 1999 values
  BinaryList list({"", "", "\x09"});
  std::vector<std::uint64_t> elements(2000, 1);
  elements.insert(elements.end(), 1999, 2);
  list.objects[0] = list.array(elements);
  list.objects[1] = list.array(std::vector<std::uint64_t>(1998, 2));
  list.offsetSize = 2;
  EXPECT_TRUE(platform::isSafeBinaryPropertyList(list.bytes()));
  elements.push_back(2);
  list.objects[0] = list.array(elements);
  EXPECT_TRUE(platform::isBinaryPropertyList(list.bytes()));
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(list.bytes()));
  EXPECT_FALSE(platform::parsePropertyList(list.bytes()));
}

TEST(BinaryPropertyListTest, RepeatedStringsUnfoldToLimitedBytes) {
  BinaryList list({"", BinaryList::ascii(std::string(1U << 20U, 'x'))});
  list.offsetSize = 4;
  list.objects[0] = list.array(std::vector<std::uint64_t>(65, 1));  // 1 MiB that the list has, and 64 MiB more
  EXPECT_TRUE(platform::isSafeBinaryPropertyList(list.bytes()));
  list.objects[0] = list.array(std::vector<std::uint64_t>(66, 1));
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(list.bytes()));

  list.objects.push_back("\x09");
  list.objects[0] = list.dictionary(std::vector<std::uint64_t>(65, 1), std::vector<std::uint64_t>(65, 2));
  EXPECT_TRUE(platform::isSafeBinaryPropertyList(list.bytes()));
  list.objects[0] = list.dictionary(std::vector<std::uint64_t>(66, 1), std::vector<std::uint64_t>(66, 2));
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(list.bytes()));
}

TEST(BinaryPropertyListTest, ManyObjectsInTheSameBytesAreRefused) {
  // 100,000 arrays, all of them the same 100,000 references.
  constexpr std::uint64_t kCount = 100'000;
  BinaryList list;
  list.offsetSize = 3;
  list.referenceSize = 3;
  std::vector<std::uint64_t> numbers;
  for (std::uint64_t number = 1; number <= kCount; ++number) numbers.push_back(number);
  const std::string root = list.array(numbers);
  const std::string shared = list.array(std::vector<std::uint64_t>(kCount, kCount + 1));
  std::string table = bigEndian(8, 3);
  for (std::uint64_t number = 0; number < kCount; ++number) table += bigEndian(8 + root.size(), 3);
  table += bigEndian(8 + root.size() + shared.size(), 3);
  const std::string bytes = list.withTrailer(list.mark + root + shared + "\x09", table, kCount + 2);
  EXPECT_TRUE(platform::isBinaryPropertyList(bytes));
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(bytes));
}

TEST(BinaryPropertyListTest, NestingEndsAtTheDeepestLevel) {
  const auto nested = [](std::uint64_t depth) {
    BinaryList list;
    list.offsetSize = 4;
    list.referenceSize = 2;
    for (std::uint64_t number = 1; number < depth; ++number) list.objects.push_back(list.array({number}));
    list.objects.push_back(list.array({}));
    return list.bytes();
  };
  PropertyListValue deepest{Array()};
  for (int level = 1; level < 512; ++level) deepest = PropertyListValue(Array{deepest});
  expectRead(nested(512), deepest);
  expectUnsafe(nested(513));
  expectUnsafe(nested(60'000));
}

TEST(BinaryPropertyListTest, DepthCountsAlongTheDeepestWay) {
  // Object 600 is met first near the root, where it is not too deep, and again at the end of a chain.
  const auto listWithChain = [](size_t length) {
    BinaryList list;
    list.offsetSize = 2;
    list.referenceSize = 2;
    list.objects.assign(602, "\x09");
    list.objects[0] = list.array({600, 1});
    for (size_t number = 1; number < length; ++number) list.objects[number] = list.array({number + 1});
    list.objects[length] = list.array({600});
    list.objects[600] = list.array({601});
    list.objects[601] = list.array({});
    return list.bytes();
  };
  EXPECT_TRUE(platform::isSafeBinaryPropertyList(listWithChain(509)));
  EXPECT_FALSE(platform::isSafeBinaryPropertyList(listWithChain(510)));
}

// ----- Damaged lists of every form -----

std::vector<std::string> samples() {
  return {
      richBinaryList(), platform::xmlPropertyList(richList()).value_or(""),
      "{ a = ( \"b\\U00e9\\101\", <0fbd> ); /* c */ 'd' = { e; }; }",
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!DOCTYPE plist [<!ENTITY a \"b\">]><!-- c --><plist><dict><key>a&#65;"
      "<![CDATA[b]]></key><real>-1.5e3</real></dict></plist>",
      "\xFE\xFF" + utf16BigEndian("<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\U0001F600</string>")};
}

/// Whatever is read can be written, and what was written is read as the same.
void expectConsistent(const std::string& bytes) {
  const std::optional<PropertyListValue> value = platform::parsePropertyList(bytes);
  if (!value) return;
  const OptionalString text = platform::xmlPropertyList(*value);
  ASSERT_TRUE(text) << bytes;
  const std::optional<PropertyListValue> readBack = platform::parsePropertyList(*text);
  if (!readBack) return;  // a date of more than four digits
  EXPECT_EQ(platform::xmlPropertyList(*readBack), text) << bytes;
}

TEST(DamagedPropertyListTest, ListCutAnywhereIsNoDictionary) {
  const size_t kEnds[] = {0, std::string("\n</plist>\n").size(), 0, std::string("</plist>").size(), 0};
  const std::vector<std::string> lists = samples();
  ASSERT_EQ(lists.size(), std::size(kEnds));
  for (size_t index = 0; index < lists.size(); ++index) {
    ASSERT_TRUE(platform::parsePropertyList(lists[index])) << lists[index];
    for (size_t size = 0; size < lists[index].size() - kEnds[index]; ++size) {
      const std::optional<PropertyListValue> value = platform::parsePropertyList(lists[index].substr(0, size));
      // "bplist00" alone is a bare string, and a byte order mark alone an empty file.
      const bool isOtherList = value && (value->asString() != nullptr || *value == PropertyListValue(Dictionary()));
      EXPECT_TRUE(!value || isOtherList) << lists[index].substr(0, size);
      EXPECT_TRUE(!isOtherList || size <= 8) << lists[index].substr(0, size);
    }
  }
}

TEST(DamagedPropertyListTest, ListWithAnyByteChangedIsReadConsistentlyOrRefused) {
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
