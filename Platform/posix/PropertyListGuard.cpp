#include "Platform/posix/PropertyListGuard.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "Platform/posix/PropertyListLimits.h"
#include "Support/OptionalString.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

/// libplist counts bytes in 32 bits.
bool isTooLongForLibPlist(size_t size) { return size >= std::numeric_limits<std::uint32_t>::max(); }

// ----- Binary lists -----

/// The objects of a binary list: a mark of eight bytes, the objects, a table of their offsets, a trailer.
class BinaryList {
 public:
  explicit BinaryList(std::string_view bytes) : _bytes(bytes) {}

  /// Takes over the trailer. \return false when it, or the table that it tells of, does not fit the list.
  bool readTrailer() {
    constexpr size_t kMarkSize = 8;
    constexpr size_t kTrailerSize = 32;
    if (_bytes.size() < kMarkSize + kTrailerSize || isTooLongForLibPlist(_bytes.size())) return false;
    if (_bytes.substr(0, 7) != "bplist0") return false;
    const size_t trailer = _bytes.size() - kTrailerSize;
    _offsetSize = byteAt(trailer + 6);
    _referenceSize = byteAt(trailer + 7);
    _objectCount = numberAt(trailer + 8, 8);
    _root = numberAt(trailer + 16, 8);
    const std::uint64_t table = numberAt(trailer + 24, 8);

    if (_offsetSize < 1 || _offsetSize > 8 || _referenceSize < 1 || _referenceSize > 8) return false;
    if (table <= kMarkSize || table >= trailer || _root >= _objectCount) return false;
    const std::uint64_t tableSize = trailer - table;
    if (tableSize % _offsetSize != 0 || tableSize / _offsetSize != _objectCount) return false;
    if (!canHold(_offsetSize, table) || !canHold(_referenceSize, _objectCount)) return false;
    _table = static_cast<size_t>(table);
    for (std::uint64_t object = 0; object < _objectCount; ++object) {
      const std::uint64_t offset = offsetOf(object);
      if (offset < kMarkSize || offset >= table) return false;
    }
    return true;
  }

  /// Walks the objects from the root on, each of them once.
  bool isSafe() {
    // A list within the limits has at most that many values, and a key for each.
    if (_objectCount > 2ULL * kMostPropertyListValues) return false;
    _extents.resize(static_cast<size_t>(_objectCount));
    if (!enter(_root)) return false;
    while (!_open.empty()) {
      OpenCollection& collection = _open.back();
      if (collection.next == collection.end) {
        const std::uint64_t finished = collection.object;
        extentOf(finished).state = State::Done;
        _open.pop_back();
        if (!_open.empty() && !addTo(_open.back().object, finished)) return false;
        continue;
      }
      const std::uint64_t holder = collection.object;
      const std::uint64_t child = numberAt(collection.next, _referenceSize);
      collection.next += _referenceSize;
      if (child >= _objectCount || extentOf(child).state == State::Open) return false;  // Open: it holds itself
      if (extentOf(child).state == State::New && !enter(child)) return false;
      if (extentOf(child).state == State::Done && !addTo(holder, child)) return false;
    }
    return true;
  }

 private:
  enum class State : std::uint8_t { New, Open, Done };

  /// What an object unfolds to, so far as it is known.
  struct Extent {
    std::uint64_t bytes = 0;   // of strings and data
    std::uint32_t values = 0;  // itself included
    std::uint16_t depth = 0;   // of collections, itself included
    State state = State::New;
  };

  struct OpenCollection {
    std::uint64_t object;
    size_t next;  // where the reference to the next value lies
    size_t end;
  };

  /// The upper half of an object's first byte.
  enum Kind : unsigned {
    kSimple = 0x0,
    kInteger = 0x1,
    kReal = 0x2,
    kDate = 0x3,
    kData = 0x4,
    kAscii = 0x5,
    kUtf16 = 0x6,
    kUid = 0x8,
    kArray = 0xA,
    kDictionary = 0xD
  };

  struct Object {
    unsigned kind;
    unsigned nibble;      // the lower half of its first byte
    std::uint64_t count;  // of bytes, units, values or pairs
    size_t content;       // where they lie

