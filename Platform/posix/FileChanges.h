#ifndef PLATFORM_POSIX_FILE_CHANGES_H_
#define PLATFORM_POSIX_FILE_CHANGES_H_

#include <sys/stat.h>

#include <functional>
#include <string>

#include "Platform/FileManager.h"

/// What the services of FileManager.h are built on: basic operations on the disk or in a preview's memory, and
/// decisions that are the same for both.
namespace hotfix::platform {

// ----- Questions -----

/// The folder of an entry, as a path for the system: "." for a name alone.
std::string folderOf(const std::string& path);

/// Whether a link as the last component of a path is followed.
enum class Links { Followed, Kept };

/// Examines an entry, as stat(2) and lstat(2). \return 0 or the number of the error.
int examine(const std::string& path, Links links, struct stat* status);

// ----- Errors -----

/// The error of a failed writing operation on \a path, with the platform's number for \a errorNumber.
FileError writingError(const std::string& operation, const std::string& path, int errorNumber);

/// The same for a reading operation, which has different numbers.
FileError readingError(const std::string& operation, const std::string& path, int errorNumber);

// ----- Judgements, which depend only on the attributes of a file -----

/// Whether a file in a folder that others can write to may be trusted.
bool isTrustedFile(const struct stat& status);

/// Whether an existing trace file may be emptied and used, provided that it has no second name.
bool isOwnTraceFile(const struct stat& status);

/// The mode for the copy of a file, or for the file that replaces it. A set-id bit is valid only for the old owner, and
/// only for the file that has it.
mode_t adoptedMode(const struct stat& status, bool isOwnerKept);

// ----- Changes -----

/// Makes the one folder \a path with mode 0777 less the umask. \return 0 or the number of the error.
int makeFolder(const std::string& path);

/// The files whose owner, group and mode the file that replaces them adopts.
enum class Adopted { FromAnyFile, FromTrustedFile };

/// Like writeFileAtomically, or like writeTrustedFile.
bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce);

/// The outcome of a copy so far. The functions are called for a failure and answer whether the copy continues.
class CopyOutcome {
 public:
  /// Ask the policy about the error of an item, and keep the error if it stops the copy.
  bool continuesUnread(int error, const std::string& source, const std::string& target);
  bool continuesUnwritten(int error, const std::string& source, const std::string& target);

  /// Stops the copy of an entry that must not be trusted.
  bool distrust(const std::string& source);

  FileError error;  ///< that stopped the copy
  bool isDistrusted = false;

 private:
  bool policyAllows(const FileError& failure, const std::string& source, const std::string& target);
};

/// Like copyItem, or like copyTrustedFolder when \a isTrustNeeded. The paths have no slash at the end.
bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, CopyOutcome& outcome);

}  // namespace hotfix::platform

#endif
