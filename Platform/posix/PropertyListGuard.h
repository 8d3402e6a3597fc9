#ifndef PLATFORM_POSIX_PROPERTY_LIST_GUARD_H_
#define PLATFORM_POSIX_PROPERTY_LIST_GUARD_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Stands between foreign bytes and the system's library of property lists. CoreFoundation and libplist both recurse as
/// deep as a list is nested. libplist also unfolds whatever a binary list refers to, and reads many things in XML
/// otherwise than CoreFoundation does or than they are written. What passes here both read alike.
namespace hotfix::platform {

/// Whether the bytes begin as a binary property list, and end with a trailer and a table of offsets that fit them.
bool isBinaryPropertyList(std::string_view bytes);

/// Whether the library can read such a binary list: all that can be reached from its root is within the limits of
/// PropertyListLimits.h, has no cycle, lies inside the list, and is of a kind that is kept without loss.
///
/// Refused though a list could hold them: null and sets, which are no property list values; integers of more than 64
/// bits; UIDs of more than 32; and what libplist loses: a U+0000 or half a surrogate pair in a string, and an empty
/// string written as UTF-16.
bool isSafeBinaryPropertyList(std::string_view bytes);

/// A property list in XML that the library cannot misread, and does not take quadratic time for.
///
/// Only the list itself is left: no prolog, no attribute, no comment, no entity, nothing after its end. Numbers and
/// base64 are written in one way, strings as CDATA. Each key is the number of its place in \a keys: libplist looks keys
/// up in a table that never grows, by a hash for which colliding keys are easy to make, and walks the whole dictionary
/// for a key that comes again.
struct PlainXmlPropertyList {
  std::string text;
  std::vector<std::string> keys;
};

/// The property list in an XML text, made plain.
///
/// \param utf8 well-formed UTF-8, whatever encoding the text declares.
/// \return none when the text is no XML property list, or one that is nested too deep. Also for what libplist cannot
///     read without loss: a U+0000, and a date before the year 0 or after 9999.
std::optional<PlainXmlPropertyList> plainXmlPropertyList(std::string_view utf8);

}  // namespace hotfix::platform

#endif
