#include "MacInstaller/JavaProperties.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "MacInstaller/StringUtil.h"
#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Platform/UserIdentity.h"
#include "Support/TextEncoding.h"

namespace {

constexpr char kNoKey[] = "setObjectForKey: key cannot be nil";
constexpr char kNoValue[] = "setObjectForKey: object cannot be nil";

/// White space and line ends of ISO-8859-1.
bool isTrimmed(char c) {
  switch (static_cast<unsigned char>(c)) {
    case '\t':
    case '\n':
    case '\v':
    case '\f':
    case '\r':
    case ' ':
    case 0x85:  // next line
    case 0xA0:  // no-break space
      return true;
    default:
      return false;
  }
}

std::string_view trimmed(std::string_view line) {
  while (!line.empty() && isTrimmed(line.front())) line.remove_prefix(1);
  while (!line.empty() && isTrimmed(line.back())) line.remove_suffix(1);
  return line;
}

bool isSeparator(char c) { return c == '=' || c == ':' || c == ' ' || c == '\t'; }

/// Whether a backslash before this byte is dropped.
bool isEscapable(char c) { return c == ':' || c == '\\' || c == '#' || c == ' ' || c == '=' || c == '!'; }

/// Reads a properties file line by line. Its rules differ from Java's, also where they lose data, and files are written
/// by and for readers that share them: they are not to be corrected.
class LineReader {
 public:
  /// Reads one trimmed line.
  /// \return whether it makes an entry, which is then in key and value.
  bool read(std::string_view line) {
    key.clear();
    value.clear();
    if (!_isContinued) _hasSeparator = false;
    // "#" alone begins a comment, not "!"; and it leaves the flags as they are, so that a continuation goes on past it.
    if (!line.empty() && line.front() == '#') return false;
    // A continued line and one of less than two characters keep the flag of the line before, on purpose.
    if (!_isContinued && line.size() >= 2) _isOption = line.substr(0, 2) == "-X";

    bool isInKey = true;
    for (size_t index = 0; index < line.size(); ++index) {
      const char c = line[index];
      if (c == '\\') {
        const bool isLast = index + 1 == line.size();
        if (isLast && index > 0 && line[index - 1] == ' ') {
          _isContinued = true;
          continue;
        }
        // The escape protects nothing: the byte after it is handled by these same rules in its turn, so an escaped
        // separator still separates, and the second of two backslashes may itself be dropped.
        if (!isLast && isEscapable(line[index + 1])) continue;
      }
      if (isSeparator(c) && isInKey) {
        _hasSeparator = true;
        if (_isOption) value += c;  // an option keeps its separators: "-Xdock:name=App" has the value ":name=App"
      } else if (_hasSeparator) {
        value += c;
        _isContinued = false;
        isInKey = false;
      } else {
        key += c;
      }
    }
    // A line that is to be continued is dropped with its key; the next one then makes an entry without a key.
    return !_isContinued;
  }

  std::string key;
  std::string value;

 private:
  bool _isContinued = false;
  bool _hasSeparator = false;
  bool _isOption = false;
};

std::string escapedKey(const std::string& key) {
  return text::utf8FromUtf16(StringUtil::convertNSStringTo8859_1Key(text::utf16FromUtf8(key)));
}

std::string escapedValue(const std::string& value) {
  return text::utf8FromUtf16(StringUtil::convertNSStringTo8859_1Value(text::utf16FromUtf8(value)));
}

}  // namespace

JavaProperties::JavaProperties(const OptionalString& file) {
  if (!file) return;
  _file = platform::expandingTilde(*file);
  initDictionary();
}

void JavaProperties::initDictionary() {
  const OptionalString contents = platform::readFile(*_file);
  if (!contents) {
    _isFileUnread = platform::exists(*_file);
    return;
  }
  LineReader reader;
  std::string_view rest = *contents;
  for (bool isLast = false; !isLast;) {
    const size_t end = rest.find('\n');
    isLast = end == std::string_view::npos;  // what follows the last line feed is a line too, even when it is empty
    if (reader.read(trimmed(rest.substr(0, end)))) {
      _dict[text::utf8FromLatin1(reader.key)] = text::utf8FromLatin1(reader.value);
    }
    if (!isLast) rest.remove_prefix(end + 1);
  }
}

OptionalString JavaProperties::getPropertyForKey(const std::string& key) const {
  const auto entry = _dict.find(key);
  if (entry == _dict.end()) return std::nullopt;
  return entry->second;
}

bool JavaProperties::setProperty(const OptionalString& value, const OptionalString& forKey) {
  if (!value || !forKey) {
    platform::log(platform::LogLevel::Error, "%s", forKey ? kNoValue : kNoKey);
    return false;
  }
  _dict[*forKey] = *value;
  return true;
}

void JavaProperties::removePropertyForKey(const std::string& key) { _dict.erase(key); }

bool JavaProperties::savePropertiesToFile(const OptionalString& path) const {
  if (!path && !_file) return false;
  const std::string target = path ? platform::expandingTilde(*path) : *_file;
  if (_isFileUnread && target == *_file) return false;
  using Entry = std::pair<const std::string, std::string>;
  std::vector<const Entry*> entries;
  entries.reserve(_dict.size());
  for (const Entry& entry : _dict) entries.push_back(&entry);
  std::sort(entries.begin(), entries.end(),
            [](const Entry* left, const Entry* right) { return left->first < right->first; });
  std::string lines;
  for (const Entry* entry : entries) {
    if (!entry->first.empty()) lines += escapedKey(entry->first) + "=" + escapedValue(entry->second) + "\n";
  }
  return platform::writeFileAtomically(target, lines);
}

void JavaProperties::mergeWithJavaProperties(const OptionalString& path) {
  if (!path || !platform::exists(*path)) return;
  const JavaProperties other(path);
  for (const std::string& key : other.propertyNames()) {
    if (const OptionalString value = other.getPropertyForKey(key)) (void)setProperty(value, key);
  }
  (void)savePropertiesToFile(std::nullopt);  // callers rely on it being saved, and do not learn whether it was
}

std::vector<std::string> JavaProperties::propertyNames() const {
  std::vector<std::string> names;
  names.reserve(_dict.size());
  for (const auto& entry : _dict) names.push_back(entry.first);
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> JavaProperties::allProperties() const { return propertyNames(); }
