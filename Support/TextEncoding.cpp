#include "Support/TextEncoding.h"

#include <cstdint>
#include <cstring>

namespace hotfix::text {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Decoded {
  char32_t character;
  size_t length;  // bytes used
  bool isWellFormed;
};

/// The character at the start of \a bytes (not empty), by the table of well-formed sequences in The Unicode Standard,
/// section 3.9. An ill-formed one has the longest length that could begin a well-formed one, at least one byte.
Decoded decode(std::string_view bytes) {
  const auto byte = [&bytes](size_t index) { return static_cast<unsigned char>(bytes[index]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {lead, 1, true};

  size_t length = 0;
  unsigned char low = 0x80;  // range of the second byte: narrower after some leads
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // overlong forms
    if (lead == 0xED) high = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;   // overlong forms
    if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
  } else {
    return {kReplacement, 1, false};
  }

  char32_t character = lead & (0xFFU >> (length + 1));
  for (size_t index = 1; index < length; ++index) {
    if (index == bytes.size() || byte(index) < low || byte(index) > high) return {kReplacement, index, false};
    character = (character << 6) | (byte(index) & 0x3FU);
    low = 0x80;
    high = 0xBF;
  }
  return {character, length, true};
}

/// The number of ASCII bytes at the start. Eight bytes are read at a time, because nearly all texts are only ASCII.
size_t asciiLength(std::string_view bytes) {
  size_t length = 0;
  for (std::uint64_t eight; bytes.size() - length >= sizeof eight; length += sizeof eight) {
    std::memcpy(&eight, bytes.data() + length, sizeof eight);
    if ((eight & 0x8080808080808080U) != 0) break;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) ++length;
  return length;
}

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

bool isValidUtf8(std::string_view bytes) {
  for (;;) {
    bytes.remove_prefix(asciiLength(bytes));
    if (bytes.empty()) return true;
    const Decoded decoded = decode(bytes);
    if (!decoded.isWellFormed) return false;
    bytes.remove_prefix(decoded.length);
  }
}

void appendUtf8(char32_t character, std::string& text) {
  const auto append = [&text](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | (character >> 6));
    append(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    append(0xE0 | (character >> 12));
    append(0x80 | ((character >> 6) & 0x3F));
    append(0x80 | (character & 0x3F));
  } else {
    append(0xF0 | (character >> 18));
    append(0x80 | ((character >> 12) & 0x3F));
    append(0x80 | ((character >> 6) & 0x3F));
    append(0x80 | (character & 0x3F));
  }
}

std::u16string utf16FromUtf8(std::string_view utf8) {
  std::u16string result;
  result.reserve(utf8.size());
  while (!utf8.empty()) {
    const Decoded decoded = decode(utf8);
    if (decoded.character < 0x10000) {
      result += static_cast<char16_t>(decoded.character);
    } else {
      const char32_t offset = decoded.character - 0x10000;
      result += static_cast<char16_t>(0xD800 + (offset >> 10));
      result += static_cast<char16_t>(0xDC00 + (offset & 0x3FF));
    }
    utf8.remove_prefix(decoded.length);
  }
  return result;
}

std::string utf8FromUtf16(std::u16string_view utf16) {
  std::string result;
  result.reserve(utf16.size());
  for (size_t index = 0; index < utf16.size(); ++index) {
    const char16_t unit = utf16[index];
    if (isHighSurrogate(unit) && index + 1 < utf16.size() && isLowSurrogate(utf16[index + 1])) {
      const char32_t high = unit - 0xD800U;
      const char32_t low = utf16[++index] - 0xDC00U;
      appendUtf8(0x10000 + (high << 10) + low, result);
    } else {
      appendUtf8(isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit, result);
    }
  }
  return result;
}

std::string utf8FromUtf16Bytes(std::string_view bytes, ByteOrder order) {
  const size_t high = order == ByteOrder::BigEndian ? 0 : 1;
  std::u16string units(bytes.size() / 2, u'\0');
  for (size_t index = 0; index < units.size(); ++index) {
    const auto byte = [&](size_t offset) { return static_cast<unsigned char>(bytes[2 * index + offset]); };
    units[index] = static_cast<char16_t>(byte(high) << 8 | byte(1 - high));
  }
  return utf8FromUtf16(units);
}

std::string utf8FromLatin1(std::string_view latin1) {
  const size_t ascii = asciiLength(latin1);
  std::string result(latin1.substr(0, ascii));
  for (const char c : latin1.substr(ascii)) appendUtf8(static_cast<unsigned char>(c), result);
  return result;
}

std::string sanitized(std::string_view utf8) {
  // Some terminals treat bytes that are not UTF-8 as control characters. In UTF-8, the control characters above U+007F
  // are 0xC2 followed by a byte below 0xA0.
  std::string result = utf8FromUtf16(utf16FromUtf8(utf8));
  for (size_t at = 0; at < result.size(); ++at) {
    const auto byte = [&result](size_t index) { return static_cast<unsigned char>(result[index]); };
    if (byte(at) < 0x20 || byte(at) == 0x7F) result[at] = '?';
    if (byte(at) == 0xC2 && byte(at + 1) < 0xA0) result.replace(at, 2, "?");
  }
  return result;
}

}  // namespace hotfix::text
