#ifndef PLATFORM_PREVIEW_MACHINE_H_
#define PLATFORM_PREVIEW_MACHINE_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "Support/OptionalString.h"

/// The machine as it is, without what a preview has put on top of it.
namespace hotfix::platform::preview {

/// What is at a path, a link itself; none when nothing is there or it cannot be looked at.
std::optional<struct stat> statusOf(const std::string& path);

/// The innermost of an entry and the folders above it that somebody else can change than root, the caller, and the
/// members of a group of administrators; none when only they can.
OptionalString changeableByOthers(std::string path, const std::string& administrators);

/// The bytes that are free for us on the volume of a path; none when that is not known.
std::optional<std::uint64_t> freeBytes(const std::string& path);

}  // namespace hotfix::platform::preview

#endif
