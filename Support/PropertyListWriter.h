#ifndef SUPPORT_PROPERTY_LIST_WRITER_H_
#define SUPPORT_PROPERTY_LIST_WRITER_H_

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

namespace hotfix::property_list {

/// The value as a property list in XML, byte for byte as CoreFoundation writes it: keys sorted by their UTF-16 units,
/// control characters as they are, U+0000 too.
///
/// Independent of the process's locale. A property list has no form for some doubles as a date: fractions of a second
/// are dropped, a number that is no number is written as 2001-01-01, and one that is some million years away as the
/// nearest date that is not.
/// \return none when the value holds a text that is no UTF-8.
OptionalString toXml(const PropertyListValue& value);
OptionalString toXml(const PropertyListValue::Dictionary& dictionary);

}  // namespace hotfix::property_list

#endif
