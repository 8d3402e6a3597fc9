#include "Platform/posix/LogMessage.h"

#include <cstdio>

namespace hotfix::platform {

std::string formattedMessage(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string message(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(message.data(), message.size() + 1, format, again);
  va_end(again);
  return message;
}

}  // namespace hotfix::platform
