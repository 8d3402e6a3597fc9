#include <cstdint>
#include <limits>

#include "Support/PropertyListForms.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;

std::string byte(unsigned value) { return std::string(1, static_cast<char>(static_cast<unsigned char>(value))); }

std::string binaryOf(const std::string& object) { return BinaryList({object}).bytes(); }

/// Lists of one object each.
void expectObjects(const std::vector<ListRow>& rows) {
  for (const ListRow& row : rows) expectRows({{binaryOf(row.list), row.value}});
}

/// Expects that the bytes are a binary list, and that it is refused.
void expectBinaryRefused(const std::string& bytes) {
  EXPECT_TRUE(property_list::isBinary(bytes)) << bytes;
  expectRows({{bytes, "none"}});
}

// ----- Objects -----

TEST(BinaryPropertyListReaderTest, EveryKindIsRead) {
  expectRows({{richBinaryList(), shown(richList())}});
  ASSERT_EQ(binaryOf("\xD0").size(), 42U);
  expectObjects({{"\xD0", "{}"},
                 {"\xA0", "[]"},
                 {"\x08", "false"},
                 {"\x09", "true"},
                 {"\x40", "<>"},
                 {std::string("\x42\x00\xFF", 3), "<00ff>"},
                 {"\x4F\x10\x03xyz", "<78797a>"},
                 {"\x80\x05", "{'CF$UID': 5}"},
                 {std::string("\x81\x01\x00", 3), "{'CF$UID': 256}"},
                 {"\x83\xFF\xFF\xFF\xFF", "{'CF$UID': 4294967295}"},
                 {"\x8F" + bigEndian(7, 16), "{'CF$UID': 7}"},
                 {"\x87" + bigEndian(kWrap, 8), "none"}});
}

TEST(BinaryPropertyListReaderTest, NumbersOfEachSizeAreRead) {
  expectObjects({{"\x10\xFF", "255"},
                 {"\x11\xFF\xFE", "65534"},
                 {"\x12\xFF\xFF\xFF\xFE", "4294967294"},
                 {"\x13" + bigEndian(kMost, 8), "-1"},
                 {"\x13" + bigEndian(std::uint64_t{1} << 63, 8), "-9223372036854775808"},
                 {"\x13" + bigEndian(kMost >> 1, 8), "9223372036854775807"},
                 {"\x14" + bigEndian(kMost, 16), "18446744073709551615"},
                 {"\x14" + bigEndian(std::uint64_t{1} << 63, 16), "9223372036854775808"},
                 {"\x14" + bigEndian(7, 16), "7"},
                 {"\x14" + bigEndian(1, 8) + bigEndian(0, 8), "none"},
                 {"\x14" + bigEndian(kMost, 8) + bigEndian(kMost, 8), "none"},
                 {"\x15" + std::string(32, '\0'), "none"},
                 {std::string("\x22\x3F\xC0\x00\x00", 5), "real 1.5"},
                 {"\x23" + bigEndian(0.1), "real 0.10000000000000001"},
                 {"\x23" + bigEndian(-std::numeric_limits<double>::infinity()), "real -inf"},
                 {"\x33" + bigEndian(-0.25), "date -0.25"},
                 {"\x33" + bigEndian(2147483648.0), "date 2147483648"},
                 {"\x33" + bigEndian(1e300), "date 1.0000000000000001e+300"}});
}

TEST(BinaryPropertyListReaderTest, TextsAreRead) {
  expectObjects({{"\x50", "''"},
                 {"\x60", "''"},
                 {BinaryList::ascii("a\x01~"), "'a\x01~'"},
                 {BinaryList::ascii("a\xE9\x80"), "'a\u00E9\u0080'"},
                 {BinaryList::ascii(std::string("a\0b", 3)), std::string("'a\0b'", 5)},
                 {BinaryList::utf16(std::u16string(u"a\0b", 3)), std::string("'a\0b'", 5)},
                 {BinaryList::utf16(u"\u00E9\u20AC\U0001F600\uFFFF"), "'\u00E9\u20AC\U0001F600\uFFFF'"},
                 {BinaryList::utf16(u"\uFEFFa"), "'\uFEFFa'"},
                 {BinaryList::utf16({0xD83D}), "'\uFFFD'"},
                 {BinaryList::utf16({0xDE00, 0xD83D, u'a'}), "'\uFFFD\uFFFDa'"}});
}

