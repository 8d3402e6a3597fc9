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

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;

// ----- Scalars -----

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Skips the first characters of \a text that are of a kind. \return their number.
template <typename Kind>
size_t skipAll(std::string_view& text, Kind isOfKind) {
  const auto count = static_cast<size_t>(std::find_if_not(text.begin(), text.end(), isOfKind) - text.begin());
  text.remove_prefix(count);
  return count;
}

/// Skips \a prefix. \return false if \a text does not begin with it.
bool skip(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool skip(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

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
  skipAll(text, isSpace);
  const bool isNegative = skipSign(text);
  skipAll(text, isSpace);
  const bool isHexadecimal = skip(text, "0x") || skip(text, "0X");
  const std::uint64_t limit = isNegative ? std::uint64_t{1} << 63 : std::numeric_limits<std::uint64_t>::max();
  const std::optional<std::uint64_t> number = numberFrom(text, isHexadecimal ? 16 : 10, limit);
  if (!number) return std::nullopt;
  return Integer{isNegative ? 0 - *number : *number, isNegative && *number != 0};
}

/// "nan", and "inf" or "infinity" with or without a sign, in any case.
std::optional<double> namedReal(std::string_view text) {
  std::string name(text.substr(0, sizeof "-infinity"));
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  if (name == "nan") return std::numeric_limits<double>::quiet_NaN();
  std::string_view unsignedName = name;
  const bool isNegative = skipSign(unsignedName);
  if (unsignedName != "inf" && unsignedName != "infinity") return std::nullopt;
  return isNegative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

bool isDecimal(std::string_view text) {
  skipSign(text);
  size_t digits = skipAll(text, isDigit);
  if (skip(text, '.')) digits += skipAll(text, isDigit);
  if (digits == 0) return false;
  if (skip(text, 'e') || skip(text, 'E')) {
    skipSign(text);
    if (skipAll(text, isDigit) == 0) return false;
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
  skipAll(text, isSpace);
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
  const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
  const std::optional<std::uint64_t> year = numberFrom(digits, 10, kFarthestYear);
  text.remove_prefix(digits.size());
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
    if (tag.name == "string") return readText(tag, value);
    if (tag.name == "dict") return level < kDeepest && readDictionary(tag, level + 1, value);
    if (tag.name == "array") return level < kDeepest && readArray(tag, level + 1, value);
    if (tag.name == "true" || tag.name == "false") {
      value = PropertyListValue(tag.name == "true");
      return tag.isEmpty || readEnd(tag.name);
    }
    if (tag.isEmpty) return false;
    const std::string_view text = readUntil('<');
    return readEnd(tag.name) && readScalar(tag.name, text, value);
  }

  bool readScalar(std::string_view type, std::string_view text, PropertyListValue& value) {
    if (type == "integer") return assign(integerFrom(text), value);
    if (type == "real") return assign(realFrom(text), value);
    if (type == "date") return assign(dateFrom(text), value);
    if (type == "data") return assign(std::optional<Data>(dataFrom(text)), value);
    return false;
  }

  template <typename Content>
  static bool assign(std::optional<Content> content, PropertyListValue& value) {
    if (content) value = PropertyListValue(std::move(*content));
    return content.has_value();
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

  bool readText(const Tag& tag, PropertyListValue& value) {
    return assign(std::optional<std::string>(readTextOf(tag)), value);
  }

  /// Reads the text of a string or a key, including its closing tag. CDATA sections and entities are resolved.
  OptionalString readTextOf(const Tag& tag) {
    std::string text;
    while (!tag.isEmpty) {
      std::string_view plain = readUntil('<');
      for (size_t end; (end = plain.find('&')) != std::string_view::npos;) {
        text.append(plain.substr(0, end));
        plain.remove_prefix(end + 1);
        if (!readReference(plain, text)) return std::nullopt;
      }
      text.append(plain);
      if (skip(_text, "<![CDATA[")) {
        text.append(readUntil(std::string_view("]]>")));
        if (!skip(_text, "]]>")) return std::nullopt;
      } else if (readEnd(tag.name)) {
        break;
      } else {
        return std::nullopt;
      }
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

  /// Skips the text before the next ";" and the ";". \return the text; empty if there is no ";".
  static std::string_view takeName(std::string_view& rest) {
    const size_t end = rest.find(';');
    if (end == std::string_view::npos) return {};
    const std::string_view name = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return name;
  }

  static std::optional<std::uint64_t> characterNumber(std::string_view name) {
    if (!skip(name, '#')) return std::nullopt;
    const bool isHexadecimal = skip(name, 'x');
    return numberFrom(name, isHexadecimal ? 16 : 10, 0x10FFFF);
  }

  // ----- Markup -----

  static bool isQuote(char c) { return c == '"' || c == '\''; }

  char takeCharacter() {
    const char c = _text.front();
    _text.remove_prefix(1);
    return c;
  }

  /// The text before \a end, or all remaining text. Stops at \a end.
  template <typename End>
  std::string_view readUntil(End end) {
    const std::string_view text = _text.substr(0, _text.find(end));
    _text.remove_prefix(text.size());
    return text;
  }

  template <typename End>
  bool skipPast(End end) {
    readUntil(end);
    return skip(_text, end);
  }

  /// Skips white space, comments and processing instructions. \return false if one of them does not end.
  bool skipMiscellany() {
    while (true) {
      skipAll(_text, isSpace);
      if (_text.size() < 2 || (_text[1] != '!' && _text[1] != '?')) return true;  // a tag, in nearly all cases
      if (skip(_text, "<!--")) {
        if (!skipPast("-->")) return false;
      } else if (skip(_text, "<?")) {
        if (!skipPast("?>")) return false;
      } else {
        return true;
      }
    }
  }

  /// Skips the rest of a DOCTYPE. \return false if it does not end, or has an internal subset.
  bool skipDeclaration() {
    while (!_text.empty()) {
      const char c = takeCharacter();
      if (c == '>') return true;
      if (c == '[' || (isQuote(c) && !skipPast(c))) return false;
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
    std::string_view rest = _text;
    const auto isOfName = [](char c) { return !isSpace(c) && c != '/' && c != '>'; };
    tag.name = _text.substr(0, skipAll(rest, isOfName));
    _text = rest;
    while (!_text.empty()) {
      const char c = takeCharacter();
      if (c == '>') return tag;
      if (isQuote(c) && !skipPast(c)) return std::nullopt;
      tag.isEmpty = c == '/';
    }
    return std::nullopt;
  }

  bool readEnd(std::string_view name) {
    if (!skip(_text, "</") || !skip(_text, name)) return false;
    skipAll(_text, isSpace);
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
