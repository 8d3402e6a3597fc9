#include "MacInstaller/JavaProperties.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "MacInstaller/UnreadFile.h"
#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Platform/UserIdentity.h"
#include "Support/PropertiesEscapes.h"
#include "Support/TextEncoding.h"
#include "Support/TextMap.h"

namespace hotfix {

namespace {

constexpr size_t kPartSize = size_t{1} << 16;
constexpr char kNoKey[] = "setObjectForKey: key cannot be nil";
constexpr char kNoValue[] = "setObjectForKey: object cannot be nil";

/// White space and line ends of ISO-8859-1, with the next line and the no-break space.
bool isTrimmed(char c) { return std::string_view("\t\n\v\f\r \x85\xA0").find(c) != std::string_view::npos; }

std::string_view trimmed(std::string_view line) {
  while (!line.empty() && isTrimmed(line.front())) line.remove_prefix(1);
  while (!line.empty() && isTrimmed(line.back())) line.remove_suffix(1);
  return line;
}

bool isSeparator(char c) { return c == '=' || c == ':' || c == ' ' || c == '\t'; }

/// Whether a backslash before this byte is dropped.
bool isEscapable(char c) { return c == ':' || c == '\\' || c == '#' || c == ' ' || c == '=' || c == '!'; }

constexpr auto kIsSpecialInKey = [] {
  std::array<bool, 0x100> isSpecial{};
  isSpecial['\\'] = isSpecial['='] = isSpecial[':'] = isSpecial[' '] = isSpecial['\t'] = true;
  return isSpecial;
}();

/// The number of bytes at the start that no rule affects. They are copied together, which makes large files fast.
size_t plainLength(std::string_view text, bool isInKey) {
  if (!isInKey) return std::min(text.find('\\'), text.size());
  size_t length = 0;
  while (length < text.size() && !kIsSpecialInKey[static_cast<unsigned char>(text[length])]) ++length;
  return length;
}

/// Reads a properties file line by line. Its rules differ from Java's, and some lose data. Other programs read and
/// write these files with the same rules, so do not correct them.
class LineReader {
 public:
  /// Reads one trimmed line. Reading drops bytes and adds none, so the result fits into the memory of the line.
  ///
  /// \param[out] out the bytes of the key, then of the value; may be the memory of the line, or memory before it.
  /// \return whether the line is an entry; its lengths are then known.
  bool read(std::string_view line, char* out) {
    keyLength = 0;
    valueLength = 0;
    _out = out;
    if (!_isContinued) _hasSeparator = false;
    // Only "#" begins a comment, not "!". A comment does not change the flags, so a continuation skips it.
    if (!line.empty() && line.front() == '#') return false;
    // Deliberate: a continued line, and a line of less than two characters, keep the flag of the previous line.
    if (!_isContinued && line.size() >= 2) _isOption = line.substr(0, 2) == "-X";

    bool isInKey = true;
    bool isAfterBlank = false;  // the previous byte, which may have been overwritten
    for (size_t index = 0; index < line.size(); ++index) {
      if (const size_t length = plainLength(line.substr(index), isInKey); length > 0) {
        isAfterBlank = line[index + length - 1] == ' ';
        add(line.substr(index, length), isInKey);
        index += length - 1;
        continue;
      }
      const char c = line[index];
      const bool wasAfterBlank = std::exchange(isAfterBlank, c == ' ');
      if (c == '\\') {
        const bool isLast = index + 1 == line.size();
        if (isLast && wasAfterBlank) {
          _isContinued = true;
          continue;
        }
        // The backslash escapes nothing: the same rules apply to the next byte. An escaped separator is still a
        // separator, and the second of two backslashes may be dropped too.
        if (!isLast && isEscapable(line[index + 1])) continue;
      }
      if (isSeparator(c) && isInKey) {
        _hasSeparator = true;
        if (_isOption) addToValue({&c, 1});  // an option keeps them: "-Xdock:name=App" has the value ":name=App"
      } else {
        add({&c, 1}, isInKey);
      }
    }
    // A line with a continuation is dropped with its key; the next line is then an entry without a key.
    return !_isContinued;
  }

  size_t keyLength = 0;
  size_t valueLength = 0;

 private:
  void add(std::string_view bytes, bool& isInKey) {
    if (!_hasSeparator) {
      std::memmove(_out + keyLength, bytes.data(), bytes.size());
      keyLength += bytes.size();
      return;
    }
    addToValue(bytes);
    _isContinued = false;
    isInKey = false;
  }

  void addToValue(std::string_view bytes) {
    std::memmove(_out + keyLength + valueLength, bytes.data(), bytes.size());
    valueLength += bytes.size();
  }

