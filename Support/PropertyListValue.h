#ifndef SUPPORT_PROPERTY_LIST_VALUE_H_
#define SUPPORT_PROPERTY_LIST_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

/// One value of a property list: a string, boolean, integer, real, date, block of data, array or dictionary.
///
/// A value type: copies are deep. It keeps every type of a property list, so that a list can be written back without
/// loss.
class PropertyListValue {
 public:
  using Array = std::vector<PropertyListValue>;
  using Dictionary = std::map<std::string, PropertyListValue>;

  /// A whole number. Property lists have the ranges of both 64-bit types.
  struct Integer {
    std::uint64_t bits = 0;  ///< the number, or its two's complement when it is negative
    bool isNegative = false;

    friend bool operator==(const Integer& left, const Integer& right) {
      return left.bits == right.bits && left.isNegative == right.isNegative;
    }
  };

  /// A moment, in seconds since 2001-01-01 00:00:00 UTC.
  struct Date {
    double secondsSince2001 = 0;

    friend bool operator==(const Date& left, const Date& right) {
      return left.secondsSince2001 == right.secondsSince2001;
    }
  };

  /// Uninterpreted bytes.
  struct Data {
    std::string bytes;

    friend bool operator==(const Data& left, const Data& right) { return left.bytes == right.bytes; }
  };

  PropertyListValue() = default;  ///< the empty string
  // NOLINTBEGIN(google-explicit-constructor): a text is a value
  PropertyListValue(std::string text) : _value(std::move(text)) {}
  PropertyListValue(const char* text)
      : _value(std::string(text != nullptr ? text : "")) {}  // not a boolean; null is ""
  // NOLINTEND(google-explicit-constructor)
  PropertyListValue(std::nullptr_t) = delete;
  explicit PropertyListValue(bool boolean) : _value(boolean) {}
  explicit PropertyListValue(Integer integer) : _value(integer) {}
  explicit PropertyListValue(double real) : _value(real) {}
  explicit PropertyListValue(Date date) : _value(date) {}
  explicit PropertyListValue(Data data) : _value(std::move(data)) {}
  explicit PropertyListValue(Array array) : _value(std::move(array)) {}
  explicit PropertyListValue(Dictionary dictionary) : _value(OwnDictionary(std::move(dictionary))) {}
  PropertyListValue(const PropertyListValue& other);
  PropertyListValue(PropertyListValue&& other) noexcept;
  PropertyListValue& operator=(PropertyListValue other) noexcept;
  ~PropertyListValue();

  static PropertyListValue integer(std::int64_t number) {
    return PropertyListValue(Integer{static_cast<std::uint64_t>(number), number < 0});
  }

  /// Each accessor returns nullptr when the value is of another type. The pointer is valid during the lifetime of this
  /// value.
  const std::string* asString() const { return std::get_if<std::string>(&_value); }
  const bool* asBoolean() const { return std::get_if<bool>(&_value); }
  const Integer* asInteger() const { return std::get_if<Integer>(&_value); }
  const double* asReal() const { return std::get_if<double>(&_value); }
  const Date* asDate() const { return std::get_if<Date>(&_value); }
  const Data* asData() const { return std::get_if<Data>(&_value); }
  const Array* asArray() const { return std::get_if<Array>(&_value); }
  Array* asArray() { return std::get_if<Array>(&_value); }
  const Dictionary* asDictionary() const;
  Dictionary* asDictionary();

  /// True for the same type and the same content. A real that is not a number (NaN) equals nothing.
  friend bool operator==(const PropertyListValue& left, const PropertyListValue& right) {
    return left._value == right._value;
  }
  friend bool operator!=(const PropertyListValue& left, const PropertyListValue& right) { return !(left == right); }

 private:
  /// A dictionary outside of the value: inside, every value would be as large as one.
  class OwnDictionary {
   public:
    explicit OwnDictionary(Dictionary dictionary);
    OwnDictionary(const OwnDictionary& other);
    OwnDictionary(OwnDictionary&& other) noexcept = default;
    OwnDictionary& operator=(const OwnDictionary&) = delete;
    OwnDictionary& operator=(OwnDictionary&& other) noexcept = default;
    ~OwnDictionary() = default;

    Dictionary* get() const { return _dictionary.get(); }
    friend bool operator==(const OwnDictionary& left, const OwnDictionary& right) {
      return *left.get() == *right.get();
    }

   private:
    std::unique_ptr<Dictionary> _dictionary;
  };

  std::variant<std::string, bool, Integer, double, Date, Data, Array, OwnDictionary> _value;
};

/// The value of a key in a dictionary; null when the key is not present.
inline const PropertyListValue* valueFor(const PropertyListValue::Dictionary& dictionary, const std::string& key) {
  const auto entry = dictionary.find(key);
  return entry != dictionary.end() ? &entry->second : nullptr;
}

/// The text of a key in a dictionary; none when the key is not present, or its value is of another type.
inline OptionalString textFor(const PropertyListValue::Dictionary& dictionary, const std::string& key) {
  const PropertyListValue* value = valueFor(dictionary, key);
  const std::string* text = value != nullptr ? value->asString() : nullptr;
  return text != nullptr ? OptionalString(*text) : std::nullopt;
}

}  // namespace hotfix

#endif
