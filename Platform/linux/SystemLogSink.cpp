#include "Platform/posix/SystemLogSink.h"

#include <syslog.h>

namespace hotfix::platform {

// The levels have the numbers of syslog(3). The ident and options are those of the process, which may be somebody
// else's: no openlog(3), no closelog(3).
void sendToSystemLog(LogLevel level, const std::string& message) {
  syslog(LOG_USER | static_cast<int>(level), "%s", message.c_str());
}

}  // namespace hotfix::platform
