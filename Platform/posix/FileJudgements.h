#ifndef PLATFORM_POSIX_FILE_JUDGEMENTS_H_
#define PLATFORM_POSIX_FILE_JUDGEMENTS_H_

#include <sys/stat.h>

/// What the file services decide by the attributes of a file alone. Nothing is read or changed here.
namespace hotfix::platform {

/// Whether a file that lies where others can write may be trusted.
bool isTrustedFile(const struct stat& status);

/// Whether an existing trace file may be emptied and used, if it has no second name.
bool isOwnTraceFile(const struct stat& status);

/// The mode that a file hands on to its copy, or to the file that replaces it. A set-id bit may speak for the old owner
/// only, and for no file but the one that has it.
mode_t adoptedMode(const struct stat& status, bool isOwnerKept);

}  // namespace hotfix::platform

#endif
