#include "Platform/PropertyList.h"

#include <locale.h>
#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/linux/XmlPropertyListWriter.h"
#include "Platform/posix/PropertyListLibrary.h"

namespace hotfix::platform {

namespace {

struct Freer {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename Content>
using ScopedMemory = std::unique_ptr<Content, Freer>;

struct NodeFreer {
  void operator()(void* node) const { plist_free(node); }
};
using ScopedNode = std::unique_ptr<void, NodeFreer>;

/// Gives the calling thread the "C" locale while it lives: libplist reads and prints numbers by the thread's locale.
class ScopedCLocale {
 public:
  ScopedCLocale() : _locale(newlocale(LC_ALL_MASK, "C", nullptr)), _before(uselocale(_locale)) {}
  ScopedCLocale(const ScopedCLocale&) = delete;
  ScopedCLocale& operator=(const ScopedCLocale&) = delete;
  ~ScopedCLocale() {
    uselocale(_before);
    freelocale(_locale);
  }

 private:
  locale_t _locale;
  locale_t _before;
};

// ----- From libplist's tree -----

/// An integer with its sign, which libplist gives away only in its text.
PropertyListValue::Integer integerFrom(plist_t node) {
  PropertyListValue::Integer integer;
  plist_get_uint_val(node, &integer.bits);
  if (integer.bits >> 63 == 0) return integer;
  char* text = nullptr;
  std::uint32_t size = 0;
  plist_to_xml(node, &text, &size);
  const ScopedMemory<char> owner(text);
  integer.isNegative = std::string_view(text, size).find("<integer>-") != std::string_view::npos;
  return integer;
}

/// A date with its fraction and of any year: libplist's accessor has microseconds and 32 bits of seconds.
std::optional<PropertyListValue::Date> dateFrom(plist_t node) {
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(node, &bytes, &size);  // the mark, then the date: a byte for its kind and a big-endian double
  const ScopedMemory<char> owner(bytes);
  constexpr size_t kStart = 9;
  constexpr size_t kSize = 8;
  if (bytes == nullptr || size < kStart + kSize || bytes[kStart - 1] != 0x33) return std::nullopt;
  std::uint64_t bits = 0;
  for (size_t index = 0; index < kSize; ++index) {
    bits = bits << 8 | static_cast<unsigned char>(bytes[kStart + index]);
  }
  PropertyListValue::Date date;
  static_assert(sizeof date.secondsSince2001 == sizeof bits);
  std::memcpy(&date.secondsSince2001, &bits, sizeof bits);
  return date;
}

/// Turns libplist's tree into a value.
class TreeReader {
 public:
  /// \param keys the keys, when those in the tree are but their numbers in this order, or null.
  explicit TreeReader(const std::vector<std::string>* keys) : _keys(keys) {}

  std::optional<PropertyListValue> valueFrom(plist_t node) {
    std::uint64_t size = 0;
    switch (plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        std::uint8_t boolean = 0;
        plist_get_bool_val(node, &boolean);
        return PropertyListValue(boolean != 0);
      }
      case PLIST_UINT:
        return PropertyListValue(integerFrom(node));
      case PLIST_REAL: {
        double real = 0;
        plist_get_real_val(node, &real);
        return PropertyListValue(real);
      }
      case PLIST_STRING: {
        const char* text = plist_get_string_ptr(node, &size);
        return PropertyListValue(std::string(text, static_cast<size_t>(size)));
      }
      case PLIST_DATA: {
        const char* bytes = plist_get_data_ptr(node, &size);
        if (size == 0) return PropertyListValue(PropertyListValue::Data());  // bytes may be null
        return PropertyListValue(PropertyListValue::Data{std::string(bytes, static_cast<size_t>(size))});
      }
      case PLIST_DATE: {
        const std::optional<PropertyListValue::Date> date = dateFrom(node);
        if (!date) return std::nullopt;
        return PropertyListValue(*date);
      }
      case PLIST_UID: {  // as it stands in XML
        PropertyListValue::Integer number;
        plist_get_uid_val(node, &number.bits);
        return PropertyListValue(PropertyListValue::Dictionary{{"CF$UID", PropertyListValue(number)}});
      }
      case PLIST_ARRAY:
        return arrayFrom(node);
      case PLIST_DICT:
        return dictionaryFrom(node);
      case PLIST_KEY:
      case PLIST_NONE:
        break;
    }
    return std::nullopt;
  }

 private:
  std::optional<PropertyListValue> arrayFrom(plist_t node) {
    PropertyListValue::Array array;
    array.reserve(plist_array_get_size(node));
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const ScopedMemory<void> owner(iterator);
    plist_t element = nullptr;
    for (plist_array_next_item(node, iterator, &element); element; plist_array_next_item(node, iterator, &element)) {
      std::optional<PropertyListValue> value = valueFrom(element);
      if (!value) return std::nullopt;
      array.push_back(std::move(*value));
    }
    return PropertyListValue(std::move(array));
  }

  std::optional<PropertyListValue> dictionaryFrom(plist_t node) {
    PropertyListValue::Dictionary dictionary;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const ScopedMemory<void> owner(iterator);
    while (true) {
      char* text = nullptr;
      plist_t element = nullptr;
      plist_dict_next_item(node, iterator, _keys == nullptr ? &text : nullptr, &element);
      const ScopedMemory<char> textOwner(text);
      if (!element) return PropertyListValue(std::move(dictionary));
      std::string key = _keys == nullptr ? text : (*_keys)[_nextKey++];
      std::optional<PropertyListValue> value = valueFrom(element);
      if (!value) return std::nullopt;
      // The tree keeps the order of the list: the last one of equal keys counts. Most lists have their keys sorted, so
      // that the next one belongs at the end.
      dictionary.insert_or_assign(dictionary.end(), std::move(key), std::move(*value));
    }
  }

  const std::vector<std::string>* _keys;
  size_t _nextKey = 0;
};

/// Has libplist read a list that the guard has let pass.
std::optional<PropertyListValue> readByLibPlist(void (*read)(const char*, std::uint32_t, plist_t*),
                                                std::string_view list, const std::vector<std::string>* keys) {
  const ScopedCLocale cLocale;
  plist_t root = nullptr;
  read(list.data(), static_cast<std::uint32_t>(list.size()), &root);
  const ScopedNode owner(root);
  if (root == nullptr) return std::nullopt;
  return TreeReader(keys).valueFrom(root);
}

}  // namespace

std::optional<PropertyListValue> readSafeBinaryList(const std::string& bytes) {
  if (bytes[7] == '0') return readByLibPlist(plist_from_bin, bytes, nullptr);
  std::string list(bytes);  // any last character of the mark will do, but libplist insists on this one
  list[7] = '0';
  return readByLibPlist(plist_from_bin, list, nullptr);
}

std::optional<PropertyListValue> readPlainXmlList(const PlainXmlPropertyList& list) {
  return readByLibPlist(plist_from_xml, list.text, &list.keys);
}

OptionalString xmlPropertyList(const PropertyListValue& value) { return writeXmlPropertyList(value); }

OptionalString xmlPropertyList(const PropertyListValue::Dictionary& dictionary) {
  return writeXmlPropertyList(dictionary);
}

}  // namespace hotfix::platform