TEST(BinaryPropertyListReaderTest, CountsOfEachSizeAreRead) {
  const std::string text(300, 'x');
  BinaryList list;
  list.offsetSize = 2;
  for (const auto& [kind, size] : {std::pair{0x11U, 2U}, std::pair{0x12U, 4U}, std::pair{0x13U, 8U}}) {
    list.objects = {"\x5F" + byte(kind) + bigEndian(300, size) + text};
    expectRows({{list.bytes(), "'" + text + "'"}});
  }
  expectObjects({{"\x5F\x10\x0F" + text.substr(0, 15), "'" + text.substr(0, 15) + "'"}, {"\x5F\x10\x01x", "'x'"}});
}

TEST(BinaryPropertyListReaderTest, OtherKindsAreRefused) {
  for (unsigned kind = 0; kind < 0x100; ++kind) {
    const bool isKnown = kind == 0x08 || kind == 0x09 || (kind >= 0x10 && kind <= 0x14) || kind == 0x22 ||
                         kind == 0x23 || kind == 0x33 || (kind >> 4 >= 0x4 && kind >> 4 <= 0x6) || kind >> 4 == 0x8 ||
                         kind >> 4 == 0xA || kind >> 4 == 0xD;
    if (!isKnown) expectBinaryRefused(binaryOf(byte(kind) + std::string(64, '\x08')));
  }
}

TEST(BinaryPropertyListReaderTest, ObjectInManyPlacesIsReadInEach) {
  BinaryList list({"", BinaryList::ascii("a")});
  list.objects[0] = list.array({1, 1, 1});
  expectRows({{list.bytes(), "['a', 'a', 'a']"}});
  list.objects[0] = list.dictionary({1}, {1});
  expectRows({{list.bytes(), "{'a': 'a'}"}});
}

TEST(BinaryPropertyListReaderTest, FirstOfEqualKeysCounts) {
  BinaryList list(
      {"", BinaryList::ascii("k"), BinaryList::ascii("a"), BinaryList::ascii("b"), BinaryList::utf16(u"k")});
  list.objects[0] = list.dictionary({1, 4}, {2, 3});
  expectRows({{list.bytes(), "{'k': 'a'}"}});
}

TEST(BinaryPropertyListReaderTest, KeysThatAreNoStringsAreRefused) {
  for (const std::string& key :
       {std::string("\x09"), std::string("\x10\x01"), std::string("\x41x"), std::string("\xA0"), std::string("\xD0"),
        std::string("\x80\x01"), std::string(1, '\0')}) {
    BinaryList list({"", key, "\x09"});
    list.objects[0] = list.dictionary({1}, {2});
    expectBinaryRefused(list.bytes());
  }
}

// ----- The frame -----

TEST(BinaryPropertyListReaderTest, LastCharacterOfTheMarkDoesNotCount) {
  BinaryList list({BinaryList::ascii("a")});
  for (const auto& [mark, value] :
       {std::pair{"bplist00", "'a'"}, std::pair{"bplist01", "'a'"}, std::pair{"bplist0\xFF", "'a'"},
        std::pair{"bplist10", "none"}, std::pair{"Bplist00", "none"}}) {
    list.mark = mark;
    expectRows({{list.bytes(), value}});
  }
}

TEST(BinaryPropertyListReaderTest, OffsetsAndReferencesMayBeOfAnySize) {
  for (unsigned offsetSize = 1; offsetSize <= 8; ++offsetSize) {
    for (unsigned referenceSize = 1; referenceSize <= 8; ++referenceSize) {
      BinaryList list;
      list.offsetSize = offsetSize;
      list.referenceSize = referenceSize;
      list.objects = {"", BinaryList::ascii("k"), list.array({3, 4}), "\x09", BinaryList::ascii("v"), "\xFF"};
      list.objects[0] = list.dictionary({1}, {2});
      expectRows({{list.bytes(), "{'k': [true, 'v']}"}});
      list.root = 4;
      expectRows({{list.bytes(), "'v'"}});
    }
  }
}

/// A list with the bytes at \a position, counted from its end, replaced.
std::string withTail(std::string bytes, size_t position, const std::string& replacement) {
  return bytes.replace(bytes.size() - position, replacement.size(), replacement);
}

