#ifndef PLATFORM_LINUX_XML_PROPERTY_LIST_WRITER_H_
#define PLATFORM_LINUX_XML_PROPERTY_LIST_WRITER_H_

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

namespace hotfix::platform {

/// The value as an XML property list, byte for byte as CoreFoundation writes it.
///
/// Independent of the process's locale. A property list has no form for some doubles as a date: fractions of a second
/// are dropped, a number that is no number is written as 2001-01-01, and one that is some million years away as the
/// nearest date that is not.
/// \return none when the value holds a text that is no UTF-8.
OptionalString writeXmlPropertyList(const PropertyListValue& value);
OptionalString writeXmlPropertyList(const PropertyListValue::Dictionary& dictionary);

}  // namespace hotfix::platform

#endif
