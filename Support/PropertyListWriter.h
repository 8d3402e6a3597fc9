#ifndef SUPPORT_PROPERTY_LIST_WRITER_H_
#define SUPPORT_PROPERTY_LIST_WRITER_H_

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

namespace hotfix::property_list {

/// The value as a property list in XML, byte for byte the same as from CoreFoundation: keys sorted by their UTF-16
/// units, control characters unchanged, including U+0000.
///
/// Independent of the process's locale. A property list cannot represent some doubles as a date: fractions of a second
/// are dropped, NaN is written as 2001-01-01, and a date that is millions of years away is written as the nearest
/// possible date.
/// \return none when the value contains a text that is not UTF-8.
OptionalString toXml(const PropertyListValue& value);
OptionalString toXml(const PropertyListValue::Dictionary& dictionary);

}  // namespace hotfix::property_list

#endif
