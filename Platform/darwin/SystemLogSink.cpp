#include "Platform/posix/SystemLogSink.h"

#include <asl.h>

// Apple System Log is deprecated from macOS 10.12 on, and what replaces it is not there before.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace hotfix::platform {

// The levels have the numbers of asl.h.
void sendToSystemLog(LogLevel level, const std::string& message) {
  (void)asl_log(nullptr, nullptr, static_cast<int>(level), "%s", message.c_str());
}

}  // namespace hotfix::platform
