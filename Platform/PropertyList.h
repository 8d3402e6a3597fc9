#ifndef PLATFORM_PROPERTY_LIST_H_
#define PLATFORM_PROPERTY_LIST_H_

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/FileManager.h"
#include "Support/PropertyListValue.h"

/// Property lists in files: read in any of their forms (Support/PropertyListReader.h), written as XML
/// (Support/PropertyListWriter.h).
namespace hotfix::platform {

/// Reads a property list in any form, and in a text encoding that property_list::read or the system supports.
std::optional<PropertyListValue> parsePropertyList(const std::string& bytes);

/// Reads the file at \a path (see readFile) as a property list with a dictionary at its root.
///
/// \return none when it is missing, unreadable, larger than \a mostBytes, not a property list, or has another root.
std::optional<PropertyListValue::Dictionary> readDictionary(const std::string& path,
                                                            std::uint64_t mostBytes = kLargestFile);

/// Writes the dictionary to \a path as an XML property list (see writeFileAtomically).
bool writeDictionary(const std::string& path, const PropertyListValue::Dictionary& dictionary);

}  // namespace hotfix::platform

#endif
