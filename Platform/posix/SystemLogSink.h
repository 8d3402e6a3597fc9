#ifndef PLATFORM_POSIX_SYSTEM_LOG_SINK_H_
#define PLATFORM_POSIX_SYSTEM_LOG_SINK_H_

#include <string>

#include "Platform/SystemLog.h"

namespace hotfix::platform {

/// Hands a finished message to the log of the operating system. Never fails. The tests link one that keeps it.
void sendToSystemLog(LogLevel level, const std::string& message);

}  // namespace hotfix::platform

#endif
