#ifndef PLATFORM_POSIX_ENTRY_ATTRIBUTES_H_
#define PLATFORM_POSIX_ENTRY_ATTRIBUTES_H_

#include <sys/stat.h>

#include "Platform/posix/Descriptors.h"

/// One entry through a handle: a descriptor that always refers to this entry, even if another entry gets its name.
namespace hotfix::platform {

/// Opens a handle for an entry of an open folder. It gives no access to the content. For a link, it refers to the link
/// itself. A device or FIFO is not opened.
ScopedFd openHandle(int folder, const char* name);

/// The text of a link through its handle; the link is \a name in \a folder. None if it cannot be read.
OptionalString heldLinkText(int held, int folder, const char* name);

/// Whether an open folder of this mode has an access control list that lets users change its entries whom the mode does
/// not.
bool hasHiddenAccessList(int folder, mode_t mode);

}  // namespace hotfix::platform

#endif
