#include "Platform/darwin/CoreFoundationValue.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "Platform/posix/PropertyListLimits.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

CFIndex indexFrom(size_t size) { return static_cast<CFIndex>(size); }

const UInt8* bytePointer(const std::string& bytes) { return reinterpret_cast<const UInt8*>(bytes.data()); }

// ----- Integers past the signed 64 bits, and UIDs -----

// CoreFoundation reads, keeps and writes them, but has no public type for them: so they pass as text.

constexpr char kIntegerStart[] = "<integer>";
constexpr char kUidKey[] = "CF$UID";

Scoped<CFTypeRef> largeIntegerObject(std::uint64_t bits) {
  const std::string list = "<plist>" + std::string(kIntegerStart) + std::to_string(bits) + "</integer></plist>";
  return Scoped<CFTypeRef>(CFPropertyListCreateWithData(kCFAllocatorDefault, dataObjectOver(list).get(),
                                                        kCFPropertyListImmutable, nullptr, nullptr));
}

/// The object as a list in XML; none when no list can hold it.
OptionalString printed(CFTypeRef object) {
  const Scoped<CFDataRef> list(
      CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  return list ? OptionalString(bytesFrom(list.get())) : std::nullopt;
}

/// Where the digits of the first integer in a list begin; null when there is none.
const char* digitsIn(const std::string& list) {
  const size_t start = list.find(kIntegerStart);
  return start == std::string::npos ? nullptr : list.c_str() + start + sizeof kIntegerStart - 1;
}

std::optional<PropertyListValue> largeInteger(CFNumberRef number) {
  const OptionalString list = printed(number);
  const char* digits = list ? digitsIn(*list) : nullptr;
  if (digits == nullptr) return std::nullopt;
  PropertyListValue::Integer integer;
  errno = 0;
  integer.bits = std::strtoull(digits, nullptr, 10);
  if (*digits == '-' || errno == ERANGE) return std::nullopt;
  return PropertyListValue(integer);
}

/// The value of a UID; none for an object of any other kind that is not public.
std::optional<PropertyListValue> uidFrom(CFTypeRef object) {
  const OptionalString list = printed(object);
  if (!list || list->find("<key>" + std::string(kUidKey) + "</key>") == std::string::npos) return std::nullopt;
  const char* digits = digitsIn(*list);
  if (digits == nullptr) return std::nullopt;
  // It has 32 bits without a sign, but may be printed as a number that has one.
  const auto number = static_cast<std::uint32_t>(std::strtoll(digits, nullptr, 10));
  return PropertyListValue(PropertyListValue::Dictionary{{kUidKey, PropertyListValue::integer(number)}});
}

// ----- Objects from values -----

/// Empty for a text that CoreFoundation would write but no reader take.
Scoped<CFStringRef> textObject(const std::string& text) {
  return text.find('\0') == std::string::npos ? stringObject(text) : nullptr;
}

Scoped<CFTypeRef> numberObject(CFNumberType type, const void* number) {
  return Scoped<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, type, number));
}

Scoped<CFTypeRef> integerObject(const PropertyListValue::Integer& integer) {
  if (!integer.isNegative && integer.bits > INT64_MAX) return largeIntegerObject(integer.bits);
  const auto number = static_cast<std::int64_t>(integer.bits);
  return numberObject(kCFNumberSInt64Type, &number);
}

Scoped<CFTypeRef> arrayObject(const PropertyListValue::Array& array) {
  Scoped<CFMutableArrayRef> object(
      CFArrayCreateMutable(kCFAllocatorDefault, indexFrom(array.size()), &kCFTypeArrayCallBacks));
  for (const PropertyListValue& element : array) {
    const Scoped<CFTypeRef> elementObject = objectFrom(element);
    if (!elementObject) return nullptr;
    CFArrayAppendValue(object.get(), elementObject.get());
  }
  return Scoped<CFTypeRef>(object.release());
}

