#include "Platform/SystemLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <vector>

#include "Platform/LocalTime.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/SystemHabits.h"
#include "Platform/posix/SystemLogSink.h"

namespace hotfix::platform {

namespace {

struct LogFiles {
  std::mutex mutex;
  std::vector<int> descriptors;
};

LogFiles& logFiles() {
  static auto* files = new LogFiles;  // outlives threads that are still running
  return *files;
}

const char* levelName(LogLevel level) {
  static constexpr const char* kNames[] = {"Error", "Warning", "Notice", "Info"};
  return kNames[static_cast<size_t>(level) - static_cast<size_t>(LogLevel::Error)];
}

/// The "safe" encoding of Apple System Log: no part of a message can look like the start of another one, or move the
/// cursor back over it.
std::string encoded(const std::string& message) {
  std::string result;
  result.reserve(message.size());
  for (size_t at = 0; at < message.size(); ++at) {
    const char c = message[at];
    if (c == '\n' || c == '\r') {
      result += "\n\t";
    } else if (c == '\b') {
      result += "^H";
    } else if (message.compare(at, 2, "\xC2\x85") == 0) {  // next line
      result += "\n\t";
      at += 1;
    } else if (message.compare(at, 3, "\xE2\x80\xA8") == 0 || message.compare(at, 3, "\xE2\x80\xA9") == 0) {
      result += "\n\t";  // line and paragraph separator
      at += 2;
    } else {
      result += c;
    }
  }
  return result;
}

std::string traceLine(LogLevel level, const std::string& message) {
  char host[256] = {};
  (void)gethostname(host, sizeof host - 1);
  return logTime() + " " + encoded(host) + " " + encoded(programName()) + "[" + std::to_string(getpid()) + "] <" +
         levelName(level) + ">: " + encoded(message) + "\n";
}

}  // namespace

std::string logTime() {
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const LocalTime now = currentGregorianLocalTime();
  char text[64];
  std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", kMonths[static_cast<unsigned>(now.month - 1) % 12], now.day,
                now.hour, now.minute, now.second);
  return text;
}

void logMessage(LogLevel level, const std::string& message) {
  sendToSystemLog(level, message);
  const std::lock_guard<std::mutex> lock(logFiles().mutex);
  std::vector<int>& files = logFiles().descriptors;
  if (!files.empty()) {
    const std::string line = traceLine(level, message);
    const auto fails = [&line](int file) { return !writeAll(file, line); };
    files.erase(std::remove_if(files.begin(), files.end(), fails), files.end());
  }
}

void addLogFile(int descriptor) {
  const std::lock_guard<std::mutex> lock(logFiles().mutex);
  std::vector<int>& files = logFiles().descriptors;
  if (std::find(files.begin(), files.end(), descriptor) == files.end()) files.push_back(descriptor);
}

void removeLogFile(int descriptor) {
  const std::lock_guard<std::mutex> lock(logFiles().mutex);
  std::vector<int>& files = logFiles().descriptors;
  files.erase(std::remove(files.begin(), files.end(), descriptor), files.end());
}

int openTraceFile(const std::string& path) {
  struct stat status;
  {
    ScopedFd existing = openRegular(AT_FDCWD, path.c_str(), O_WRONLY);
    if (existing && isUnderThisNameOnly(existing, AT_FDCWD, path.c_str(), status) && isOwnTraceFile(status) &&
        ftruncate(existing.get(), 0) == 0) {
      (void)fcntl(existing.get(), F_SETFL, O_APPEND);  // blocking again; a second opening appends too
      return existing.release();
    }
  }
  // Any other entry of that name was created by another user.
  (void)unlink(path.c_str());
  return retried(
      [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_APPEND | O_CLOEXEC, 0644); });
}

}  // namespace hotfix::platform
