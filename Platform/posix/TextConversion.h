#ifndef PLATFORM_POSIX_TEXT_CONVERSION_H_
#define PLATFORM_POSIX_TEXT_CONVERSION_H_

#include <string>
#include <string_view>

#include "Support/OptionalString.h"

namespace hotfix::platform {

/// A text in UTF-8.
///
/// \param encoding the IANA name of the text's encoding.
/// \return none if the bytes are not a text in that encoding, or the system does not support it.
OptionalString convertedToUtf8(std::string_view bytes, const std::string& encoding);

}  // namespace hotfix::platform

#endif
