#include "Support/PropertyListValue.h"

namespace hotfix {

// Not in the header: they are large.
PropertyListValue::PropertyListValue(const PropertyListValue& other) = default;
PropertyListValue::PropertyListValue(PropertyListValue&& other) noexcept = default;
PropertyListValue::~PropertyListValue() = default;

// By value, because the other one may be a part of this one.
PropertyListValue& PropertyListValue::operator=(PropertyListValue other) noexcept {
  _value.swap(other._value);
  return *this;
}

}  // namespace hotfix
