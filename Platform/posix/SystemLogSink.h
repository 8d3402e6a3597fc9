#ifndef PLATFORM_POSIX_SYSTEM_LOG_SINK_H_
#define PLATFORM_POSIX_SYSTEM_LOG_SINK_H_

#include <string>

#include "Platform/SystemLog.h"

namespace hotfix::platform {

/// Sends a finished message to the log of the operating system. Never fails, and never waits for long: a message that
/// the log does not accept is dropped. The tests link a version that keeps it.
void sendToSystemLog(LogLevel level, const std::string& message);

/// Logs a finished message: like \a log, or into the recording of a preview.
void logMessage(LogLevel level, const std::string& message);

/// The current moment for a log line: "Nov  3 09:05:07", independent of the locale.
std::string logTime();

}  // namespace hotfix::platform

#endif
