#ifndef PLATFORM_POSIX_REPAIRED_FOLDER_H_
#define PLATFORM_POSIX_REPAIRED_FOLDER_H_

#include <sys/stat.h>

#include <optional>
#include <string>

#include "Platform/posix/Descriptors.h"

/// Decides whether the content of a folder may get a new owner. The decision is made about the opened folder, because
/// the path may lead elsewhere afterwards.
namespace hotfix::platform {

/// Whether only root and the effective user can change the entries of an open folder.
bool onlyWeCanWrite(int folder, const struct stat& status);

/// Opens the folder at \a path for a repair of everything below it.
///
/// \param trustedGroup the requested group of the entries. Its members may create links in the path.
/// \param[out] refusal set to the reason why the folder must not be repaired, see setAttributesBelow; otherwise empty.
/// \return empty if it is refused, if there is no folder, or if it cannot be opened.
ScopedFd openForRepair(const std::string& path, std::optional<gid_t> trustedGroup, std::string* refusal);

}  // namespace hotfix::platform

#endif
