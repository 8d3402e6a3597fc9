#ifndef PLATFORM_POSIX_REPAIRED_FOLDER_H_
#define PLATFORM_POSIX_REPAIRED_FOLDER_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "Platform/posix/Descriptors.h"

/// Which folder's content may be given to a user, decided about the open folder itself: between a look at a path and
/// the work on it somebody may have put a link there.
namespace hotfix::platform {

/// Whether nobody but root and us can change what the names in an open folder mean.
bool onlyWeCanWrite(int folder, const struct stat& status);

/// Opens the folder at \a path for a repair of all below it.
///
/// \param trustedGroup whose members may put links on the way: the group that the entries are to get.
/// \param[out] refusal set to why the folder there must not be repaired, see setAttributesBelow; empty when it may.
/// \return empty when it is refused, and when no folder is there or it cannot be opened.
ScopedFd openForRepair(const std::string& path, std::optional<gid_t> trustedGroup, std::string* refusal);

}  // namespace hotfix::platform

#endif
