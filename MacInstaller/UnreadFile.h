#ifndef MACINSTALLER_UNREAD_FILE_H_
#define MACINSTALLER_UNREAD_FILE_H_

#include <string>

#include "Platform/FileManager.h"

/// Files that a save never replaces: their content is unknown and would be lost.
namespace hotfix::unread_file {

/// Whether a file exists at \a path (or may) and cannot be read.
inline bool isAt(const std::string& path) { return !platform::isKnownMissing(path) && !platform::readFile(path); }

}  // namespace hotfix::unread_file

#endif
