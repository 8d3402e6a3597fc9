#include "Support/PropertyListValue.h"

#include <utility>

namespace hotfix {

namespace {

bool operator==(const PropertyListValue::Integer& left, const PropertyListValue::Integer& right) {
  return left.bits == right.bits && left.isNegative == right.isNegative;
}

bool operator==(const PropertyListValue::Date& left, const PropertyListValue::Date& right) {
  return left.secondsSince2001 == right.secondsSince2001;
}

bool operator==(const PropertyListValue::Data& left, const PropertyListValue::Data& right) {
  return left.bytes == right.bytes;
}

/// Whether two values, read with the same accessor, are of that accessor's type and equal.
template <typename Content>
bool areEqual(const Content* left, const Content* right) {
  return left != nullptr && right != nullptr && *left == *right;
}

}  // namespace

PropertyListValue::PropertyListValue(std::string text) : _value(std::move(text)) {}
PropertyListValue::PropertyListValue(const char* text) : _value(std::string(text != nullptr ? text : "")) {}
PropertyListValue::PropertyListValue(bool boolean) : _value(boolean) {}
PropertyListValue::PropertyListValue(Integer integer) : _value(integer) {}
PropertyListValue::PropertyListValue(double real) : _value(real) {}
PropertyListValue::PropertyListValue(Date date) : _value(date) {}
PropertyListValue::PropertyListValue(Data data) : _value(std::move(data)) {}
PropertyListValue::PropertyListValue(Array array) : _value(std::make_unique<Array>(std::move(array))) {}
PropertyListValue::PropertyListValue(Dictionary dictionary)
    : _value(std::make_unique<Dictionary>(std::move(dictionary))) {}

PropertyListValue::PropertyListValue(const PropertyListValue& other) {
  if (const Array* array = other.asArray()) {
    _value = std::make_unique<Array>(*array);
  } else if (const Dictionary* dictionary = other.asDictionary()) {
    _value = std::make_unique<Dictionary>(*dictionary);
  } else if (const Data* data = other.asData()) {
    _value = *data;
  } else if (const Date* date = other.asDate()) {
    _value = *date;
  } else if (const double* real = other.asReal()) {
    _value = *real;
  } else if (const Integer* integer = other.asInteger()) {
    _value = *integer;
  } else if (const bool* boolean = other.asBoolean()) {
    _value = *boolean;
  } else if (const std::string* text = other.asString()) {
    _value = *text;
  }
}

// A value that was moved from is the empty string, never a collection without content.
PropertyListValue::PropertyListValue(PropertyListValue&& other) noexcept : PropertyListValue() {
  _value.swap(other._value);
}

PropertyListValue& PropertyListValue::operator=(const PropertyListValue& other) {
  PropertyListValue copy(other);  // first: other may be a part of this value
  _value.swap(copy._value);
  return *this;
}

PropertyListValue& PropertyListValue::operator=(PropertyListValue&& other) noexcept {
  PropertyListValue taken(std::move(other));  // first: other may be a part of this value
  _value.swap(taken._value);
  return *this;
}

PropertyListValue::~PropertyListValue() = default;

PropertyListValue PropertyListValue::integer(std::int64_t number) {
  return PropertyListValue(Integer{static_cast<std::uint64_t>(number), number < 0});
}

const std::string* PropertyListValue::asString() const { return std::get_if<std::string>(&_value); }
const bool* PropertyListValue::asBoolean() const { return std::get_if<bool>(&_value); }
const PropertyListValue::Integer* PropertyListValue::asInteger() const { return std::get_if<Integer>(&_value); }
const double* PropertyListValue::asReal() const { return std::get_if<double>(&_value); }
const PropertyListValue::Date* PropertyListValue::asDate() const { return std::get_if<Date>(&_value); }
const PropertyListValue::Data* PropertyListValue::asData() const { return std::get_if<Data>(&_value); }

const PropertyListValue::Array* PropertyListValue::asArray() const {
  const auto* array = std::get_if<std::unique_ptr<Array>>(&_value);
  return array != nullptr ? array->get() : nullptr;
}

PropertyListValue::Array* PropertyListValue::asArray() {
  const auto* array = std::get_if<std::unique_ptr<Array>>(&_value);
  return array != nullptr ? array->get() : nullptr;
}

const PropertyListValue::Dictionary* PropertyListValue::asDictionary() const {
  const auto* dictionary = std::get_if<std::unique_ptr<Dictionary>>(&_value);
  return dictionary != nullptr ? dictionary->get() : nullptr;
}

PropertyListValue::Dictionary* PropertyListValue::asDictionary() {
  const auto* dictionary = std::get_if<std::unique_ptr<Dictionary>>(&_value);
  return dictionary != nullptr ? dictionary->get() : nullptr;
}

bool operator==(const PropertyListValue& left, const PropertyListValue& right) {
  return areEqual(left.asString(), right.asString()) || areEqual(left.asBoolean(), right.asBoolean()) ||
         areEqual(left.asInteger(), right.asInteger()) || areEqual(left.asReal(), right.asReal()) ||
         areEqual(left.asDate(), right.asDate()) || areEqual(left.asData(), right.asData()) ||
         areEqual(left.asArray(), right.asArray()) || areEqual(left.asDictionary(), right.asDictionary());
}

}  // namespace hotfix
