#ifndef PLATFORM_POSIX_FILE_COPY_H_
#define PLATFORM_POSIX_FILE_COPY_H_

#include <sys/stat.h>

namespace hotfix::platform {

/// Copies the data of an open file into a new, empty one, then its attributes as below.
///
/// \return 0, or the number of the error that prevented a complete copy of the data.
int copyFileAndAttributes(int from, int to, const struct stat& source);

/// Renames an entry of an open folder there, in one step, unless the new name is in use.
///
/// \return 0, or the number of the error: EEXIST if the name is in use, ENOTSUP if the system or the file system cannot
///     do it in one step.
int renameIfFree(int folder, const char* name, const char* newName);

/// Copies the mode, times, access control list and extended attributes of an open file or folder to another, and its
/// owner and group. Each is copied if permitted, even if others fail. Extended attributes with other names are kept.
/// Set-id bits are copied only with the owner.
void copyAttributes(int from, int to, const struct stat& source);

/// Copies the flags to an open file or folder. Must be the last change, because flags may lock it.
void copyFlags(int to, const struct stat& source);

/// Copies the times of a link and, if permitted, its owner and group to another link, without following it.
void copyLinkAttributes(int folder, const char* name, const struct stat& source);

}  // namespace hotfix::platform

#endif