TEST(BinaryPropertyListReaderTest, TrailerThatDoesNotFitMakesNoBinaryList) {
  const std::string list = richBinaryList();
  ASSERT_TRUE(property_list::isBinary(list));
  constexpr size_t count = 11;
  const size_t table = list.size() - 32 - count;
  std::vector<std::string> wrong = {list + "x", list.substr(0, table) + "x" + list.substr(table)};
  for (const unsigned size : {0U, 2U, 9U, 255U}) wrong.push_back(withTail(list, 26, byte(size)));  // of an offset
  for (const unsigned size : {0U, 9U, 255U}) wrong.push_back(withTail(list, 25, byte(size)));      // of a reference
  for (const std::uint64_t number :
       {std::uint64_t{0}, std::uint64_t{count - 1}, std::uint64_t{count + 1}, kMost, kWrap | count}) {
    wrong.push_back(withTail(list, 24, bigEndian(number, 8)));  // of objects
  }
  for (const std::uint64_t root : {std::uint64_t{count}, kWrap, kMost}) {
    wrong.push_back(withTail(list, 16, bigEndian(root, 8)));
  }
  for (const std::uint64_t start :
       {std::uint64_t{0}, std::uint64_t{8}, std::uint64_t{table - 1}, std::uint64_t{table + 1},
        std::uint64_t{list.size() - 32}, std::uint64_t{list.size()}, kWrap | table, kMost}) {
    wrong.push_back(withTail(list, 8, bigEndian(start, 8)));  // of the table
  }
  for (const size_t offset : {size_t{7}, table, size_t{255}}) {
    wrong.push_back(withTail(list, 33, byte(static_cast<unsigned>(offset))));  // the last one
  }
  for (size_t index = 0; index < wrong.size(); ++index) {
    EXPECT_FALSE(property_list::isBinary(wrong[index])) << index;
    EXPECT_FALSE(property_list::read(wrong[index])) << index;
  }
}

TEST(BinaryPropertyListReaderTest, NumbersThatWrapMakeNoBinaryList) {
  BinaryList list({"\x09"});
  list.offsetSize = 8;
  list.referenceSize = 8;
  const std::string bytes = list.bytes();
  expectRows({{bytes, "true"}});
  EXPECT_FALSE(property_list::isBinary(withTail(bytes, 24, bigEndian((std::uint64_t{1} << 61) + 1, 8))));  // times 8: 8
  EXPECT_FALSE(property_list::isBinary(withTail(bytes, 40, bigEndian(kWrap | 8, 8))));                     // the offset
}

TEST(BinaryPropertyListReaderTest, NumbersThatCannotHoldWhatTheyCountMakeNoBinaryList) {
  BinaryList references;  // 256 objects, references of one byte
  references.offsetSize = 2;
  references.objects.assign(256, "\x09");
  EXPECT_FALSE(property_list::isBinary(references.bytes()));
  references.objects.pop_back();
  EXPECT_TRUE(property_list::isBinary(references.bytes()));

  BinaryList offsets({BinaryList::ascii(std::string(237, 'x'))});  // 10 bytes of header; table at 255, 256
  EXPECT_TRUE(property_list::isBinary(offsets.bytes()));
  offsets.objects[0] += "x";
  EXPECT_FALSE(property_list::isBinary(offsets.bytes()));
}

// ----- Hostile lists -----

TEST(BinaryPropertyListReaderTest, ContentBeyondTheObjectsIsRefused) {
  for (const char* object : {"\x10",          "\x13\x01", "\x14\x01",      "\x22",         "\x23\x01", "\x33\x01",
                             "\x41",          "\x51",     "\x61\x01",      "\x80",         "\x87\x01", "\xA1",
                             "\xD1\x01",      "\x4F",     "\x5F\x10",      "\x4F\x10",     "\x4F\x13", "\x5F\x10\x01",
                             "\x6F\x10\x01x", "\xAF\x13", "\x5F\x50\x01x", "\x5F\x09\x01x"}) {
    expectBinaryRefused(binaryOf(object));
  }
  expectBinaryRefused(binaryOf("\x5F\x14" + bigEndian(1, 16) + "x"));
}

TEST(BinaryPropertyListReaderTest, CountsThatWrapAreRefused) {
  // Each count, or so many references of eight bytes, is 2 again when 32 or 64 bits hold it.
  BinaryList list;
  list.offsetSize = 8;
  list.referenceSize = 8;
  for (const char* kind : {"\x4F", "\x5F", "\x6F", "\xAF", "\xDF"}) {
    for (const std::uint64_t more :
         {std::uint64_t{0}, kWrap / 16, kWrap / 8, kWrap / 2, kWrap, kMost / 16 + 1, kMost / 8 + 1, kMost / 2 + 1}) {
      list.objects = {kind + ("\x13" + bigEndian(2 + more, 8)) + list.references({1, 2, 2, 2}), "\x51k", "\x51l"};
      EXPECT_EQ(property_list::read(list.bytes()).has_value(), more == 0) << shown(PropertyListValue(kind)) << more;
    }
  }
}

