#ifndef PLATFORM_POSIX_FILE_CHANGES_H_
#define PLATFORM_POSIX_FILE_CHANGES_H_

#include <functional>
#include <string>

#include "Platform/FileManager.h"

/// The changes of which the services in FileManager.h are made: in earnest, or in a preview's memory.
namespace hotfix::platform {

/// Makes the one folder \a path with mode 0777 less the umask. \return 0 or the number of the error.
int makeFolder(const std::string& path);

/// Which files hand their owner, group and mode on to the one that replaces them.
enum class Adopted { FromAnyFile, FromTrustedFile };

/// As writeFileAtomically, or as writeTrustedFile.
bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce);

/// As copyItem, or as copyTrustedFolder when \a isTrustNeeded. \a isDistrusted stays as it is when there is no source.
bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, bool* isDistrusted,
              FileError* error);

/// What setCopyPolicy has set; null when it has not.
CopyPolicy copyPolicy();

}  // namespace hotfix::platform

#endif
