#ifndef MACINSTALLER_UNREAD_FILE_H_
#define MACINSTALLER_UNREAD_FILE_H_

#include <string>

/// Files that are never saved over: what they hold is not known, and would be lost.
namespace hotfix::unread_file {

/// Whether a file exists at \a path (or may) and cannot be read.
bool isAt(const std::string& path);

}  // namespace hotfix::unread_file

#endif
