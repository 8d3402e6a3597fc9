#include "Platform/posix/SystemLogSink.h"

#include <asl.h>

// Apple System Log is deprecated since macOS 10.12, but its replacement does not exist in earlier releases.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace hotfix::platform {

// The levels have the values of asl.h.
void sendToSystemLog(LogLevel level, const std::string& message) {
  (void)asl_log(nullptr, nullptr, static_cast<int>(level), "%s", message.c_str());
}

}  // namespace hotfix::platform
