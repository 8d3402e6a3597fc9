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
///
/// A pasteboard belongs to the process that was the last to declare a type for it, and only that one can store.
namespace hotfix::platform {

/// Clears the pasteboard and declares \a type as the only one that it takes. On Linux a missing `Library/Pasteboards`
/// is made for it, and a missing `Library` too.
void declarePasteboardType(const std::string& pasteboard, const std::string& type);

/// Stores \a value under \a type. Does nothing when this process has not declared the type, or another one has declared
/// one since.
void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value);

/// What is stored under \a type, by whichever process; none when nothing is, or when the store is damaged.
std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type);

}  // namespace hotfix::platform

#endif
