#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "Support/OptionalString.h"
#include "Support/PropertyListForms.h"
#include "Support/TextEncoding.h"

namespace hotfix::property_list {

namespace {

/// A big-endian number. If there are more than eight bytes, only the last eight are used.
std::uint64_t numberFrom(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

template <typename Real, typename Bits>
double realFrom(std::string_view bytes) {
  const auto bits = static_cast<Bits>(numberFrom(bytes));
  Real real = 0;
  static_assert(sizeof real == sizeof bits);
  std::memcpy(&real, &bits, sizeof bits);
  return static_cast<double>(real);
}

/// A binary list: a mark of eight bytes, the objects, a table of their offsets, a trailer.
class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes, const Limits& limits = {})
      : _bytes(bytes),
        _values(std::min(limits.values,
                         bytes.size() + limits.repeatedValues)),  // each value needs a reference of at least one byte
        _textBytes(bytes.size() + limits.repeatedBytes) {}

  /// \return false when it does not match the list.
  bool readTrailer() {
    constexpr size_t kTrailerSize = 32;
    if (_bytes.size() < kMarkSize + kTrailerSize || _bytes.substr(0, 7) != "bplist0") return false;
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
    return true;
  }

  /// Whether the offsets of all objects are in the range of objects.
  bool hasValidTable() const {
    for (std::uint64_t object = 0; object < _objectCount; ++object) {
      const std::uint64_t offset = offsetOf(object);
      if (offset < kMarkSize || offset >= _table) return false;
    }
    return true;
  }

  std::optional<PropertyListValue> read() {
    PropertyListValue value;
    if (!_values.take() || !readValue(_root, 0, value)) return std::nullopt;
    return value;
  }

 private:
  static constexpr size_t kMarkSize = 8;

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
    unsigned nibble;           // the lower half of its first byte
    std::string_view content;  // without the bytes of its size
  };

  unsigned byteAt(size_t position) const { return static_cast<unsigned char>(_bytes[position]); }
  std::uint64_t numberAt(size_t position, size_t size) const { return numberFrom(_bytes.substr(position, size)); }

  /// Whether numbers of \a size bytes can be greater than \a number.
  static bool canHold(unsigned size, std::uint64_t number) { return size == 8 || number >> (8 * size) == 0; }

  std::uint64_t offsetOf(std::uint64_t object) const {
    return numberAt(_table + static_cast<size_t>(object) * _offsetSize, _offsetSize);
  }

  // ----- Objects -----

  /// The bytes per counted unit of an object; 0 if objects of that kind are not property list values.
  size_t unitOf(unsigned kind) const {
    switch (kind) {
      case kUtf16:
        return 2;
      case kArray:
        return _referenceSize;
      case kDictionary:
        return size_t{2} * _referenceSize;
      default:
        return kind <= kAscii || kind == kUid ? 1 : 0;
    }
  }

  /// None for an object that is missing, of an unknown kind, or that overlaps the table of offsets.
  std::optional<Object> objectAt(std::uint64_t number) const {
    if (number >= _objectCount) return std::nullopt;
    auto at = static_cast<size_t>(offsetOf(number));
    const unsigned kind = byteAt(at) >> 4;
    const unsigned nibble = byteAt(at) & 0xFU;
    ++at;
    const size_t unit = unitOf(kind);
    std::uint64_t count = nibble;
    if (kind == kSimple) {
      count = 0;
    } else if (kind == kInteger || kind == kReal || kind == kDate) {
      count = std::uint64_t{1} << nibble;
    } else if (kind == kUid) {
      count = nibble + 1;
    } else if (nibble == 0xF && !readCount(at, count)) {
      return std::nullopt;
    }
    if (unit == 0 || count > (_table - at) / unit) return std::nullopt;
    return Object{kind, nibble, _bytes.substr(at, static_cast<size_t>(count) * unit)};
  }

  /// A count that does not fit into the nibble: the following integer.
  bool readCount(size_t& at, std::uint64_t& count) const {
    if (at == _table || byteAt(at) >> 4 != kInteger) return false;
    const unsigned nibble = byteAt(at++) & 0xFU;
    const size_t size = size_t{1} << nibble;
    if (nibble > 3 || size > _table - at) return false;
    count = numberAt(at, size);
    at += size;
    return true;
  }

  // ----- Values -----

