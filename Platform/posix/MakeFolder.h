#ifndef PLATFORM_POSIX_MAKE_FOLDER_H_
#define PLATFORM_POSIX_MAKE_FOLDER_H_

#include <string>

namespace hotfix::platform {

/// Creates only the folder \a path, with mode 0777 less the umask. \return 0 or the number of the error.
int makeFolder(const std::string& path);

}  // namespace hotfix::platform

#endif
