#ifndef MACINSTALLER_INSPECT_DOCUMENT_H_
#define MACINSTALLER_INSPECT_DOCUMENT_H_

#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

/// The documents that hotfixInspect writes, and what the program makes of one that it is given.
namespace hotfix::document {

/// Keeps the order in which fields were added: it is the order in which a person reads them.
using Json = nlohmann::ordered_json;

/// A text from outside. One that is UTF-8 is a string; any other is {"shown": with U+FFFD for what is no UTF-8,
/// "bytes": all of its bytes, in hexadecimal}, as JSON has no form for it.
Json fromText(const std::string& text);
Json fromText(const OptionalString& text);  ///< null for an absent one
Json fromTexts(const std::vector<std::string>& texts);

/// The text again; none for anything that fromText does not make.
OptionalString toText(const Json& json);

/// A field of an object, or null (also of what is no object).
const Json& field(const Json& object, const char* name);

/// Kind, owner, group and mode of a file: {"kind", "uid", "user", "gid", "group", "mode": "0644", "size"}.
Json fromStatus(const struct stat& status);

/// Permission bits as text: "0644".
std::string octal(mode_t mode);

/// "2026-11-22T02:43:00Z"; the epoch's seconds.
std::string isoTime(long long seconds);
std::string isoNow();

/// What every document begins with.
Json newDocument(const char* kind);

/// One document as text: UTF-8, indented, with a newline at the end.
std::string toString(const Json& document);

/// Nothing when the bytes are no JSON, or nested so deep that no document of ours can be.
Json parsed(const std::string& bytes);

}  // namespace hotfix::document

#endif