Scoped<CFTypeRef> dictionaryObject(const PropertyListValue::Dictionary& dictionary) {
  Scoped<CFMutableDictionaryRef> object(CFDictionaryCreateMutable(kCFAllocatorDefault, indexFrom(dictionary.size()),
                                                                  &kCFTypeDictionaryKeyCallBacks,
                                                                  &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : dictionary) {
    const Scoped<CFStringRef> keyObject = textObject(key);
    const Scoped<CFTypeRef> valueObject = objectFrom(value);
    if (!keyObject || !valueObject) return nullptr;
    CFDictionarySetValue(object.get(), keyObject.get(), valueObject.get());
  }
  return Scoped<CFTypeRef>(object.release());
}

// ----- Values from objects -----

std::optional<PropertyListValue> numberFrom(CFNumberRef number) {
  if (CFNumberIsFloatType(number) != 0) {
    double real = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    return PropertyListValue(real);
  }
  std::int64_t integer = 0;
  if (CFNumberGetValue(number, kCFNumberSInt64Type, &integer) == 0) return largeInteger(number);
  return PropertyListValue::integer(integer);
}

/// Makes the value of one list.
class ListReader {
 public:
  explicit ListReader(const std::vector<std::string>* keys) : _keys(keys) {}

  std::optional<PropertyListValue> read(CFTypeRef object, int depth) const {
    if (object == nullptr) return std::nullopt;
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) return PropertyListValue(utf8From(static_cast<CFStringRef>(object)));
    if (type == CFBooleanGetTypeID()) {
      return PropertyListValue(CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0);
    }
    if (type == CFNumberGetTypeID()) return numberFrom(static_cast<CFNumberRef>(object));
    if (type == CFDateGetTypeID()) {
      return PropertyListValue(PropertyListValue::Date{CFDateGetAbsoluteTime(static_cast<CFDateRef>(object))});
    }
    if (type == CFDataGetTypeID()) {
      return PropertyListValue(PropertyListValue::Data{bytesFrom(static_cast<CFDataRef>(object))});
    }
    const bool isArray = type == CFArrayGetTypeID();
    if (!isArray && type != CFDictionaryGetTypeID()) return uidFrom(object);
    if (depth == kDeepestPropertyList) return std::nullopt;
    if (isArray) return arrayOf(static_cast<CFArrayRef>(object), depth + 1);
    return dictionaryOf(static_cast<CFDictionaryRef>(object), depth + 1);
  }

 private:
  std::optional<PropertyListValue> arrayOf(CFArrayRef array, int depth) const {
    PropertyListValue::Array values;
    const CFIndex count = CFArrayGetCount(array);
    for (CFIndex index = 0; index < count; ++index) {
      std::optional<PropertyListValue> value = read(CFArrayGetValueAtIndex(array, index), depth);
      if (!value) return std::nullopt;
      values.push_back(std::move(*value));
    }
    return PropertyListValue(std::move(values));
  }

  std::optional<PropertyListValue> dictionaryOf(CFDictionaryRef dictionary, int depth) const {
    const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keyObjects(count);
    std::vector<const void*> objects(count);
    CFDictionaryGetKeysAndValues(dictionary, keyObjects.data(), objects.data());
    PropertyListValue::Dictionary values;
    std::map<std::string, size_t> places;  // of the keys, where they are numbers of places
    for (size_t index = 0; index < count; ++index) {
      OptionalString key = textFrom(keyObjects[index]);
      if (!key) return std::nullopt;
      if (_keys != nullptr) {
        const size_t place = std::strtoul(key->c_str(), nullptr, 10);
        key = (*_keys)[place];
        const auto [before, isFirst] = places.emplace(*key, place);
        if (!isFirst && place < before->second) continue;
        before->second = place;
      }
      std::optional<PropertyListValue> value = read(objects[index], depth);
      if (!value) return std::nullopt;
      values.insert_or_assign(std::move(*key), std::move(*value));
    }
    return PropertyListValue(std::move(values));
  }

  const std::vector<std::string>* _keys;
};

}  // namespace

Scoped<CFStringRef> stringObject(const std::string& utf8) {
  return Scoped<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault, bytePointer(utf8), indexFrom(utf8.size()),
                                                     kCFStringEncodingUTF8, /*isExternalRepresentation=*/0));
}

std::string utf8From(CFStringRef string) {
  // By way of UTF-16: CoreFoundation's own conversion stops at half a surrogate pair.
  const CFIndex length = CFStringGetLength(string);
  std::u16string units(static_cast<size_t>(length), u'\0');
  static_assert(sizeof(UniChar) == sizeof(char16_t));
  CFStringGetCharacters(string, CFRangeMake(0, length), reinterpret_cast<UniChar*>(units.data()));
  return text::utf8FromUtf16(units);
}

OptionalString textFrom(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return std::nullopt;
  return utf8From(static_cast<CFStringRef>(object));
}

Scoped<CFDataRef> dataObject(const std::string& bytes) {
  return Scoped<CFDataRef>(CFDataCreate(kCFAllocatorDefault, bytePointer(bytes), indexFrom(bytes.size())));
}

Scoped<CFDataRef> dataObjectOver(const std::string& bytes) {
  return Scoped<CFDataRef>(
      CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, bytePointer(bytes), indexFrom(bytes.size()), kCFAllocatorNull));
}

std::string bytesFrom(CFDataRef data) {
  const auto size = static_cast<size_t>(CFDataGetLength(data));
  return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), size);
}

Scoped<CFTypeRef> objectFrom(const PropertyListValue& value) {
  if (const std::string* text = value.asString()) return Scoped<CFTypeRef>(textObject(*text).release());
  if (const PropertyListValue::Dictionary* dictionary = value.asDictionary()) return dictionaryObject(*dictionary);
  if (const PropertyListValue::Array* array = value.asArray()) return arrayObject(*array);
  if (const bool* boolean = value.asBoolean()) {
    return Scoped<CFTypeRef>(CFRetain(*boolean ? kCFBooleanTrue : kCFBooleanFalse));
  }
  if (const PropertyListValue::Integer* integer = value.asInteger()) return integerObject(*integer);
  if (const double* real = value.asReal()) return numberObject(kCFNumberDoubleType, real);
  if (const PropertyListValue::Date* date = value.asDate()) {
    return Scoped<CFTypeRef>(CFDateCreate(kCFAllocatorDefault, date->secondsSince2001));
  }
  return Scoped<CFTypeRef>(dataObject(value.asData()->bytes).release());
}

Scoped<CFTypeRef> objectFrom(const PropertyListValue::Dictionary& dictionary) { return dictionaryObject(dictionary); }

std::optional<PropertyListValue> valueFrom(CFTypeRef object, const std::vector<std::string>* keys) {
  return ListReader(keys).read(object, 0);
}

}  // namespace hotfix::platform
