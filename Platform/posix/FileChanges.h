#ifndef PLATFORM_POSIX_FILE_CHANGES_H_
#define PLATFORM_POSIX_FILE_CHANGES_H_

#include <functional>
#include <string>

#include "Platform/FileManager.h"

/// The basic changes on which the services of FileManager.h are built: on the disk, or in a preview's memory.
namespace hotfix::platform {

/// Makes the one folder \a path with mode 0777 less the umask. \return 0 or the number of the error.
int makeFolder(const std::string& path);

/// The files whose owner, group and mode the file that replaces them adopts.
enum class Adopted { FromAnyFile, FromTrustedFile };

/// Like writeFileAtomically, or like writeTrustedFile.
bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce);

/// Like copyItem, or like copyTrustedFolder when \a isTrustNeeded. \a isDistrusted is not changed when there is no
/// source.
bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, bool* isDistrusted,
              FileError* error);

/// The policy set by setCopyPolicy; null when none is set.
CopyPolicy copyPolicy();

}  // namespace hotfix::platform

#endif
