#include "MacInstaller/UnreadFile.h"

#include "Platform/FileManager.h"

namespace hotfix::unread_file {

bool isAt(const std::string& path) { return !platform::isKnownMissing(path) && !platform::readFile(path); }

}  // namespace hotfix::unread_file