  char* _out = nullptr;
  bool _isContinued = false;
  bool _hasSeparator = false;
  bool _isOption = false;
};

bool isAscii(std::string_view text) {
  unsigned char all = 0;
  for (const char c : text) all |= static_cast<unsigned char>(c);
  return all < 0x80;
}

}  // namespace

JavaProperties::JavaProperties() : _dict(std::make_unique<TextMap>()) {}

JavaProperties::~JavaProperties() = default;

JavaProperties::JavaProperties(const OptionalString& file) : JavaProperties() {
  if (!file) return;
  _file = platform::expandingTilde(*file);
  load();
}

JavaProperties::JavaProperties(platform::FileBelow&& file) : JavaProperties() {
  _fileBelow = std::make_unique<platform::FileBelow>(std::move(file));
  load();
}

void JavaProperties::load() {
  try {
    initDictionary();
  } catch (const std::exception&) {  // not enough memory for the entries
    *_dict = TextMap();
    _isFileUnread = true;
  }
}

void JavaProperties::initDictionary() {
  OptionalString contents = _fileBelow ? _fileBelow->read() : platform::readFile(*_file);
  if (!contents) {
    _isFileUnread = _fileBelow ? _fileBelow->isThere() : !platform::isKnownMissing(*_file);
    return;
  }
  const size_t size = contents->size();
  *_dict = TextMap(std::move(*contents));
  LineReader reader;
  // The text after the last line feed is a line too, even if it is empty.
  for (size_t begin = 0, end = 0; begin <= size; begin = end + 1) {
    char* const file = _dict->block().data();
    end = std::min(std::string_view(file, size).find('\n', begin), size);
    if (!reader.read(trimmed({file + begin, end - begin}), file + begin)) continue;
    const std::string_view key(file + begin, reader.keyLength);
    const std::string_view value(file + begin + reader.keyLength, reader.valueLength);
    if (isAscii({key.data(), key.size() + value.size()})) {
      _dict->setPlaced(begin, key.size(), value.size());
    } else {
      _dict->set(text::utf8FromLatin1(key), text::utf8FromLatin1(value));
    }
  }
}

OptionalString JavaProperties::getPropertyForKey(const OptionalString& key) const {
  if (!key) return std::nullopt;
  const std::optional<std::string_view> value = _dict->find(*key);
  return value ? OptionalString(*value) : std::nullopt;
}

bool JavaProperties::setProperty(const OptionalString& value, const OptionalString& forKey) {
  if (!value || !forKey) {
    platform::log(platform::LogLevel::Error, "%s", forKey ? kNoValue : kNoKey);
    return false;
  }
  _dict->set(*forKey, *value);
  return true;
}

void JavaProperties::removePropertyForKey(const OptionalString& key) {
  if (key) _dict->remove(*key);
}

/// Whether a save to this file would lose its content, because the content is unknown.
bool JavaProperties::wouldLose(const std::string& target) const {
  const bool isBackingFile =
      _file && (target == *_file || platform::resolvedPath(target) == platform::resolvedPath(*_file));
  return isBackingFile ? _isFileUnread : unread_file::isAt(target);
}

bool JavaProperties::savePropertiesToFile(const OptionalString& path) const {
  if (!path && !_file && !_fileBelow) return false;
  const bool isBelow = !path && _fileBelow;
  const std::string target = path ? platform::expandingTilde(*path) : isBelow ? _fileBelow->path() : *_file;
  if (isBelow ? _isFileUnread : wouldLose(target)) {
    platform::log(platform::LogLevel::Error, "Not saved: %s exists, but cannot be read.", target.c_str());
    return false;
  }
  const auto produce = [this](const platform::PartWriter& write) {
    std::string part;
    for (const auto& [key, value] : _dict->sorted()) {
      if (key.empty()) continue;
      properties_escapes::append(key, properties_escapes::Part::Key, part);
      part += '=';
      properties_escapes::append(value, properties_escapes::Part::Value, part);
      part += '\n';
      if (part.size() < kPartSize) continue;
      if (!write(part)) return false;
      part.clear();
    }
    return write(part);
  };
  return isBelow ? _fileBelow->replace(produce) : platform::writeFileAtomically(target, produce);
}

void JavaProperties::mergeWithJavaProperties(const OptionalString& path) {
  if (!path || !platform::exists(*path)) return;
  const JavaProperties other(path);
  for (const auto& [key, value] : other._dict->sorted()) _dict->set(key, value);
  (void)savePropertiesToFile(std::nullopt);  // callers rely on the save; a failure is not reported
}

std::vector<std::string> JavaProperties::propertyNames() const {
  std::vector<std::string> names;
  for (const TextMap::Entry& entry : _dict->sorted()) names.emplace_back(entry.first);
  return names;
}

std::vector<std::string> JavaProperties::allProperties() const { return propertyNames(); }

}  // namespace hotfix
