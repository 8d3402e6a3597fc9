#ifndef PLATFORM_POSIX_SYSTEM_TEXTS_H_
#define PLATFORM_POSIX_SYSTEM_TEXTS_H_

#include <string>
#include <string_view>

#include "Support/OptionalString.h"

/// What a system knows of encodings and of Unicode, for PropertyList.h and CaseFolding.h.
namespace hotfix::platform {

/// A text in UTF-8.
///
/// \param encoding the IANA name of the text's encoding.
/// \return none if the bytes are not a text in that encoding, or the system does not support it.
OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding);

/// The lower case of a text by Unicode's full mapping. Text and result are UTF-8, the result in canonical
/// decomposition.
std::string lowercasedUtf8(const std::string& text);

/// The common form of all texts that differ only in case, in the same way.
std::string foldedUtf8(const std::string& text);

/// Whether a character is a mark that belongs to the letter before it, such as an accent.
bool isMark(char32_t character);

}  // namespace hotfix::platform

#endif