    bool isCollection() const { return kind == kArray || kind == kDictionary; }
    bool isString() const { return kind == kAscii || kind == kUtf16; }
  };

  unsigned byteAt(size_t position) const { return static_cast<unsigned char>(_bytes[position]); }

  /// The big-endian number of \a size bytes; of more than eight, the last eight.
  std::uint64_t numberAt(size_t position, size_t size) const {
    std::uint64_t number = 0;
    for (size_t index = 0; index < size; ++index) number = number << 8 | byteAt(position + index);
    return number;
  }

  /// Whether numbers of \a size bytes go beyond \a number.
  static bool canHold(unsigned size, std::uint64_t number) { return size == 8 || number >> (8 * size) == 0; }

  std::uint64_t offsetOf(std::uint64_t object) const {
    return numberAt(_table + static_cast<size_t>(object) * _offsetSize, _offsetSize);
  }

  Extent& extentOf(std::uint64_t object) { return _extents[static_cast<size_t>(object)]; }

  /// The object, or none when it is of no known kind or reaches into the table of offsets.
  std::optional<Object> objectAt(std::uint64_t number) const {
    const auto start = static_cast<size_t>(offsetOf(number));
    Object object{byteAt(start) >> 4, byteAt(start) & 0xFU, 0, start + 1};
    unsigned unit = 1;  // bytes for each that is counted
    switch (object.kind) {
      case kSimple:
        break;
      case kInteger:
      case kReal:
      case kDate:
        if (object.nibble > 4) return std::nullopt;
        object.count = 1U << object.nibble;
        break;
      case kUid:
        object.count = object.nibble + 1;
        break;
      case kData:
      case kAscii:
        break;
      case kUtf16:
        unit = 2;
        break;
      case kArray:
        unit = _referenceSize;
        break;
      case kDictionary:
        unit = 2 * _referenceSize;
        break;
      default:
        return std::nullopt;
    }
    const bool isCounted = object.isCollection() || object.isString() || object.kind == kData;
    if (isCounted && !readCount(&object)) return std::nullopt;
    if (object.count > (_table - object.content) / unit) return std::nullopt;
    return object;
  }

  /// Takes the count from the nibble or, when that is full, from the integer that follows.
  bool readCount(Object* object) const {
    object->count = object->nibble;
    if (object->nibble != 0xF) return true;
    if (object->content == _table || byteAt(object->content) >> 4 != kInteger) return false;
    const unsigned nibble = byteAt(object->content++) & 0xFU;
    const size_t size = size_t{1} << nibble;
    if (nibble > 3 || size > _table - object->content) return false;
    object->count = numberAt(object->content, size);
    object->content += size;
    return true;
  }

  /// Checks an object that is met for the first time, and opens it when it is a collection.
  bool enter(std::uint64_t number) {
    const std::optional<Object> object = objectAt(number);
    if (!object) return false;
    Extent& extent = extentOf(number);
    extent.values = 1;
    if (object->isCollection()) return open(number, *object);

    // What is looked at once is unfolded at least once: the limit holds for the walk too, however objects overlap.
    if (object->kind == kData || object->isString()) {
      extent.bytes = object->count * (object->kind == kUtf16 ? 2 : 1);
    }
    _bytesSeen += extent.bytes;
    extent.state = State::Done;
    return _bytesSeen <= mostBytes() && isKeptByLibPlist(*object);
  }

  bool open(std::uint64_t number, const Object& object) {
    extentOf(number).depth = 1;
    extentOf(number).state = State::Open;
    size_t values = object.content;
    const auto size = static_cast<size_t>(object.count) * _referenceSize;
    if (object.kind == kDictionary) {
      for (; values < object.content + size; values += _referenceSize) {
        if (!addKeyTo(number, numberAt(values, _referenceSize))) return false;
      }
    }
    _open.push_back({number, values, values + size});
    return true;
  }

