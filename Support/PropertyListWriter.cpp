#include "Support/PropertyListWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "Support/TextEncoding.h"

namespace hotfix::property_list {

namespace {

using Dictionary = PropertyListValue::Dictionary;

constexpr const char* kProlog =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr const char* kEpilog = "</plist>\n";

// ----- Order of keys -----

/// The byte's position in the order of UTF-16. That is the order of UTF-8, except for U+E000 to U+FFFF (lead bytes EE
/// and EF), which come after all characters of two units (lead bytes F0 to F4).
int utf16Rank(char c) {
  const unsigned char byte = static_cast<unsigned char>(c);
  if (byte < 0xEE) return byte;
  return byte < 0xF0 ? byte + 5 : byte - 2;
}

bool isBefore(const Dictionary::value_type& left, const Dictionary::value_type& right) {
  const auto [here, there] =
      std::mismatch(left.first.begin(), left.first.end(), right.first.begin(), right.first.end());
  if (here == left.first.end() || there == right.first.end()) return there != right.first.end();
  return utf16Rank(*here) < utf16Rank(*there);
}

// ----- Scalars -----

std::string integerText(const PropertyListValue::Integer& integer) {
  return integer.isNegative ? std::to_string(static_cast<std::int64_t>(integer.bits)) : std::to_string(integer.bits);
}

std::string realText(double real) {
  if (std::isnan(real)) return "nan";
  if (std::isinf(real)) return real < 0 ? "-infinity" : "+infinity";
  if (real == 0) return "0.0";
  char text[64];
  std::snprintf(text, sizeof text, "%.17g", real);
  std::string number(text);
  const size_t point = number.find_first_not_of("0123456789+-e");  // that of the process's locale
  if (point != std::string::npos) number.replace(point, number.find_first_of("0123456789", point) - point, ".");
  return number;
}

/// Seconds since 2001-01-01 as UTC in the Gregorian calendar, extended over all years; the year 0 is the one before 1.
std::string dateText(double secondsSince2001) {
  constexpr double kFarthest = 1e15;  // about 31 million years, so that nothing below overflows
  const double seconds = std::isnan(secondsSince2001) ? 0 : std::clamp(secondsSince2001, -kFarthest, kFarthest);
  const auto whole = static_cast<std::int64_t>(std::floor(seconds));
  constexpr std::int64_t kSecondsOfDay = 24 * 60 * 60;
  std::int64_t second = whole % kSecondsOfDay;
  if (second < 0) second += kSecondsOfDay;

  // Howard Hinnant, "chrono-compatible low-level date algorithms", civil_from_days: eras of 400 years that begin on
  // 1 March, so that the leap day is the last of its year.
  constexpr std::int64_t kDaysOfEra = 146097;
  constexpr std::int64_t kDaysTo2001 = 730791;  // from 0000-03-01
  const std::int64_t days = (whole - second) / kSecondsOfDay + kDaysTo2001;
  const std::int64_t era = (days >= 0 ? days : days - (kDaysOfEra - 1)) / kDaysOfEra;
  const std::int64_t dayOfEra = days - era * kDaysOfEra;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // 0 is March
  const int day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  const int month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  const auto year = static_cast<long long>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));

  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", year, month, day,
                static_cast<int>(second / 3600), static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
  return text;
}

// ----- The writer -----

class Writer {
 public:
  explicit Writer(std::string* output) : _output(*output) {}

  /// \return false when a text in the value is not UTF-8.
  bool appendValue(const PropertyListValue& value, size_t level) {
    if (const std::string* text = value.asString()) return appendText("<string>", *text, "</string>\n", level);
    if (const Dictionary* dictionary = value.asDictionary()) return appendDictionary(*dictionary, level);
    if (const PropertyListValue::Array* array = value.asArray()) return appendArray(*array, level);
    if (const bool* boolean = value.asBoolean()) {
      appendLine(*boolean ? "<true/>" : "<false/>", level);
    } else if (const PropertyListValue::Integer* integer = value.asInteger()) {
      appendElement("<integer>", integerText(*integer), "</integer>\n", level);
    } else if (const double* real = value.asReal()) {
      appendElement("<real>", realText(*real), "</real>\n", level);
    } else if (const PropertyListValue::Date* date = value.asDate()) {
      appendElement("<date>", dateText(date->secondsSince2001), "</date>\n", level);
    } else if (const PropertyListValue::Data* data = value.asData()) {
      appendData(data->bytes, level);
    }
    return true;
  }

