#include "Support/PropertyListValue.h"

namespace hotfix {

// Not in the header: they are large.
PropertyListValue::PropertyListValue(const PropertyListValue& other) = default;
PropertyListValue::~PropertyListValue() = default;

// A value that was moved from is the empty string, never a dictionary without content.
PropertyListValue::PropertyListValue(PropertyListValue&& other) noexcept { _value.swap(other._value); }

PropertyListValue::OwnDictionary::OwnDictionary(Dictionary dictionary)
    : _dictionary(std::make_unique<Dictionary>(std::move(dictionary))) {}

PropertyListValue::OwnDictionary::OwnDictionary(const OwnDictionary& other) : OwnDictionary(*other.get()) {}

const PropertyListValue::Dictionary* PropertyListValue::asDictionary() const {
  const auto* own = std::get_if<OwnDictionary>(&_value);
  return own != nullptr ? own->get() : nullptr;
}

PropertyListValue::Dictionary* PropertyListValue::asDictionary() {
  const auto* own = std::get_if<OwnDictionary>(&_value);
  return own != nullptr ? own->get() : nullptr;
}

// By value, because the other one may be a part of this one.
PropertyListValue& PropertyListValue::operator=(PropertyListValue other) noexcept {
  _value.swap(other._value);
  return *this;
}

}  // namespace hotfix
