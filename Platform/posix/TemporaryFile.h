#ifndef PLATFORM_POSIX_TEMPORARYFILE_H_
#define PLATFORM_POSIX_TEMPORARYFILE_H_

#include <sys/types.h>

#include <string>

#include "Platform/posix/Descriptors.h"

namespace hotfix::platform {

/// Creates a file in an open folder under a temporary name, which the caller renames or removes.
///
/// \param mode of the new file, less the umask.
/// \param name tried first if it is not empty, so that a caller can use a name again that has become free. It receives
///     the name of the file.
/// \return none, with errno set, if the file cannot be created.
ScopedFd createTemporary(int folder, mode_t mode, std::string& name);

}  // namespace hotfix::platform

#endif  // PLATFORM_POSIX_TEMPORARYFILE_H_
