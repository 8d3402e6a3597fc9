#ifndef PLATFORM_PASTEBOARD_H_
#define PLATFORM_PASTEBOARD_H_

#include <optional>
#include <string>

#include "Support/PropertyListValue.h"

/// A named pasteboard: a store with one property list per type, shared by the processes of one user.
///
/// On macOS it is the pasteboard server. On Linux it is a file of that name that only its user can read, in the user's
/// run-time folder `/run/user/<uid>`, otherwise in `Library/Pasteboards` of the home folder. The file is written
/// atomically and never read or written through a link. Failures are silent.
///
/// A pasteboard belongs to the last process that declared a type for it, and only that process can store.
namespace hotfix::platform {

/// Clears the pasteboard and declares \a type as its only type. On Linux, creates a missing `Library/Pasteboards`, and
/// a missing `Library`.
void declarePasteboardType(const std::string& pasteboard, const std::string& type);

/// Stores \a value under \a type. Does nothing when this process has not declared the type, or another process has
/// declared one since.
void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value);

/// The value that any process has stored under \a type; none when there is no value, or when the store is damaged.
std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type);

}  // namespace hotfix::platform

#endif
