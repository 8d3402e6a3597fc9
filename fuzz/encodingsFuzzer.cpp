// Text encodings, and numbers at the start of texts.

#include <algorithm>
#include <cstdint>
#include <string>

#include "Support/TextEncoding.h"
#include "Support/TextNumber.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

using fuzz::require;

bool isSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }
bool isPair(char16_t first, char16_t second) {
  return isSurrogate(first) && first < 0xDC00 && second >= 0xDC00 && isSurrogate(second);
}

/// The units with U+FFFD for each surrogate that has no partner.
std::u16string withoutLoneSurrogates(const std::u16string& units) {
  std::u16string result;
  for (size_t index = 0; index < units.size(); ++index) {
    if (index + 1 < units.size() && isPair(units[index], units[index + 1])) {
      result += units[index++];
      result += units[index];
    } else {
      result += isSurrogate(units[index]) ? u'\uFFFD' : units[index];
    }
  }
  return result;
}

void checkBytes(const std::string& bytes) {
  const std::u16string units = text::utf16FromUtf8(bytes);
  require(units == withoutLoneSurrogates(units), "UTF-8 gives whole characters");
  const std::string again = text::utf8FromUtf16(units);
  require(text::isValidUtf8(again), "UTF-16 gives well-formed UTF-8");
  require(text::isValidUtf8(bytes) == (again == bytes), "just well-formed UTF-8 comes back as it was");
  if (again != bytes) require(units.find(u'\uFFFD') != std::u16string::npos, "what is ill-formed is marked");
  require(text::utf16FromUtf8(again) == units, "UTF-16 comes back as it was");
  require(text::utf16FromUtf8(bytes + "x") == units + u"x", "what follows is read in any case");

  // ASCII is never lost, whatever stands around it.
  std::string ascii;
  std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(ascii), [](char c) { return (c & 0x80) == 0; });
  std::string asciiUnits;
  for (const char16_t unit : units) {
    if (unit < 0x80) asciiUnits += static_cast<char>(unit);
  }
  require(ascii == asciiUnits, "ASCII stays ASCII");
}

void checkLatin1(const std::string& bytes) {
  const std::string utf8 = text::utf8FromLatin1(bytes);
  require(text::isValidUtf8(utf8), "ISO-8859-1 gives well-formed UTF-8");
  const std::u16string units = text::utf16FromUtf8(utf8);
  require(std::equal(units.begin(), units.end(), bytes.begin(), bytes.end(),
                     [](char16_t unit, char byte) { return unit == static_cast<unsigned char>(byte); }),
          "one byte of ISO-8859-1 is one character");
}

void checkUnits(const std::string& bytes) {
  std::u16string units;
  for (size_t index = 0; index + 1 < bytes.size(); index += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[index]) << 8 |
                                   static_cast<unsigned char>(bytes[index + 1]));
  }
  const std::string utf8 = text::utf8FromUtf16(units);
  require(text::isValidUtf8(utf8), "UTF-16 gives well-formed UTF-8");
  require(text::utf16FromUtf8(utf8) == withoutLoneSurrogates(units), "just lone surrogates are lost");
}

bool isBlank(char16_t unit) {
  return unit <= 0x20 || (unit >= 0x7F && unit <= 0xA0) || (unit >= 0x2000 && unit <= 0x200B) || unit == 0x3000;
}

void checkNumber(const std::string& bytes) {
  const std::u16string units = text::utf16FromUtf8(bytes);
  size_t at = 0;
  const auto skipBlanks = [&units, &at] {
    while (at < units.size() && isBlank(units[at])) ++at;
  };
  skipBlanks();
  const bool isNegative = at < units.size() && units[at] == u'-';
  if (at < units.size() && (units[at] == u'-' || units[at] == u'+')) ++at;
  skipBlanks();
  // A double holds all that is told apart: what it rounds is far out of the range.
  double number = 0;
  for (; at < units.size() && units[at] >= u'0' && units[at] <= u'9'; ++at) number = number * 10 + (units[at] - u'0');
  number = std::clamp(isNegative ? -number : number, double{INT32_MIN}, double{INT32_MAX});
  require(text::integerAtStart(bytes) == static_cast<std::int32_t>(number), "a number is what its digits say");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = fuzz::textOf(data, size);
  checkBytes(bytes);
  checkLatin1(bytes);
  checkUnits(bytes);
  checkNumber(bytes);
  return 0;
}

}  // namespace hotfix
