#include "Support/TextEncoding.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

/// UTF-8 of one code point, by the table of RFC 3629.
std::string utf8Of(char32_t point) {
  const auto byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (point < 0x80) return {byte(point)};
  if (point < 0x800) return {byte(0xC0 | (point >> 6)), byte(0x80 | (point & 0x3F))};
  if (point < 0x10000)
    return {byte(0xE0 | (point >> 12)), byte(0x80 | ((point >> 6) & 0x3F)), byte(0x80 | (point & 0x3F))};
  return {byte(0xF0 | (point >> 18)), byte(0x80 | ((point >> 12) & 0x3F)), byte(0x80 | ((point >> 6) & 0x3F)),
          byte(0x80 | (point & 0x3F))};
}

/// UTF-16 of one code point, by RFC 2781.
std::u16string utf16Of(char32_t point) {
  if (point < 0x10000) return {static_cast<char16_t>(point)};
  return {static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)),
          static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF))};
}

bool isSurrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

TEST(TextEncodingTest, EveryCodePointMakesTheRoundTrip) {
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (isSurrogate(point)) continue;
    const std::string utf8 = utf8Of(point);
    ASSERT_TRUE(text::isValidUtf8(utf8)) << static_cast<unsigned>(point);
    ASSERT_EQ(text::utf16FromUtf8(utf8), utf16Of(point)) << static_cast<unsigned>(point);
    ASSERT_EQ(text::utf8FromUtf16(utf16Of(point)), utf8) << static_cast<unsigned>(point);
  }
}

TEST(TextEncodingTest, EveryLatin1ByteIsItsOwnCodePoint) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    const std::string latin1(1, static_cast<char>(static_cast<unsigned char>(byte)));
    EXPECT_EQ(text::utf8FromLatin1(latin1), utf8Of(byte)) << byte;
  }
}

TEST(TextEncodingTest, TextsKeepTheirOrderAndTheirNulBytes) {
  const std::pair<std::string, std::u16string> rows[] = {
      {std::string("a\0\xC3\xA9\xF0\x9F\x98\x80z", 9), std::u16string(u"a\0\u00E9\U0001F600z", 6)}, {"", u""}};
  for (const auto& [utf8, utf16] : rows) {
    EXPECT_TRUE(text::isValidUtf8(utf8));
    EXPECT_EQ(text::utf16FromUtf8(utf8), utf16);
    EXPECT_EQ(text::utf8FromUtf16(utf16), utf8);
  }
  EXPECT_EQ(text::utf8FromLatin1(std::string_view("a\0\xE9", 3)), std::string("a\0\xC3\xA9", 4));
  EXPECT_EQ(text::utf8FromLatin1(""), "");
}

// The replacement of ill-formed sequences is that of the Unicode Standard, section 3.9, "U+FFFD Substitution of
// Maximal Subparts"; the first four rows are its tables.
TEST(TextEncodingTest, EachIllFormedSequenceBecomesOneReplacementCharacter) {
  const struct {
    const char* utf8;
    const char16_t* utf16;
  } rows[] = {
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
      {"\xC3", u"\uFFFD"},
      {"\xC3(", u"\uFFFD("},
      {"\xE2\x82", u"\uFFFD"},
      {"\xE2\x82\xC3\xA9", u"\uFFFD\u00E9"},
      {"\xF0\x9F\x98", u"\uFFFD"},
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xFE", u"\uFFFD"},
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
      {"\xC1\xBF", u"\uFFFD\uFFFD"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(text::utf16FromUtf8(row.utf8), row.utf16) << ::testing::PrintToString(row.utf8);
    EXPECT_FALSE(text::isValidUtf8(row.utf8)) << ::testing::PrintToString(row.utf8);
  }
}

TEST(TextEncodingTest, IllFormedByteIsSeenAtEachPlaceAmongAscii) {
  for (size_t place = 0; place < 20; ++place) {
    std::string bytes(20, 'a');
    bytes[place] = '\xFF';
    EXPECT_FALSE(text::isValidUtf8(bytes)) << place;
  }
}

TEST(TextEncodingTest, LoneSurrogateBecomesTheReplacementCharacter) {
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(text::utf8FromUtf16(std::u16string{0xD83D}), replacement);
  EXPECT_EQ(text::utf8FromUtf16(std::u16string{0xDE00}), replacement);
  EXPECT_EQ(text::utf8FromUtf16(std::u16string{0xDE00, 0xD83D}), replacement + replacement);
  EXPECT_EQ(text::utf8FromUtf16(std::u16string{0xD83D, u'a'}), replacement + "a");
  EXPECT_EQ(text::utf8FromUtf16(std::u16string{0xD83D, 0xD83D, 0xDE00}), replacement + "\xF0\x9F\x98\x80");
}

TEST(TextEncodingTest, EveryTwoByteSequenceIsAnsweredAndAgreesWithTheTest) {
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      const std::string bytes = {static_cast<char>(static_cast<unsigned char>(first)),
                                 static_cast<char>(static_cast<unsigned char>(second))};
      const std::u16string units = text::utf16FromUtf8(bytes);
      EXPECT_EQ(text::isValidUtf8(bytes), units.find(u'\uFFFD') == std::u16string::npos) << first << " " << second;
      EXPECT_EQ(text::isValidUtf8(bytes), text::utf8FromUtf16(units) == bytes) << first << " " << second;
    }
  }
}

TEST(TextEncodingTest, SanitizedTextHasNoControlCharacterAndNoIllFormedByte) {
  const std::vector<std::pair<std::string, std::string>> texts = {
      {"\x1B[2J\x1B]0,x\x07", "?[2J?]0,x?"},
      {std::string("a\nb\tc\rd\x7F") + "e" + std::string(1, '\0'), "a?b?c?d?e?"},
      {std::string("a\xC2\x9B") + "31m\xC2\x85", "a?31m?"},
      {"a\xC2\xA0\xC3\xB6\xE2\x82\xAC", "a\xC2\xA0\xC3\xB6\xE2\x82\xAC"},
      {std::string("a\x9B") + "31m", std::string("a\xEF\xBF\xBD") + "31m"},
      {"a\xC2", "a\xEF\xBF\xBD"}};
  for (const auto& [text, expected] : texts) EXPECT_EQ(text::sanitized(text), expected);
}

}  // namespace

}  // namespace hotfix