TEST(BinaryPropertyListReaderTest, ReferencesToNoObjectAreRefused) {
  BinaryList list({"", BinaryList::ascii("a")});
  list.referenceSize = 8;
  for (const std::uint64_t none : {std::uint64_t{2}, std::uint64_t{255}, kWrap + 1}) {
    for (const std::string& root :
         {list.array({none}), list.array({1, none}), list.dictionary({none}, {1}), list.dictionary({1}, {none})}) {
      list.objects[0] = root;
      expectBinaryRefused(list.bytes());
    }
  }
}

TEST(BinaryPropertyListReaderTest, ListThatHoldsItselfIsRefused) {
  BinaryList list({"", "", "", ""});
  for (const std::vector<std::string>& objects : {std::vector<std::string>{list.array({0})},
                                                  {list.array({1}), list.array({2}), list.array({1})},
                                                  {list.dictionary({1}, {0}), BinaryList::ascii("k")},
                                                  {list.array(std::vector<std::uint64_t>(200, 0))}}) {
    list.objects = objects;
    expectBinaryRefused(list.bytes());
  }
}

TEST(BinaryPropertyListReaderTest, ListThatUnfoldsWithoutEndIsRefused) {
  BinaryList list;
  list.offsetSize = 2;
  for (std::uint64_t number = 0; number < 50; ++number) {
    list.objects.push_back(list.dictionary({51, 52}, {number + 1, number + 1}));
  }
  list.objects.insert(list.objects.end(), {"\x33" + bigEndian(0.5), BinaryList::ascii("a"), BinaryList::ascii("b")});
  expectBinaryRefused(list.bytes());
}

TEST(BinaryPropertyListReaderTest, ManyObjectsInTheSameBytesAreRefused) {
  // 2,000 arrays, all of them the same 2,000 references.
  constexpr std::uint64_t kCount = 2'000;
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
  expectBinaryRefused(list.withTrailer(list.mark + root + shared + "\x09", table, kCount + 2));
}

TEST(BinaryPropertyListReaderTest, RepeatedCollectionsUnfoldToLimitedValues) {
  EXPECT_EQ(property_list::Limits().repeatedValues, 10'000U);
  BinaryList list({"", "", "\x09"});
  list.offsetSize = 2;
  list.objects[1] = list.array(std::vector<std::uint64_t>(99, 2));
  for (const size_t count : {size_t{102}, size_t{103}}) {
    list.objects[0] = list.array(std::vector<std::uint64_t>(count, 1));  // a list of 166 bytes and one for each of them
    EXPECT_EQ(property_list::read(list.bytes()).has_value(), 1 + count * 100 <= 10'000 + 166 + count) << count;
  }
}

TEST(BinaryPropertyListReaderTest, RepeatedTextsUnfoldToLimitedBytes) {
  EXPECT_EQ(property_list::Limits().repeatedBytes, 64U << 20U);
  for (const std::string& object :
       {BinaryList::ascii(std::string(300, 'x')), BinaryList::header(0x40, 300) + std::string(300, 'x')}) {
    BinaryList list({"", object, "\x09"});
    list.offsetSize = 2;
    std::vector<std::string> roots = {list.array({1, 1, 1, 1})};
    if (object[0] == '\x5F') roots.push_back(list.dictionary({1, 1, 1, 1}, {2, 2, 2, 2}));
    for (const std::string& root : roots) {
      list.objects[0] = root;
      property_list::Limits limits;
      limits.repeatedBytes = 1200 - list.bytes().size();
      EXPECT_TRUE(property_list::read(list.bytes(), nullptr, limits));
      --limits.repeatedBytes;
      EXPECT_FALSE(property_list::read(list.bytes(), nullptr, limits));
    }
  }
}

TEST(BinaryPropertyListReaderTest, DepthCountsAlongTheDeepestWay) {
  // Object 600 is met first near the root, where it is not too deep, and again at the end of a chain.
  for (const size_t length : {size_t{509}, size_t{510}}) {
    BinaryList list;
    list.offsetSize = 2;
    list.referenceSize = 2;
    list.objects.assign(602, "\x09");
    list.objects[0] = list.array({600, 1});
    for (size_t number = 1; number < length; ++number) list.objects[number] = list.array({number + 1});
    list.objects[length] = list.array({600});
    list.objects[600] = list.array({601});
    list.objects[601] = list.array({});
    EXPECT_EQ(property_list::read(list.bytes()).has_value(), length == 509);
  }
}

}  // namespace

}  // namespace hotfix