  bool appendDictionary(const Dictionary& dictionary, size_t level) {
    if (dictionary.empty()) {
      appendLine("<dict/>", level);
      return true;
    }
    appendLine("<dict>", level);
    if (!appendEntries(dictionary, level + 1)) return false;
    appendLine("</dict>", level);
    return true;
  }

 private:
  bool appendEntries(const Dictionary& dictionary, size_t level) {
    const auto append = [this, level](const Dictionary::value_type& entry) {
      return appendText("<key>", entry.first, "</key>\n", level) && appendValue(entry.second, level);
    };
    // A dictionary has the order of UTF-8, which is nearly always the same.
    if (std::is_sorted(dictionary.begin(), dictionary.end(), isBefore)) {
      return std::all_of(dictionary.begin(), dictionary.end(), append);
    }
    std::vector<const Dictionary::value_type*> entries;
    for (const Dictionary::value_type& entry : dictionary) entries.push_back(&entry);
    std::sort(entries.begin(), entries.end(),
              [](const auto* left, const auto* right) { return isBefore(*left, *right); });
    return std::all_of(entries.begin(), entries.end(), [append](const auto* entry) { return append(*entry); });
  }

  static const char* escapeOf(char c) { return c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;"; }

  void appendLine(std::string_view line, size_t level) { _output.append(level, '\t').append(line) += '\n'; }

  void appendElement(std::string_view start, std::string_view content, std::string_view end, size_t level) {
    _output.append(level, '\t').append(start).append(content).append(end);
  }

  bool appendText(std::string_view start, std::string_view text, std::string_view end, size_t level) {
    if (!text::isValidUtf8(text)) return false;
    _output.append(level, '\t').append(start);
    const auto isEscaped = [](char c) { return c == '&' || c == '<' || c == '>'; };
    for (auto at = text.begin(); at != text.end();) {
      const auto next = std::find_if(at, text.end(), isEscaped);
      _output.append(at, next);
      at = next;
      if (at != text.end()) _output += escapeOf(*at++);
    }
    _output += end;
    return true;
  }

  bool appendArray(const PropertyListValue::Array& array, size_t level) {
    if (array.empty()) {
      appendLine("<array/>", level);
      return true;
    }
    appendLine("<array>", level);
    for (const PropertyListValue& element : array) {
      if (!appendValue(element, level + 1)) return false;
    }
    appendLine("</array>", level);
    return true;
  }

  /// Base64 in lines that end at column 76, a tab counted as 8. They are never indented more than 8 tabs.
  void appendData(const std::string& bytes, size_t level) {
    const size_t lineLevel = std::min<size_t>(level, 8);
    const size_t bytesOfLine = (76 - 8 * lineLevel) / 4 * 3;
    appendLine("<data>", level);
    for (size_t start = 0; start < bytes.size(); start += bytesOfLine) {
      appendLine(base64(std::string_view(bytes).substr(start, bytesOfLine)), lineLevel);
    }
    appendLine("</data>", level);
  }

  static std::string base64(std::string_view bytes) {
    constexpr const char* kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto byte = [bytes](size_t index) {
      return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
    };
    std::string text;
    for (size_t index = 0; index < bytes.size(); index += 3) {
      const unsigned bits = byte(index) << 16 | byte(index + 1) << 8 | byte(index + 2);
      text += kAlphabet[bits >> 18];
      text += kAlphabet[bits >> 12 & 63U];
      text += index + 1 < bytes.size() ? kAlphabet[bits >> 6 & 63U] : '=';
      text += index + 2 < bytes.size() ? kAlphabet[bits & 63U] : '=';
    }
    return text;
  }

  std::string& _output;
};

template <typename Write>
OptionalString writtenBy(Write write) {
  std::string text = kProlog;
  Writer writer(&text);
  if (!write(writer)) return std::nullopt;
  text += kEpilog;
  return text;
}

}  // namespace

OptionalString toXml(const PropertyListValue& value) {
  return writtenBy([&value](Writer& writer) { return writer.appendValue(value, 0); });
}

OptionalString toXml(const PropertyListValue::Dictionary& dictionary) {
  return writtenBy([&dictionary](Writer& writer) { return writer.appendDictionary(dictionary, 0); });
}

}  // namespace hotfix::property_list