  /// \param level the number of collections around the value. A list that contains itself ends at the greatest depth.
  bool readValue(std::uint64_t number, int level, PropertyListValue& value) {
    const std::optional<Object> object = objectAt(number);
    if (!object) return false;
    switch (object->kind) {
      case kData:
        if (!_textBytes.take(object->content.size())) return false;
        value = PropertyListValue(Data{std::string(object->content)});
        return true;
      case kArray:
        return level < kDeepest && readArray(object->content, level + 1, value);
      case kDictionary:
        return level < kDeepest && readDictionary(object->content, level + 1, value);
      case kAscii:
      case kUtf16:
        return assign(textOf(*object), value);
      default:
        return readFixed(*object, value);
    }
  }

  /// Reads a value without a count: a boolean, a number, a date or a UID.
  static bool readFixed(const Object& object, PropertyListValue& value) {
    const std::string_view content = object.content;
    const size_t size = content.size();
    const std::uint64_t number = numberFrom(content);
    if (object.kind == kSimple && (object.nibble == 8 || object.nibble == 9)) {
      value = PropertyListValue(object.nibble == 9);
    } else if (object.kind == kInteger && size == 8) {  // only numbers of this size are signed
      value = PropertyListValue::integer(static_cast<std::int64_t>(number));
    } else if (object.kind == kInteger && (size < 8 || (size == 16 && numberFrom(content.substr(0, 8)) == 0))) {
      value = PropertyListValue(Integer{number, false});
    } else if (object.kind == kReal && size == 4) {
      value = PropertyListValue(realFrom<float, std::uint32_t>(content));
    } else if (object.kind == kReal && size == 8) {
      value = PropertyListValue(realFrom<double, std::uint64_t>(content));
    } else if (object.kind == kDate && size == 8) {
      value = PropertyListValue(Date{realFrom<double, std::uint64_t>(content)});
    } else if (object.kind == kUid && number <= std::numeric_limits<std::uint32_t>::max()) {  // as in XML
      value = PropertyListValue(Dictionary{{"CF$UID", PropertyListValue(Integer{number, false})}});
    } else {
      return false;
    }
    return true;
  }

  OptionalString textOf(std::uint64_t number) {
    const std::optional<Object> object = objectAt(number);
    return object ? textOf(*object) : std::nullopt;
  }

  /// The text of a string; none for any other object.
  OptionalString textOf(const Object& object) {
    if ((object.kind != kAscii && object.kind != kUtf16) || !_textBytes.take(object.content.size())) {
      return std::nullopt;
    }
    return object.kind == kAscii ? text::utf8FromLatin1(object.content)
                                 : text::utf8FromUtf16Bytes(object.content, text::ByteOrder::BigEndian);
  }

  bool readArray(std::string_view references, int level, PropertyListValue& value) {
    if (!_values.take(references.size() / _referenceSize)) return false;
    Array array(references.size() / _referenceSize);
    for (PropertyListValue& element : array) {
      if (!readValue(numberFrom(references.substr(0, _referenceSize)), level, element)) return false;
      references.remove_prefix(_referenceSize);
    }
    value = PropertyListValue(std::move(array));
    return true;
  }

  /// If a key occurs several times, the first entry is used.
  bool readDictionary(std::string_view references, int level, PropertyListValue& value) {
    const size_t half = references.size() / 2;
    if (!_values.take(half / _referenceSize)) return false;
    Dictionary dictionary;
    for (size_t at = 0; at < half; at += _referenceSize) {
      OptionalString key = textOf(numberFrom(references.substr(at, _referenceSize)));
      PropertyListValue element;
      if (!key || !readValue(numberFrom(references.substr(half + at, _referenceSize)), level, element)) return false;
      dictionary.try_emplace(dictionary.end(), std::move(*key), std::move(element));  // most lists are sorted
    }
    value = PropertyListValue(std::move(dictionary));
    return true;
  }

  std::string_view _bytes;
  unsigned _offsetSize = 0;
  unsigned _referenceSize = 0;
  std::uint64_t _objectCount = 0;
  std::uint64_t _root = 0;
  size_t _table = 0;  // end of the objects

  Budget _values;
  Budget _textBytes;
};

}  // namespace

bool isBinary(std::string_view bytes) {
  BinaryReader reader(bytes);
  return reader.readTrailer() && reader.hasValidTable();
}

std::optional<PropertyListValue> readBinary(std::string_view bytes, const Limits& limits) {
  BinaryReader reader(bytes, limits);
  return reader.readTrailer() ? reader.read() : std::nullopt;
}

}  // namespace hotfix::property_list
