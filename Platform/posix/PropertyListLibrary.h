#ifndef PLATFORM_POSIX_PROPERTY_LIST_LIBRARY_H_
#define PLATFORM_POSIX_PROPERTY_LIST_LIBRARY_H_

#include <optional>
#include <string>

#include "Platform/posix/PropertyListGuard.h"
#include "Support/PropertyListValue.h"

/// The system's library of property lists, given nothing that it could stumble over.
namespace hotfix::platform {

/// Reads a binary list for which isSafeBinaryPropertyList holds; none when the library cannot.
std::optional<PropertyListValue> readSafeBinaryList(const std::string& bytes);

/// Reads a list in XML that was made plain, with its keys put in again; of equal keys the last one counts. None when
/// the library cannot.
std::optional<PropertyListValue> readPlainXmlList(const PlainXmlPropertyList& list);

}  // namespace hotfix::platform

#endif