  bool addKeyTo(std::uint64_t dictionary, std::uint64_t key) {
    if (key >= _objectCount) return false;
    const std::optional<Object> object = objectAt(key);
    if (!object || !object->isString()) return false;
    if (extentOf(key).state == State::New && !enter(key)) return false;
    extentOf(dictionary).bytes += extentOf(key).bytes;
    return true;
  }

  bool addTo(std::uint64_t collection, std::uint64_t value) {
    const Extent& part = extentOf(value);
    Extent& whole = extentOf(collection);
    whole.values += part.values;
    whole.bytes += part.bytes;
    whole.depth = std::max(whole.depth, static_cast<std::uint16_t>(part.depth + 1));
    return whole.values <= kMostPropertyListValues && whole.bytes <= mostBytes() && whole.depth <= kDeepestPropertyList;
  }

  std::uint64_t mostBytes() const { return _bytes.size() + std::uint64_t{kMostRepeatedPropertyListBytes}; }

  bool isKeptByLibPlist(const Object& object) const {
    switch (object.kind) {
      case kSimple:
        return object.nibble == 8 || object.nibble == 9;  // false, true
      case kInteger:
        return object.nibble < 4 || numberAt(object.content, 8) == 0;
      case kReal:
        return object.nibble == 2 || object.nibble == 3;
      case kDate:
        return object.nibble == 3;
      case kUid:
        return numberAt(object.content, static_cast<size_t>(object.count)) <= std::numeric_limits<std::uint32_t>::max();
      case kAscii:
        return isKeptAscii(_bytes.substr(object.content, static_cast<size_t>(object.count)));
      case kUtf16:
        return isKeptUtf16(object);
      default:
        return true;
    }
  }

  static bool isKeptAscii(std::string_view string) {
    return std::all_of(string.begin(), string.end(), [](char c) { return c != 0 && (c & 0x80) == 0; });
  }

  bool isKeptUtf16(const Object& object) const {
    bool isInPair = false;
    for (std::uint64_t index = 0; index < object.count; ++index) {
      const std::uint64_t unit = numberAt(object.content + 2 * static_cast<size_t>(index), 2);
      const bool isLow = unit >= 0xDC00 && unit <= 0xDFFF;
      if (unit == 0 || isLow != isInPair) return false;
      isInPair = unit >= 0xD800 && unit <= 0xDBFF;
    }
    return !isInPair && object.count > 0;
  }

  std::string_view _bytes;
  unsigned _offsetSize = 0;
  unsigned _referenceSize = 0;
  std::uint64_t _objectCount = 0;
  std::uint64_t _root = 0;
  size_t _table = 0;  // end of the objects

  std::vector<Extent> _extents;  // by object
  std::vector<OpenCollection> _open;
  std::uint64_t _bytesSeen = 0;
};

// ----- XML -----

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The value of a hexadecimal digit, or none.
std::optional<unsigned> digitValue(char c) {
  if (isDigit(c)) return static_cast<unsigned>(c - '0');
  if (lowered(c) >= 'a' && lowered(c) <= 'f') return static_cast<unsigned>(lowered(c) - 'a') + 10;
  return std::nullopt;
}

/// The number that the digits stand for, when there are any, all of them are of that base, and it is at most \a limit.
std::optional<std::uint64_t> numberFrom(std::string_view digits, unsigned base, std::uint64_t limit) {
  if (digits.empty()) return std::nullopt;
  std::uint64_t number = 0;
  for (const char c : digits) {
    const std::optional<unsigned> digit = digitValue(c);
    if (!digit || *digit >= base || number > (limit - *digit) / base) return std::nullopt;
    number = number * base + *digit;
  }
  return number;
}

/// Steps over the first characters of \a text that are of a kind. \return how many they were.
template <typename Kind>
size_t skipAll(std::string_view* text, Kind isOfKind) {
  const size_t count = static_cast<size_t>(std::find_if_not(text->begin(), text->end(), isOfKind) - text->begin());
  text->remove_prefix(count);
  return count;
}

/// Steps over \a prefix. \return false when \a text begins with something else.
bool skip(std::string_view* text, std::string_view prefix) {
  if (text->substr(0, prefix.size()) != prefix) return false;
  text->remove_prefix(prefix.size());
  return true;
}

