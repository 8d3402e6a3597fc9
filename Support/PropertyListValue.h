#ifndef SUPPORT_PROPERTY_LIST_VALUE_H_
#define SUPPORT_PROPERTY_LIST_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

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
  };

  /// A moment, in seconds since 2001-01-01 00:00:00 UTC.
  struct Date {
    double secondsSince2001 = 0;
  };

  /// Uninterpreted bytes.
  struct Data {
    std::string bytes;
  };

  PropertyListValue() : PropertyListValue(std::string()) {}  ///< the empty string
  PropertyListValue(std::string text);                       // NOLINT(google-explicit-constructor): a text is a value
  PropertyListValue(const char* text);  // NOLINT(google-explicit-constructor): else it would be a boolean; null is ""
  PropertyListValue(std::nullptr_t) = delete;
  explicit PropertyListValue(bool boolean);
  explicit PropertyListValue(Integer integer);
  explicit PropertyListValue(double real);
  explicit PropertyListValue(Date date);
  explicit PropertyListValue(Data data);
  explicit PropertyListValue(Array array);
  explicit PropertyListValue(Dictionary dictionary);
  PropertyListValue(const PropertyListValue& other);
  PropertyListValue(PropertyListValue&& other) noexcept;
  PropertyListValue& operator=(const PropertyListValue& other);
  PropertyListValue& operator=(PropertyListValue&& other) noexcept;
  ~PropertyListValue();

  static PropertyListValue integer(std::int64_t number);

  /// Each accessor returns nullptr when the value is of another type. The pointer is valid during the lifetime of this
  /// value.
  const std::string* asString() const;
  const bool* asBoolean() const;
  const Integer* asInteger() const;
  const double* asReal() const;
  const Date* asDate() const;
  const Data* asData() const;
  const Array* asArray() const;
  Array* asArray();
  const Dictionary* asDictionary() const;
  Dictionary* asDictionary();

  /// True for the same type and the same content. A real that is not a number (NaN) equals nothing.
  friend bool operator==(const PropertyListValue& left, const PropertyListValue& right);
  friend bool operator!=(const PropertyListValue& left, const PropertyListValue& right) { return !(left == right); }

 private:
  std::variant<std::string, bool, Integer, double, Date, Data, std::unique_ptr<Array>, std::unique_ptr<Dictionary>>
      _value;
};

}  // namespace hotfix

#endif
