#ifndef MACINSTALLER_INSPECT_DOCUMENT_H_
#define MACINSTALLER_INSPECT_DOCUMENT_H_

#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

/// The documents that hotfixInspect writes, and the reading of a document that it is given.
namespace hotfix::document {

/// Keeps the fields in the order in which they were added, which is the order for a reader.
using Json = nlohmann::ordered_json;

/// A text from outside. UTF-8 becomes a string. Any other text becomes an object, because JSON cannot represent it:
/// {"shown": the text with U+FFFD for invalid bytes, "bytes": all of its bytes in hexadecimal}.
Json fromText(const std::string& text);
Json fromText(const OptionalString& text);  ///< null for an absent text
Json fromTexts(const std::vector<std::string>& texts);

/// The text from which fromText made the value; none for a value that fromText never makes.
OptionalString toText(const Json& json);

/// A field of an object; null if it is missing or if the value is not an object.
const Json& field(const Json& object, const char* name);

/// Kind, owner, group and mode of a file: {"kind", "uid", "user", "gid", "group", "mode": "0644", "size"}.
Json fromStatus(const struct stat& status);

/// Permission bits as text: "0644".
std::string octal(mode_t mode);

/// "2026-11-22T02:43:00Z"; \a seconds since the epoch.
std::string isoTime(long long seconds);
std::string isoNow();

/// The fields with which every document begins.
Json newDocument(const char* kind);

/// One document as text: UTF-8, indented, with a newline at the end.
std::string toString(const Json& document);

/// Null when the bytes are not JSON, or are nested more deeply than any document of ours.
Json parsed(const std::string& bytes);

}  // namespace hotfix::document

#endif
