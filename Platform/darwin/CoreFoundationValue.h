#ifndef PLATFORM_DARWIN_CORE_FOUNDATION_VALUE_H_
#define PLATFORM_DARWIN_CORE_FOUNDATION_VALUE_H_

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

/// CoreFoundation objects with an owner, and their conversion from and to the values of this system.
namespace hotfix::platform {

struct Releaser {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns an object that a function with "Create" or "Copy" in its name gave; empty after a failure of it.
template <typename Reference>
using Scoped = std::unique_ptr<std::remove_pointer_t<Reference>, Releaser>;

/// The text as a string object; empty when it is no UTF-8.
Scoped<CFStringRef> stringObject(const std::string& utf8);

/// The string object as UTF-8; half a surrogate pair becomes U+FFFD.
std::string utf8From(CFStringRef string);

/// The same for an object of any type: none when it is no string, or none at all.
OptionalString textFrom(CFTypeRef object);

/// The bytes as a data object.
Scoped<CFDataRef> dataObject(const std::string& bytes);

/// The same without a copy: for calls that are done with it when they return.
Scoped<CFDataRef> dataObjectOver(const std::string& bytes);

/// The bytes of a data object.
std::string bytesFrom(CFDataRef data);

/// A property list value as an object; empty when it holds a text that is no UTF-8, or one with a U+0000.
Scoped<CFTypeRef> objectFrom(const PropertyListValue& value);
Scoped<CFTypeRef> objectFrom(const PropertyListValue::Dictionary& dictionary);

/// A property list object as a value. A UID is a dictionary, as it stands in XML.
///
/// \param keys what the numbers stand for that dictionaries have as keys; of equal ones the last counts. Null when the
///     keys stand for themselves.
/// \return none for an object nested deeper than kDeepestPropertyList, and for one of a kind that no PropertyListValue
///     can be (null, integers past 64 bits).
std::optional<PropertyListValue> valueFrom(CFTypeRef object, const std::vector<std::string>* keys = nullptr);

}  // namespace hotfix::platform

#endif
