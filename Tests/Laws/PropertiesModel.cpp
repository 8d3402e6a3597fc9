#include "Tests/Laws/PropertiesModel.h"

#include <cstdio>
#include <utility>

#include "Support/TextEncoding.h"

namespace hotfix::laws {

namespace {

bool isPlain(char16_t unit) { return unit >= 0x20 && unit <= 0x7E; }

/// Whether a backslash is lost before this unit: it is a space or a backslash, or is written with a backslash.
bool takesBackslash(char16_t unit) {
  return !isPlain(unit) || std::u16string(u"\\#!=: ").find(unit) != std::u16string::npos;
}

/// What is left of a line when it has gone through the escapes and back.
std::string survivors(const std::u16string& line) {
  std::string result;
  for (size_t index = 0; index < line.size(); ++index) {
    const char16_t unit = line[index];
    const bool isLast = index + 1 == line.size();
    if (unit == u'\\' && !isLast && takesBackslash(line[index + 1])) continue;
    if (isPlain(unit)) {
      result += static_cast<char>(unit);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(unit));
      result += escape;
    }
  }
  return result;
}

std::pair<std::string, std::string> afterSaving(const std::string& key, const std::string& value) {
  std::u16string line = text::utf16FromUtf8(key) + u"=" + text::utf16FromUtf8(value);
  line.erase(line.find_last_not_of(u' ') + 1);
  const std::string survived = survivors(line);
  const size_t endOfKey = survived.find_first_of("=: ");
  const bool isOption = survived.compare(0, 2, "-X") == 0;
  const size_t start = isOption ? endOfKey : survived.find_first_not_of("=: ", endOfKey);
  return {survived.substr(0, endOfKey), start == std::string::npos ? "" : survived.substr(start)};
}

}  // namespace

Entries afterSaving(const Entries& entries) {
  Entries result;
  for (const auto& [key, value] : entries) {
    if (key.empty()) continue;
    auto [newKey, newValue] = afterSaving(key, value);
    result[newKey] = newValue;
  }
  result[""] = "";
  return result;
}

bool isKept(const std::string& key, const std::string& value) {
  const auto isKeptText = [](const std::string& text) {
    for (size_t index = 0; index < text.size(); ++index) {
      const auto unit = static_cast<char16_t>(static_cast<unsigned char>(text[index]));
      if (!isPlain(unit)) return false;
      if (unit == u'\\' && index + 1 < text.size() &&
          takesBackslash(static_cast<char16_t>(static_cast<unsigned char>(text[index + 1])))) {
        return false;
      }
    }
    return true;
  };
  if (key.empty() || key.compare(0, 2, "-X") == 0) return false;
  if (!isKeptText(key) || key.back() == '\\' || key.find_first_of("=: ") != std::string::npos) return false;
  const bool hasLostEnd =
      !value.empty() && (std::string("=: ").find(value.front()) != std::string::npos || value.back() == ' ');
  return isKeptText(value) && !hasLostEnd;
}

}  // namespace hotfix::laws
