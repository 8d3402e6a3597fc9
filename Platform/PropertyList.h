#ifndef PLATFORM_PROPERTY_LIST_H_
#define PLATFORM_PROPERTY_LIST_H_

#include <optional>
#include <string>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

/// Property lists: read in any of their encodings, written as XML.
///
/// XML and binary lists are read by CoreFoundation on macOS and by libplist on Linux, both behind a guard of our own;
/// the old text form by a reader of our own. The XML text that is written is the same, byte for byte, on both.
namespace hotfix::platform {

/// Reads a property list in XML, binary or old-style text form, whatever text encoding it declares. A UID in a binary
/// list is the dictionary { "CF$UID" = number; }, as it stands in XML.
///
/// Hostile input is met with an answer: lists nested more than 512 deep, and binary lists that refer to themselves or
/// that would unfold to more than 4,000,000 values, or to 64 MiB of texts and data beyond their own size, are no
/// property lists. Neither are lists with a U+0000 in a text or a date outside the years 0 to 9999 in XML, which
/// libplist cannot keep. \return none when the bytes are no property list.
std::optional<PropertyListValue> parsePropertyList(const std::string& bytes);

/// The value as an XML property list, keys sorted by their UTF-16 units, as the platform writes it.
///
/// \return none when the value holds a text that is no UTF-8, or has a U+0000: no property list can hold it.
OptionalString xmlPropertyList(const PropertyListValue& value);
OptionalString xmlPropertyList(const PropertyListValue::Dictionary& dictionary);

/// Reads the file at \a path (see readFile) as a property list that has a dictionary at its root.
///
/// \return none when it is missing, unreadable, no property list, or has another root.
std::optional<PropertyListValue::Dictionary> readDictionary(const std::string& path);

/// Writes the dictionary to \a path as an XML property list (see writeFileAtomically).
bool writeDictionary(const std::string& path, const PropertyListValue::Dictionary& dictionary);

}  // namespace hotfix::platform

#endif
