#include <string>
#include <utility>

#include "Support/OptionalString.h"
#include "Support/PropertyListForms.h"
#include "Support/TextEncoding.h"
#include "Support/TextNumber.h"

namespace hotfix::property_list {

namespace {

/// The NeXTSTEP character set above 0x7F (the Unicode Consortium's mapping table NEXTSTEP.TXT). Below that it is ASCII.
constexpr char16_t kNextstepUpperHalf[128] = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD};

bool isBare(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
         c == '/' || c == ':' || c == '.' || c == '-';
}

class OldStyleReader {
 public:
  OldStyleReader(std::string_view text, const Limits& limits) : _text(text), _values(limits.values) {}

  std::optional<PropertyListValue> read() {
    PropertyListValue root{Dictionary()};
    if (!skipBlanks()) return root;
    const std::string_view start = _text;
    if (!readValue(0, root)) return std::nullopt;
    if (!skipBlanks()) return root;
    if (root.asString() == nullptr) return std::nullopt;  // junk after it

    _text = start;  // the string was the first key of a strings file; text after its entries is ignored
    Dictionary dictionary;
    if (!readEntries(1, dictionary)) return std::nullopt;
    return PropertyListValue(std::move(dictionary));
  }

 private:
  // ----- Characters -----

  /// Skips the next digit of a base. \return its value, or none if the next character is not a digit.
  std::optional<unsigned> takeDigit(unsigned base) {
    const unsigned value = _text.empty() ? base : text::digitValue(_text.front());
    if (value >= base) return std::nullopt;
    _text.remove_prefix(1);
    return value;
  }

  static bool isBlank(char c) { return (c >= '\t' && c <= '\r') || c == ' '; }

  bool skipUnicodeLineEnd() { return skip(_text, "\u2028") || skip(_text, "\u2029"); }

  /// Skips blanks and comments. A comment that is not closed extends to the end.
  /// \return whether any text is left.
  bool skipBlanks() {
    while (!_text.empty()) {
      if (skip(_text, "//")) {
        while (!_text.empty() && !skip(_text, '\n') && !skip(_text, '\r') && !skipUnicodeLineEnd()) take(_text);
      } else if (skip(_text, "/*")) {
        skipPast(_text, "*/");
      } else if (takeAll(_text, isBlank).empty() && !skipUnicodeLineEnd()) {
        return true;
      }
    }
    return false;
  }

  // ----- Values -----

  /// \param level the number of collections around the value.
  bool readValue(int level, PropertyListValue& value) {
    if (!skipBlanks() || !_values.take()) return false;
    if (skip(_text, '{')) return level < kDeepest && readDictionary(level + 1, value);
    if (skip(_text, '(')) return level < kDeepest && readArray(level + 1, value);
    if (skip(_text, '<')) return readData(value);
    return assign(readString(), value);
  }

  bool readArray(int level, PropertyListValue& value) {
    Array array;
    while (skipBlanks() && _text.front() != ')') {
      if (!readValue(level, array.emplace_back())) return false;
      if (!skipBlanks() || !skip(_text, ',')) break;
    }
    value = PropertyListValue(std::move(array));
    return skip(_text, ')');
  }

  bool readDictionary(int level, PropertyListValue& value) {
    Dictionary dictionary;
    if (!readEntries(level, dictionary) || !skip(_text, '}')) return false;
    value = PropertyListValue(std::move(dictionary));
    return true;
  }

  /// Reads "key = value;" and "key;" (the key is its own value) up to other text. If a key occurs several times, the
  /// last entry is used.
  bool readEntries(int level, Dictionary& dictionary) {
    while (skipBlanks()) {
      OptionalString key = readString();
      if (!key) break;
      PropertyListValue value(*key);
      if (!skipBlanks() || !(skip(_text, '=') ? readValue(level, value) : _values.take())) return false;
      if (!skipBlanks() || !skip(_text, ';')) return false;
      dictionary.insert_or_assign(dictionary.end(), std::move(*key), std::move(value));  // most lists are sorted
    }
    return true;
  }

  bool readData(PropertyListValue& value) {
    Data data;
    while (!skip(_text, '>')) {
      if (!takeAll(_text, isSpace).empty() || skipUnicodeLineEnd()) continue;
      const std::optional<unsigned> high = takeDigit(16);
      const std::optional<unsigned> low = takeDigit(16);  // immediately after it: blanks are allowed only between bytes
      if (!high || !low) return false;
      data.bytes += static_cast<char>(static_cast<unsigned char>(*high << 4 | *low));
    }
    value = PropertyListValue(std::move(data));
    return true;
  }

  OptionalString readString() {
    if (skip(_text, '"')) return readQuoted('"');
    if (skip(_text, '\'')) return readQuoted('\'');
    const std::string_view bare = takeAll(_text, isBare);
    return bare.empty() ? std::nullopt : OptionalString(bare);
  }

  OptionalString readQuoted(char quote) {
    std::string string;
    std::u16string escaped;  // adjacent escapes may be the two halves of one character
    while (!_text.empty()) {
      const char c = take(_text);
      if (c == '\\' && _text.empty()) return std::nullopt;
      if (c == '\\' && static_cast<unsigned char>(_text.front()) < 0x80) {
        escaped += readEscape();
        continue;
      }
      if (!escaped.empty()) {
        string += text::utf8FromUtf16(escaped);
        escaped.clear();
      }
      if (c == quote) return string;
      if (c != '\\') string += c;
    }
    return std::nullopt;
  }

  /// The UTF-16 unit for the text after a backslash.
  char16_t readEscape() {
    static constexpr std::string_view kLetters = "abfnrtv";
    static constexpr char16_t kControls[] = u"\a\b\f\n\r\t\v";
    if (skip(_text, 'U')) return static_cast<char16_t>(readNumber(16, 4));
    const char c = _text.front();
    if (text::digitValue(c) >= 8) {
      take(_text);
      const size_t letter = kLetters.find(c);
      return letter != std::string_view::npos ? kControls[letter] : static_cast<char16_t>(c);
    }
    const unsigned code = readNumber(8, 3) & 0xFFU;
    return code < 0x80 ? static_cast<char16_t>(code) : kNextstepUpperHalf[code - 0x80];
  }

  unsigned readNumber(unsigned base, int mostDigits) {
    unsigned number = 0;
    for (int count = 0; count < mostDigits; ++count) {
      const std::optional<unsigned> digit = takeDigit(base);
      if (!digit) break;
      number = number * base + *digit;
    }
    return number;
  }

  std::string_view _text;
  Budget _values;
};

}  // namespace

std::optional<PropertyListValue> readOldStyle(std::string_view text, const Limits& limits) {
  return OldStyleReader(text, limits).read();
}

}  // namespace hotfix::property_list
