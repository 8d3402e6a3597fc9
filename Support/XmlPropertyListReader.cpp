#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "Support/OptionalString.h"
#include "Support/PropertyListForms.h"
#include "Support/TextEncoding.h"
#include "Support/TextNumber.h"

namespace hotfix::property_list {

namespace {

// ----- Scalars -----

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Skips a sign. \return whether it is a minus.
bool skipSign(std::string_view& text) {
  if (skip(text, '-')) return true;
  skip(text, '+');
  return false;
}

/// The value of the digits, if there are any, all of them are of that base, and the value is at most \a limit.
std::optional<std::uint64_t> numberFrom(std::string_view digits, unsigned base, std::uint64_t limit) {
  if (digits.empty()) return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : digits) {
    const unsigned digit = text::digitValue(c);
    if (digit >= base || number > (limit - digit) / base) return std::nullopt;
    number = number * base + digit;
  }
  return number;
}

std::optional<Integer> integerFrom(std::string_view text) {
  takeAll(text, isSpace);
  const bool isNegative = skipSign(text);
  takeAll(text, isSpace);
  const bool isHexadecimal = skip(text, "0x") || skip(text, "0X");
  const std::uint64_t limit = isNegative ? std::uint64_t{1} << 63 : std::numeric_limits<std::uint64_t>::max();
  const std::optional<std::uint64_t> number = numberFrom(text, isHexadecimal ? 16 : 10, limit);
  if (!number) return std::nullopt;
  return Integer{isNegative ? 0 - *number : *number, isNegative && *number != 0};
}

/// "nan", and "inf" or "infinity" with or without a sign, in any case.
std::optional<double> namedReal(std::string_view text) {
  if (areEqualIgnoringCase(text, "nan")) return std::numeric_limits<double>::quiet_NaN();
  const bool isNegative = skipSign(text);
  if (!areEqualIgnoringCase(text, "inf") && !areEqualIgnoringCase(text, "infinity")) return std::nullopt;
  return isNegative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

bool isDecimal(std::string_view text) {
  skipSign(text);
  size_t digits = takeAll(text, isDigit).size();
  if (skip(text, '.')) digits += takeAll(text, isDigit).size();
  if (digits == 0) return false;
  if (skip(text, 'e') || skip(text, 'E')) {
    skipSign(text);
    if (takeAll(text, isDigit).empty()) return false;
  }
  return text.empty();
}

/// The decimal point of the process's locale, which strtod requires.
std::string localDecimalPoint() {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", 0.5);
  const std::string number(text);
  return number.substr(1, number.size() - 2);
}

std::optional<double> realFrom(std::string_view text) {
  takeAll(text, isSpace);
  if (!isDecimal(text)) return namedReal(text);
  std::string number(text);
  const size_t point = number.find('.');
  if (point != std::string::npos) number.replace(point, 1, localDecimalPoint());
  return std::strtod(number.c_str(), nullptr);
}

/// Days from 2001-01-01 in the Gregorian calendar, extended over all years (Howard Hinnant, "chrono-compatible
/// low-level date algorithms", days_from_civil).
std::int64_t daysFrom2001(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 730791;
}

/// A moment like 2001-01-01T00:00:00Z. As on macOS, the year may have a minus and any number of digits, and the other
/// fields may have any two digits: a value beyond its calendar unit overflows into the next unit.
std::optional<Date> dateFrom(std::string_view text) {
  constexpr std::string_view kForm = "-dd-ddTdd:dd:ddZ";  // after the year
  constexpr std::uint64_t kFarthestYear = 1'000'000'000;
  const bool isNegative = skip(text, '-');
  const std::optional<std::uint64_t> year = numberFrom(takeAll(text, isDigit), 10, kFarthestYear);
  const auto fits = [](char form, char c) { return form == 'd' ? isDigit(c) : form == c; };
  if (!year || !std::equal(kForm.begin(), kForm.end(), text.begin(), text.end(), fits)) return std::nullopt;

  const auto fieldAt = [text](size_t position) { return (text[position] - '0') * 10 + (text[position + 1] - '0'); };
  const std::int64_t signedYear = static_cast<std::int64_t>(*year) * (isNegative ? -1 : 1);
  const int monthsOfYear0 = fieldAt(1) + 11;  // counted from 12 months before the year
  const std::int64_t days = daysFrom2001(signedYear + monthsOfYear0 / 12 - 1, monthsOfYear0 % 12 + 1, fieldAt(4));
  return Date{static_cast<double>(((days * 24 + fieldAt(7)) * 60 + fieldAt(10)) * 60 + fieldAt(13))};
}

/// Base64. Characters outside its alphabet are ignored, and so is an incomplete group.
Data dataFrom(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
  Data data;
  unsigned group = 0;
  int size = 0;
  int padding = 0;
  for (const char c : text) {
    const size_t digit = kAlphabet.find(c);
    if (digit == std::string_view::npos) continue;
    if (c == '=') ++padding;
    group = group << 6 | (static_cast<unsigned>(digit) & 63U);
    if (++size < 4) continue;
    for (int shift = 16; shift >= 8 * padding; shift -= 8) {
      data.bytes += static_cast<char>(static_cast<unsigned char>(group >> shift & 0xFFU));
    }
    group = 0;
    size = 0;
    padding = 0;
  }
  return data;
}

// ----- The list -----

/// Reads the XML of property lists as macOS does, which differs from XML: attributes and the text after the list are
/// ignored, and a document cannot define entities.
class XmlReader {
 public:
  XmlReader(std::string_view text, const Limits& limits) : _text(text), _values(limits.values) {}

  std::optional<PropertyListValue> read() {
    PropertyListValue value;
    if (!skipMiscellany()) return std::nullopt;
    while (skip(_text, "<!DOCTYPE")) {
      if (!skipDeclaration() || !skipMiscellany()) return std::nullopt;
    }
    std::optional<Tag> tag = readTag();
    const bool isWrapped = tag && tag->name == "plist" && !tag->isClosing && !tag->isEmpty;
    if (isWrapped) tag = readNextTag();
    if (!tag || !readValue(*tag, 0, value)) return std::nullopt;
    if (isWrapped) tag = readNextTag();
    if (isWrapped && (!tag || !tag->isClosing || tag->name != "plist")) return std::nullopt;
    return value;
  }

 private:
  struct Tag {
    std::string_view name;
    bool isClosing = false;  // </name>
    bool isEmpty = false;    // <name/>
  };

  // ----- Values -----

  /// \param level the number of collections around the value.
  bool readValue(const Tag& tag, int level, PropertyListValue& value) {
    if (tag.isClosing || !_values.take()) return false;
    if (tag.name == "string") return assign(readTextOf(tag), value);
    if (tag.name == "dict") return level < kDeepest && readDictionary(tag, level + 1, value);
    if (tag.name == "array") return level < kDeepest && readArray(tag, level + 1, value);
    if (tag.name == "true" || tag.name == "false") {
      value = PropertyListValue(tag.name == "true");
      return tag.isEmpty || readEnd(tag.name);
    }
    if (tag.isEmpty) return false;
    const std::string_view text = takeUntil(_text, '<');
    return readEnd(tag.name) && readScalar(tag.name, text, value);
  }

  bool readScalar(std::string_view type, std::string_view text, PropertyListValue& value) {
    if (type == "integer") return assign(integerFrom(text), value);
    if (type == "real") return assign(realFrom(text), value);
    if (type == "date") return assign(dateFrom(text), value);
    if (type == "data") return assign(std::optional(dataFrom(text)), value);
    return false;
  }

  bool readArray(const Tag& start, int level, PropertyListValue& value) {
    Array array;
    while (!start.isEmpty) {
      const std::optional<Tag> tag = readNextTag();
      if (tag && tag->isClosing && tag->name == "array") break;
      if (!tag || !readValue(*tag, level, array.emplace_back())) return false;
    }
    value = PropertyListValue(std::move(array));
    return true;
  }

  /// If a key occurs several times, the last entry is used.
  bool readDictionary(const Tag& start, int level, PropertyListValue& value) {
    Dictionary dictionary;
    while (!start.isEmpty) {
      std::optional<Tag> tag = readNextTag();
      if (tag && tag->isClosing && tag->name == "dict") break;
      if (!tag || tag->isClosing || tag->name != "key") return false;
      OptionalString key = readTextOf(*tag);
      tag = readNextTag();
      if (!key || !tag) return false;
      const auto entry = dictionary.try_emplace(dictionary.end(), std::move(*key));  // most lists are sorted
      if (!readValue(*tag, level, entry->second)) return false;
    }
    value = PropertyListValue(std::move(dictionary));
    return true;
  }

  /// Reads the text of a string or a key, including its closing tag. CDATA sections and entities are resolved.
  OptionalString readTextOf(const Tag& tag) {
    std::string text;
    while (!tag.isEmpty) {
      std::string_view plain = takeUntil(_text, '<');
      text.append(takeUntil(plain, '&'));
      while (skip(plain, '&')) {
        if (!readReference(plain, text)) return std::nullopt;
        text.append(takeUntil(plain, '&'));
      }
      if (!skip(_text, "<![CDATA[")) {
        if (!readEnd(tag.name)) return std::nullopt;
        break;
      }
      text.append(takeUntil(_text, "]]>"));
      if (!skip(_text, "]]>")) return std::nullopt;
    }
    if (!text::isValidUtf8(text)) return std::nullopt;
    return text;
  }

  /// Appends the character of a reference, and skips the reference; its "&" is before \a rest. One half of a surrogate
  /// pair without the other makes the text ill-formed.
  static bool readReference(std::string_view& rest, std::string& text) {
    static constexpr std::pair<std::string_view, char> kNamed[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    const std::string_view name = takeName(rest);
    for (const auto& [known, character] : kNamed) {
      if (name == known) {
        text += character;
        return true;
      }
    }
    std::optional<std::uint64_t> number = characterNumber(name);
    if (number && *number >= 0xD800 && *number < 0xDC00 && skip(rest, '&')) {
      const std::optional<std::uint64_t> low = characterNumber(takeName(rest));
      if (!low || *low < 0xDC00 || *low > 0xDFFF) return false;
      number = 0x10000 + ((*number - 0xD800) << 10) + (*low - 0xDC00);
    }
    if (number) text::appendUtf8(static_cast<char32_t>(*number), text);
    return number.has_value();
  }

  /// Takes the text before the next ";", and skips that. \return the text; empty if there is no ";".
  static std::string_view takeName(std::string_view& rest) {
    const std::string_view name = takeUntil(rest, ';');
    return skip(rest, ';') ? name : "";
  }

  static std::optional<std::uint64_t> characterNumber(std::string_view name) {
    if (!skip(name, '#')) return std::nullopt;
    const bool isHexadecimal = skip(name, 'x');
    return numberFrom(name, isHexadecimal ? 16 : 10, 0x10FFFF);
  }

  // ----- Markup -----

  static bool isQuote(char c) { return c == '"' || c == '\''; }

  /// Skips white space, comments and processing instructions. \return false if one of them does not end.
  bool skipMiscellany() {
    while (true) {
      takeAll(_text, isSpace);
      if (_text.size() < 2 || (_text[1] != '!' && _text[1] != '?')) return true;  // a tag, in nearly all cases
      if (skip(_text, "<!--")) {
        if (!skipPast(_text, "-->")) return false;
      } else if (skip(_text, "<?")) {
        if (!skipPast(_text, "?>")) return false;
      } else {
        return true;
      }
    }
  }

  /// Skips the rest of a DOCTYPE. \return false if it does not end, or has an internal subset.
  bool skipDeclaration() {
    while (!_text.empty()) {
      const char c = take(_text);
      if (c == '>') return true;
      if (c == '[' || (isQuote(c) && !skipPast(_text, c))) return false;
    }
    return false;
  }

  std::optional<Tag> readNextTag() {
    if (!skipMiscellany()) return std::nullopt;
    return readTag();
  }

  /// Reads a tag and ignores its attributes.
  std::optional<Tag> readTag() {
    if (!skip(_text, '<')) return std::nullopt;
    Tag tag;
    tag.isClosing = skip(_text, '/');
    tag.name = takeAll(_text, [](char c) { return !isSpace(c) && c != '/' && c != '>'; });
    while (!_text.empty()) {
      const char c = take(_text);
      if (c == '>') return tag;
      if (isQuote(c) && !skipPast(_text, c)) return std::nullopt;
      tag.isEmpty = c == '/';
    }
    return std::nullopt;
  }

  bool readEnd(std::string_view name) {
    if (!skip(_text, "</") || !skip(_text, name)) return false;
    takeAll(_text, isSpace);
    return skip(_text, '>');
  }

  std::string_view _text;  // the remaining text
  Budget _values;
};

}  // namespace

std::optional<PropertyListValue> readXml(std::string_view text, const Limits& limits) {
  return XmlReader(text, limits).read();
}

}  // namespace hotfix::property_list
