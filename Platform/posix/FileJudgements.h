#ifndef PLATFORM_POSIX_FILE_JUDGEMENTS_H_
#define PLATFORM_POSIX_FILE_JUDGEMENTS_H_

#include <sys/stat.h>

/// Decisions of the file services that depend only on the attributes of a file. Nothing is read or changed here.
namespace hotfix::platform {

/// Whether a file in a folder that others can write to may be trusted.
bool isTrustedFile(const struct stat& status);

/// Whether an existing trace file may be emptied and used, provided that it has no second name.
bool isOwnTraceFile(const struct stat& status);

/// The mode for the copy of a file, or for the file that replaces it. A set-id bit is valid only for the old owner, and
/// only for the file that has it.
mode_t adoptedMode(const struct stat& status, bool isOwnerKept);

}  // namespace hotfix::platform

#endif
