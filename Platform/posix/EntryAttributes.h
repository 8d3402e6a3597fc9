#ifndef PLATFORM_POSIX_ENTRY_ATTRIBUTES_H_
#define PLATFORM_POSIX_ENTRY_ATTRIBUTES_H_

#include <sys/stat.h>

#include "Platform/posix/Descriptors.h"

/// Owner and mode of one entry through a descriptor that holds on to just this entry, whatever its name comes to mean.
namespace hotfix::platform {

/// Holds on to an entry of an open folder: not its content, and not what it points to if it is a link. A device or FIFO
/// is not opened.
ScopedFd openHandle(int folder, const char* name);

/// The text of a link held by openHandle, \a name of \a folder; none when it cannot be had.
OptionalString heldLinkText(int held, int folder, const char* name);

/// Changes the mode of an entry held by openHandle. \return false, with errno set, on failure.
bool setHandleMode(int held, mode_t mode);

/// Changes owner and group (-1: as it is) of an entry held by openHandle. \return false, with errno set, on failure.
bool changeHeldOwner(int held, uid_t owner, gid_t group);

/// Whether an open folder of this mode has an access control list by which others may change what is in it than those
/// whom the mode names.
bool hasHiddenAccessList(int folder, mode_t mode);

}  // namespace hotfix::platform

#endif
