#ifndef PLATFORM_POSIX_ENTRY_CHANGES_H_
#define PLATFORM_POSIX_ENTRY_CHANGES_H_

#include <sys/stat.h>

#include <string>

#include "Platform/posix/Descriptors.h"

/// The steps in which files get their name, data and attributes, through descriptors.
namespace hotfix::platform {

/// Creates a file in an open folder under a temporary name, which the caller renames or removes.
///
/// \param mode of the new file, less the umask.
/// \param name tried first if it is not empty, so that a caller can use a name again that has become free. It receives
///     the name of the file.
/// \return none, with errno set, if the file cannot be created.
ScopedFd createTemporary(int folder, mode_t mode, std::string& name);

/// Gives an open file or folder the owner and group of \a source; only the group if the owner is not permitted.
/// \return whether both were permitted.
bool adoptOwner(int to, const struct stat& source);

/// Copies the mode, times, access control list and extended attributes of an open file or folder to another, and its
/// owner and group. Each is copied if permitted, even if others fail. Extended attributes with other names are kept.
/// Set-id bits are copied only with the owner.
void copyAttributes(int from, int to, const struct stat& source);

/// Copies the times of a link and, if permitted, its owner and group to another link, without following it.
void copyLinkAttributes(int folder, const char* name, const struct stat& source);

// ----- What each system does in its own way -----

/// Renames an entry of an open folder there, in one step, unless the new name is in use.
///
/// \return 0, or the number of the error: EEXIST if the name is in use, ENOTSUP if the system or the file system cannot
///     do it in one step.
int renameIfFree(int folder, const char* name, const char* newName);

/// Copies the data of an open file of this size into a new, empty one. \return 0, or the number of the error.
int copyData(int from, int to, off_t size);

/// Copies the extended attributes and the access control list.
void copyExtendedAttributes(int from, int to);

/// Sets the times of access and change, also through the handle of a link.
void copyTimes(int to, const struct stat& source);

/// Copies the flags to an open file or folder. Must be the last change, because flags may lock it.
void copyFlags(int to, const struct stat& source);

/// Changes the mode of an entry through its handle, see openHandle. \return false, with errno set, on failure.
bool setHandleMode(int held, mode_t mode);

/// Changes owner and group (-1: unchanged) of an entry through its handle. \return false, with errno set, on failure.
bool changeHeldOwner(int held, uid_t owner, gid_t group);

}  // namespace hotfix::platform

#endif
