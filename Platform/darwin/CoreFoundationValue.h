#ifndef PLATFORM_DARWIN_CORE_FOUNDATION_VALUE_H_
#define PLATFORM_DARWIN_CORE_FOUNDATION_VALUE_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

/// CoreFoundation objects with an owner, and their conversion to and from our values.
namespace hotfix::platform {

struct Releaser {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns an object from a function with "Create" or "Copy" in its name; empty if the function failed.
template <typename Reference>
using Scoped = std::unique_ptr<std::remove_pointer_t<Reference>, Releaser>;

/// The text as a string object; empty when it is not UTF-8.
Scoped<CFStringRef> stringObject(const std::string& utf8);

/// The string object as UTF-8. Half a surrogate pair becomes U+FFFD.
std::string utf8From(CFStringRef string);

/// The same for an object of any type; none when it is null or not a string.
OptionalString textFrom(CFTypeRef object);

/// The bytes of a data object.
std::string bytesFrom(CFDataRef data);

/// A property list object as a value; none when a property list cannot contain it, or when its binary form is larger
/// than \a mostBytes.
std::optional<PropertyListValue> valueFrom(CFTypeRef object, std::uint64_t mostBytes);

}  // namespace hotfix::platform

#endif
