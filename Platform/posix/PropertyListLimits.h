#ifndef PLATFORM_POSIX_PROPERTY_LIST_LIMITS_H_
#define PLATFORM_POSIX_PROPERTY_LIST_LIMITS_H_

/// How far a property list may go. Foreign bytes past these limits are no property list.
namespace hotfix::platform {

/// How many collections may lie in one another, in any form of a property list.
inline constexpr int kDeepestPropertyList = 512;

/// To how many values a binary list may unfold. It may name the same object in many places.
inline constexpr unsigned kMostPropertyListValues = 4'000'000;

/// How many more bytes of strings and data a binary list may unfold to than it has itself.
inline constexpr unsigned kMostRepeatedPropertyListBytes = 64U << 20U;

}  // namespace hotfix::platform

#endif
