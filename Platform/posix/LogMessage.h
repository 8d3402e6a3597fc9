#ifndef PLATFORM_POSIX_LOG_MESSAGE_H_
#define PLATFORM_POSIX_LOG_MESSAGE_H_

#include <cstdarg>
#include <string>

namespace hotfix::platform {

/// A message for the log, formatted like vsnprintf(3), of any length.
std::string formattedMessage(const char* format, va_list arguments);

}  // namespace hotfix::platform

#endif
