#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "Platform/posix/SystemLogSink.h"

namespace hotfix::platform {

void log(LogLevel level, const char* format, ...) {
  const int errorBefore = errno;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string message(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(message.data(), message.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  logMessage(level, message);
  errno = errorBefore;
}

}  // namespace hotfix::platform
