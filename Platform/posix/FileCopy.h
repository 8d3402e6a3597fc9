#ifndef PLATFORM_POSIX_FILE_COPY_H_
#define PLATFORM_POSIX_FILE_COPY_H_

#include <sys/stat.h>

namespace hotfix::platform {

/// Copies the data of an open file into a new, empty one, then its attributes as below.
///
/// \return 0, or the number of the error that kept the data from being whole.
int copyFileAndAttributes(int from, int to, const struct stat& source);

/// Gives an entry of an open folder another name there, in one step, unless that name is taken.
///
/// \return 0, or the number of the error: EEXIST when it is taken, ENOTSUP when the system or the file system cannot do
///     it in one step.
int renameIfFree(int folder, const char* name, const char* newName);

/// Gives an open file or folder the mode, times, access control list and extended attributes of another, and its owner
/// and group; each as far as permitted, whatever came of the others. Extended attributes of other names stay. Set-id
/// bits come along only when the owner does.
void copyAttributes(int from, int to, const struct stat& source);

/// Gives an open file or folder the flags of another. To come last: they may lock it.
void copyFlags(int to, const struct stat& source);

/// Gives a link, itself, the times of another and, as far as permitted, its owner and group.
void copyLinkAttributes(int folder, const char* name, const struct stat& source);

}  // namespace hotfix::platform

#endif
