#ifndef PLATFORM_POSIX_TEXT_CONVERSION_H_
#define PLATFORM_POSIX_TEXT_CONVERSION_H_

#include <string>
#include <string_view>

#include "Support/OptionalString.h"

namespace hotfix::platform {

/// A text in UTF-8.
///
/// \param encoding the text's encoding by its IANA name.
/// \return none when the bytes are no text in that encoding, or the system has no such encoding.
OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding);

}  // namespace hotfix::platform

#endif