/// Steps over a sign. \return whether it is a minus.
bool skipSign(std::string_view* text) {
  if (skip(text, "-")) return true;
  skip(text, "+");
  return false;
}

/// An integer in decimal digits: libplist would take a leading zero for the mark of an octal number, and the largest
/// number for one that is too large.
OptionalString plainInteger(std::string_view text) {
  skipAll(&text, isSpace);
  const bool isNegative = skipSign(&text);
  skipAll(&text, isSpace);
  const bool isHexadecimal = skip(&text, "0x") || skip(&text, "0X");
  const std::uint64_t limit = isNegative ? std::uint64_t{1} << 63 : std::numeric_limits<std::uint64_t>::max();
  const std::optional<std::uint64_t> number = numberFrom(text, isHexadecimal ? 16 : 10, limit);
  if (!number) return std::nullopt;
  return (isNegative ? "-" : "") + std::to_string(*number);
}

/// A real as strtod reads it whole: libplist would take what comes first in any text, and anything else for 0.
OptionalString plainReal(std::string_view text) {
  skipAll(&text, isSpace);
  const std::string real(text);
  skipSign(&text);
  std::string word(text);
  std::transform(word.begin(), word.end(), word.begin(), lowered);
  if (word == "nan" || word == "inf" || word == "infinity") return real;

  size_t digits = skipAll(&text, isDigit);
  if (skip(&text, ".")) digits += skipAll(&text, isDigit);
  if (digits == 0) return std::nullopt;
  if (skip(&text, "e") || skip(&text, "E")) {
    skipSign(&text);
    if (skipAll(&text, isDigit) == 0) return std::nullopt;
  }
  if (!text.empty()) return std::nullopt;
  return real;
}

/// A date of the only form there is: libplist would read any other as some other date.
OptionalString plainDate(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  const auto fits = [](char form, char c) { return form == 'd' ? isDigit(c) : form == c; };
  if (!std::equal(kForm.begin(), kForm.end(), text.begin(), text.end(), fits)) return std::nullopt;
  const auto isWithin = [text](size_t position, std::uint64_t least, std::uint64_t most) {
    const std::optional<std::uint64_t> number = numberFrom(text.substr(position, 2), 10, most);
    return number && *number >= least;
  };
  const bool isDate = isWithin(5, 1, 12) && isWithin(8, 1, 31) && isWithin(11, 0, 23) && isWithin(14, 0, 59) &&
                      isWithin(17, 0, 60);  // 60: a leap second
  if (!isDate) return std::nullopt;
  return std::string(text);
}

/// Base64 of its alphabet only: libplist stops at some other characters.
std::string plainBase64(std::string_view text) {
  std::string base64;
  std::copy_if(text.begin(), text.end(), std::back_inserter(base64), [](char c) {
    return isDigit(c) || (lowered(c) >= 'a' && lowered(c) <= 'z') || c == '+' || c == '/' || c == '=';
  });
  return base64;
}

/// Reads an XML property list from its start to its end and writes it anew, plainly.
class XmlList {
 public:
  explicit XmlList(std::string_view text) : _text(text) { _output.text.reserve(text.size() + text.size() / 4); }

  std::optional<PlainXmlPropertyList> plain() {
    if (_text.find('\0') != std::string_view::npos || !copyList() || isTooLongForLibPlist(_output.text.size())) {
      return std::nullopt;
    }
    return std::move(_output);
  }

 private:
  struct Tag {
    std::string_view name;
    bool isClosing = false;  // </name>
    bool isEmpty = false;    // <name/>
  };

  struct OpenCollection {
    bool isDictionary;
    bool hasKey;  // whose value is still to come
  };

  bool copyList() {
    if (!skipProlog()) return false;
    std::optional<Tag> tag = readTag();
    const bool isWrapped = tag && tag->name == "plist" && !tag->isClosing && !tag->isEmpty;
    if (isWrapped) tag = readNextTag();
    if (!tag || !copyObject(*tag)) return false;
    if (!isWrapped) return true;  // whatever follows does not count
    tag = readNextTag();
    return tag && tag->isClosing && tag->name == "plist";
  }

