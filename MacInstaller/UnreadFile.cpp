#include "MacInstaller/UnreadFile.h"

#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"

namespace hotfix::unread_file {

bool isAt(const std::string& path) { return !platform::isMissing(path) && !platform::readFile(path); }

void logNotSaved(const std::string& path) {
  platform::log(platform::LogLevel::Error, "Not saved: %s exists, but cannot be read.", path.c_str());
}

}  // namespace hotfix::unread_file
