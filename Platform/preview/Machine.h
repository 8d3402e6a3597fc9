#ifndef PLATFORM_PREVIEW_MACHINE_H_
#define PLATFORM_PREVIEW_MACHINE_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "Support/OptionalString.h"

/// The real machine, without the changes of a preview.
namespace hotfix::platform::preview {

/// The attributes of the entry at a path; a link is not followed. None when there is no entry or it cannot be examined.
std::optional<struct stat> statusOf(const std::string& path);

/// Of an entry and the folders above it, the innermost that can be changed by anybody other than root, the caller and
/// the members of the group \a administrators; none when only they can.
OptionalString changeableByOthers(std::string path, const std::string& administrators);

/// The number of bytes that are free for us on the volume of a path; none when it is not known.
std::optional<std::uint64_t> freeBytes(const std::string& path);

}  // namespace hotfix::platform::preview

#endif