  /// Copies the object that begins with \a tag, with all that it holds.
  bool copyObject(Tag tag) {
    while (true) {
      if (!copyTag(tag)) return false;
      if (_open.empty()) return true;
      const std::optional<Tag> next = readNextTag();
      if (!next) return false;
      tag = *next;
    }
  }

  bool copyTag(const Tag& tag) {
    if (tag.isClosing) return copyEnd(tag);
    if (!_open.empty() && _open.back().isDictionary) {
      const bool isKey = tag.name == "key";
      if (isKey == _open.back().hasKey) return false;
      _open.back().hasKey = isKey;
      if (isKey) return copyKey(tag);
    }
    if (tag.name == "dict" || tag.name == "array") return copyStart(tag);
    return copyScalar(tag);
  }

  bool copyStart(const Tag& tag) {
    if (_open.size() == kDeepestPropertyList) return false;
    write("<", tag.name, tag.isEmpty ? "/>" : ">");
    if (!tag.isEmpty) _open.push_back({tag.name == "dict", false});
    return true;
  }

  bool copyEnd(const Tag& tag) {
    if (_open.empty() || _open.back().hasKey || tag.name != (_open.back().isDictionary ? "dict" : "array"))
      return false;
    write("</", tag.name, ">");
    _open.pop_back();
    return true;
  }

  bool copyScalar(const Tag& tag) {
    if (tag.name == "string") return copyString(tag);
    if (tag.name == "true" || tag.name == "false") {
      write("<", tag.name, "/>");
      return tag.isEmpty || readEnd(tag.name);
    }
    if (tag.isEmpty) return false;
    const std::string_view text = readUntil("<");
    OptionalString content;
    if (tag.name == "integer") content = plainInteger(text);
    if (tag.name == "real") content = plainReal(text);
    if (tag.name == "date") content = plainDate(text);
    if (tag.name == "data") content = plainBase64(text);
    return content && readEnd(tag.name) && writeElement(tag.name, *content);
  }

  bool copyKey(const Tag& tag) {
    OptionalString key = readTextOf(tag);
    if (!key) return false;
    writeElement(tag.name, std::to_string(_output.keys.size()));
    _output.keys.push_back(std::move(*key));
    return true;
  }

  bool copyString(const Tag& tag) {
    const OptionalString text = readTextOf(tag);
    if (!text) return false;
    constexpr std::string_view kEnd = "]]>";  // would end the CDATA section: its halves go into two
    std::string content = "<![CDATA[";
    size_t start = 0;
    for (size_t end = 0; (end = text->find(kEnd, start)) != std::string::npos; start = end + 2) {
      content.append(*text, start, end + 2 - start).append("]]><![CDATA[");
    }
    content.append(*text, start).append(kEnd);
    return writeElement(tag.name, content);
  }

  bool writeElement(std::string_view name, std::string_view content) {
    write("<", name, ">");
    _output.text += content;
    write("</", name, ">");
    return true;
  }

  void write(std::string_view before, std::string_view name, std::string_view after) {
    _output.text.append(before).append(name).append(after);
  }

  // ----- Reading -----

  /// The text before \a end, or all that is left. Stops at \a end.
  std::string_view readUntil(std::string_view end) {
    const std::string_view text = _text.substr(0, _text.find(end));
    _text.remove_prefix(text.size());
    return text;
  }

  bool skipPast(std::string_view end) {
    readUntil(end);
    return skip(&_text, end);
  }

  /// Steps over white space, comments and processing instructions. \return false when one of them does not end.
  bool skipMiscellany() {
    while (true) {
      skipAll(&_text, isSpace);
      if (skip(&_text, "<!--")) {
        if (!skipPast("-->")) return false;
      } else if (skip(&_text, "<?")) {
        if (!skipPast("?>")) return false;
      } else {
        return true;
      }
    }
  }

  bool skipProlog() {
    if (!skipMiscellany()) return false;
    while (skip(&_text, "<!DOCTYPE")) {
      if (!skipDeclaration() || !skipMiscellany()) return false;
    }
    return true;
  }

