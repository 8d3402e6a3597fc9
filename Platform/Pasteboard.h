#ifndef PLATFORM_PASTEBOARD_H_
#define PLATFORM_PASTEBOARD_H_

#include <optional>
#include <string>

#include "Support/PropertyListValue.h"

/// A named pasteboard: a store for one property list a type, shared by the processes of one user.
///
/// On macOS the pasteboard server. On Linux a file of that name which only its user can read, in the user's run-time
/// folder `/run/user/<uid>`, else in `Library/Pasteboards` of the home folder; it is written atomically and never
/// read or written through a link. Failures are silent.
namespace hotfix::platform {

/// Clears the pasteboard and declares \a type as the only one that it takes.
void declarePasteboardType(const std::string& pasteboard, const std::string& type);

/// Stores \a value under \a type. Does nothing when the type was not declared.
void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value);

/// What is stored under \a type; none when nothing is, or when the store is damaged.
std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type);

}  // namespace hotfix::platform

#endif
