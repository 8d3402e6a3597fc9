#ifndef SUPPORT_TEXT_ENCODING_H_
#define SUPPORT_TEXT_ENCODING_H_

#include <cstdint>
#include <string>
#include <string_view>

/// Conversions between UTF-8 (the form of every text in this system), UTF-16 code units and ISO-8859-1.
namespace hotfix::text {

/// True when \a bytes are well-formed UTF-8 (RFC 3629: no overlong form, no surrogate, nothing above U+10FFFF).
bool isValidUtf8(std::string_view bytes);

/// Appends a character. A surrogate makes the text ill-formed.
void appendUtf8(char32_t character, std::string& text);

/// UTF-16 code units of a UTF-8 text. Each ill-formed sequence (its longest well-formed start) becomes one U+FFFD.
std::u16string utf16FromUtf8(std::string_view utf8);

/// UTF-8 of UTF-16 code units. A lone surrogate, which has no UTF-8 form, becomes U+FFFD.
std::string utf8FromUtf16(std::u16string_view utf16);

enum class ByteOrder : std::uint8_t { BigEndian, LittleEndian };

/// The same for code units of two bytes each; an odd byte at the end is ignored.
std::string utf8FromUtf16Bytes(std::string_view bytes, ByteOrder order);

/// UTF-8 of ISO-8859-1 bytes, one byte per character. Never fails.
std::string utf8FromLatin1(std::string_view latin1);

/// A text that cannot control a terminal: control characters become "?", ill-formed bytes U+FFFD.
std::string sanitized(std::string_view utf8);

}  // namespace hotfix::text

#endif