  /// Steps over the rest of a DOCTYPE, with its internal subset. A ">" in quotes or in the subset does not end it.
  bool skipDeclaration() {
    bool isInSubset = false;
    while (!_text.empty()) {
      if (skip(&_text, "<!--")) {
        if (!skipPast("-->")) return false;
        continue;
      }
      if (skip(&_text, "<?")) {
        if (!skipPast("?>")) return false;
        continue;
      }
      const char c = _text.front();
      _text.remove_prefix(1);
      if ((c == '"' || c == '\'') && !skipPast(std::string_view(&c, 1))) return false;
      if (c == '[') isInSubset = true;
      if (c == ']') isInSubset = false;
      if (c == '>' && !isInSubset) return true;
    }
    return false;
  }

  std::optional<Tag> readNextTag() {
    if (!skipMiscellany()) return std::nullopt;
    return readTag();
  }

  /// Reads a tag; its attributes do not count.
  std::optional<Tag> readTag() {
    if (!skip(&_text, "<")) return std::nullopt;
    Tag tag;
    tag.isClosing = skip(&_text, "/");
    tag.name = _text.substr(0, _text.find_first_of(" \t\n\r/>"));
    _text.remove_prefix(tag.name.size());
    while (!_text.empty()) {
      const char c = _text.front();
      _text.remove_prefix(1);
      if (c == '>') return tag;
      if ((c == '"' || c == '\'') && !skipPast(std::string_view(&c, 1))) return std::nullopt;
      tag.isEmpty = c == '/';
    }
    return std::nullopt;
  }

  bool readEnd(std::string_view name) {
    if (!skip(&_text, "</") || !skip(&_text, name)) return false;
    skipAll(&_text, isSpace);
    return skip(&_text, ">");
  }

  /// The text of a string or a key, up to its closing tag and with that.
  OptionalString readTextOf(const Tag& tag) {
    if (tag.isEmpty) return "";
    OptionalString text = readText();
    if (!text || !readEnd(tag.name)) return std::nullopt;
    return text;
  }

  /// The text up to the next tag, with its CDATA sections and entities resolved.
  OptionalString readText() {
    std::string text;
    while (true) {
      const size_t end = _text.find_first_of("<&");
      if (end == std::string_view::npos) return std::nullopt;
      text.append(_text.substr(0, end));
      _text.remove_prefix(end);
      if (skip(&_text, "<![CDATA[")) {
        text.append(readUntil("]]>"));
        if (!skip(&_text, "]]>")) return std::nullopt;
      } else if (skip(&_text, "&")) {
        const OptionalString character = readEntity();
        if (!character) return std::nullopt;
        text.append(*character);
      } else {
        return text;
      }
    }
  }

  /// The character that the text behind an "&" stands for: one of the five names, or a number of 16 bits.
  OptionalString readEntity() {
    const size_t end = _text.find(';');
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view name = _text.substr(0, end);
    _text.remove_prefix(end + 1);
    if (name == "lt") return "<";
    if (name == "gt") return ">";
    if (name == "amp") return "&";
    if (name == "quot") return "\"";
    if (name == "apos") return "'";
    if (!skip(&name, "#")) return std::nullopt;
    const bool isHexadecimal = skip(&name, "x");
    const std::optional<std::uint64_t> number = numberFrom(name, isHexadecimal ? 16 : 10, 0xFFFF);
    const bool isCharacter = number && *number != 0 && (*number < 0xD800 || *number > 0xDFFF);
    if (!isCharacter) return std::nullopt;
    return text::utf8FromUtf16(std::u16string(1, static_cast<char16_t>(*number)));
  }

  std::string_view _text;  // what is left of it
  PlainXmlPropertyList _output;
  std::vector<OpenCollection> _open;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return BinaryList(bytes).readTrailer(); }

bool isSafeBinaryPropertyList(std::string_view bytes) {
  BinaryList list(bytes);
  return list.readTrailer() && list.isSafe();
}

std::optional<PlainXmlPropertyList> plainXmlPropertyList(std::string_view utf8) { return XmlList(utf8).plain(); }

}  // namespace hotfix::platform
