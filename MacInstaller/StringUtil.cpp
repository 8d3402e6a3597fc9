#include "MacInstaller/StringUtil.h"

#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/PropertiesEscapes.h"
#include "Support/TextNumber.h"

namespace hotfix {

namespace {

constexpr char _quota[] = "\"";

}  // namespace

// ----- Escapes of a properties file -----

std::u16string StringUtil::convertNSStringTo8859_1Key(const std::u16string& key) {
  std::u16string result;
  properties_escapes::append<char16_t>(key, properties_escapes::Part::Key, result);
  return result;
}

std::u16string StringUtil::convertNSStringTo8859_1Value(const std::u16string& value) {
  std::u16string result;
  properties_escapes::append<char16_t>(value, properties_escapes::Part::Value, result);
  return result;
}

void StringUtil::addHexDigits(std::uint16_t number, std::u16string& toString) {
  properties_escapes::appendHexDigits(number, toString);
}

std::u16string StringUtil::convertUnicode2Characters(const std::u16string& escaped) {
  constexpr size_t kEscapeLength = 6;  // the backslash, the "u" and four digits
  std::u16string result;
  result.reserve(escaped.size());
  for (size_t index = 0; index < escaped.size();) {
    if (escaped[index] != u'\\' || escaped.size() - index < kEscapeLength || escaped[index + 1] != u'u') {
      result += escaped[index++];
      continue;
    }
    unsigned decoded = 0;
    for (size_t digit = index + 2; digit < index + kEscapeLength; ++digit) {
      const unsigned value = text::digitValue(escaped[digit]);
      if (value < 16) decoded = decoded * 16 + value;
    }
    result += static_cast<char16_t>(decoded);
    index += kEscapeLength;
  }
  return result;
}

OptionalUtf16 StringUtil::charAtIndex(std::int32_t index, const OptionalUtf16& ofString) {
  if (!ofString || index < 0 || static_cast<size_t>(index) >= ofString->size()) return std::nullopt;
  return std::u16string(1, (*ofString)[static_cast<size_t>(index)]);
}

// ----- Placeholders -----

std::string StringUtil::stringByReplacingOccurrencesOfString(const std::string& source, const std::string& target,
                                                             const std::string& withString) {
  if (target.empty()) return source;
  // The places, beginning with the last; they do not overlap.
  std::vector<size_t> places;
  for (size_t end = source.size(); end >= target.size();) {
    const size_t place = source.rfind(target, end - target.size());
    if (place == std::string::npos) break;
    places.push_back(place);
    end = place;
  }
  std::string result;
  result.reserve(source.size());
  size_t copied = 0;
  for (auto place = places.rbegin(); place != places.rend(); ++place) {
    result.append(source, copied, *place - copied);
    result += withString;
    copied = *place + target.size();
  }
  return result.append(source, copied, std::string::npos);
}

OptionalString StringUtil::bindString(const OptionalString& templateText,
                                      const std::optional<std::vector<std::string>>& with) {
  static constexpr char kPlaceholder[] = "%@";
  if (!templateText) return std::nullopt;
  std::string result;
  size_t copied = 0;
  for (size_t index = 0;; ++index) {
    const size_t place = templateText->find(kPlaceholder, copied);
    if (place == std::string::npos) break;
    result.append(*templateText, copied, place - copied);
    if (with && index < with->size()) result += (*with)[index];
    copied = place + sizeof kPlaceholder - 1;
  }
  return result.append(*templateText, copied, std::string::npos);
}

// ----- Other texts -----

std::string StringUtil::boolToString(int boolean) { return (boolean & 0xFF) != 0 ? "true" : "false"; }

std::string StringUtil::addQuotesToString(const std::string& text) { return _quota + text + _quota; }

OptionalString StringUtil::getVolume(const OptionalString& path) {
  static constexpr char kVolumes[] = "/Volumes";
  if (!path) return std::nullopt;
  std::string current = platform::expandingTilde(*path);
  for (;;) {
    const std::string parent = path::deletingLastComponent(current);
    if (parent == kVolumes) return current;
    if (parent.empty() || parent == "/") return "/";
    current = parent;
  }
}

std::string StringUtil::addTranslationSignToString(const std::string& text) { return text; }

}  // namespace hotfix
