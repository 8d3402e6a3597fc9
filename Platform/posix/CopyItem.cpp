#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>

#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/FileCopy.h"
#include "Platform/posix/FileErrors.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/TemporaryFile.h"
#include "Platform/posix/WriteSignals.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// An entry of an open folder, and its path for the policy and for messages.
struct Entry {
  int folder;
  std::string name;
  std::string path;
  bool isFolderNew = false;  // just created here, so it is known to be empty

  Entry child(int openFolder, const std::string& childName, bool isNew = false) const {
    return {openFolder, childName, path + "/" + childName, isNew};
  }
};

/// Whether an error means that the file system supports no hard links, or no more for this file.
bool isWithoutLinks(int error) {
  constexpr int kErrors[] = {EPERM, ENOSYS, ENOTSUP, EOPNOTSUPP, EMLINK};  // two of them are one on Linux
  return std::find(std::begin(kErrors), std::end(kErrors), error) != std::end(kErrors);
}

/// One copy, item by item in the order of the folders' listings. Both trees are walked through folder descriptors, so
/// that the walk never leaves them through a link, even if entries are replaced during the copy.
class Copy {
 public:
  /// \param isTrustNeeded whether the source must be a folder that only trusted users can write to.
  explicit Copy(bool isTrustNeeded) : _isTrustNeeded(isTrustNeeded) {}

  /// \return whether the copy continues with the next item; false after the policy has stopped it.
  /// \param type the type bits of the source's mode, if the folder listed them; 0 otherwise.
  bool copyEntry(const Entry& source, const Entry& target, bool isTop, mode_t type = 0) {
    // The listed type; a later change of the entry is detected when it is open.
    if (S_ISDIR(type)) return copyFolder(source, target, isTop);
    if (S_ISREG(type)) return succeededOrAllowed(copyFile(source, target, isTop), source, target);
    struct stat status;
    if (fstatat(source.folder, source.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return policyAllows(readingError("Copy", source.path, errno), source, target);
    }
    if (S_ISDIR(status.st_mode)) return copyFolder(source, target, isTop);
    if (isTop && _isTrustNeeded) return distrust(source);
    const int error = S_ISREG(status.st_mode)   ? copyFile(source, target, isTop)
                      : S_ISLNK(status.st_mode) ? copyLink(source, target, status)
                                                : ENOTSUP;
    return succeededOrAllowed(error, source, target);
  }

  const FileError& error() const { return _error; }
  bool isDistrusted() const { return _isDistrusted; }

  /// Calls the policy for a failure, and keeps the failure if the policy stops the copy.
  bool policyAllows(const FileError& error, const Entry& source, const Entry& target) {
    const CopyPolicy policy = copyPolicy();
    if (policy != nullptr && policy(error, source.path, target.path)) return true;
    _error = error;
    return false;
  }

 private:
  bool succeededOrAllowed(int error, const Entry& source, const Entry& target) {
    return error == 0 || policyAllows(writingError("Copy to", target.path, error), source, target);
  }

  int copyFile(const Entry& source, const Entry& target, bool isDurable) {
    const ScopedFd from = openExisting(source.folder, source.name.c_str(), O_RDONLY | O_NOFOLLOW);
    struct stat status;
    if (!from || fstat(from.get(), &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return ENOTSUP;  // replaced after it was examined
    // A user may have created a second name of a program there, to get a copy without later updates.
    if ((status.st_mode & (S_ISUID | S_ISGID)) != 0 && !isInAFolderOfOurs(source)) status.st_mode &= 01777U;
    struct stat inTheWay;
    if (!target.isFolderNew && fstatat(target.folder, target.name.c_str(), &inTheWay, AT_SYMLINK_NOFOLLOW) == 0) {
      return EEXIST;
    }
    // A file with its final name is complete: every later run would treat a partial file as a copy.
    const ScopedFd to = createTemporary(target.folder, 0600, _temporaryName);
    if (!to) return errno;
    int error = 0;
    withoutWriteSignals(to.get(), [&] { error = copyFileAndAttributes(from.get(), to.get(), status); });
    if (error == 0 && isDurable && fsync(to.get()) != 0) error = errno;
    if (error == 0) error = giveName(target);
    if (error != 0) (void)unlinkat(target.folder, _temporaryName.c_str(), 0);
    if (error == 0) copyFlags(to.get(), status);
    if (error == 0 && isDurable) (void)fsync(target.folder);  // not every file system supports this
    return error;
  }

  static bool isInAFolderOfOurs(const Entry& source) {
    const std::string parent = source.folder == AT_FDCWD ? path::deletingLastComponent(source.path) : ".";
    const ScopedFd folder = openExisting(source.folder, parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY);
    struct stat status;
    return folder && fstat(folder.get(), &status) == 0 && onlyWeCanWrite(folder.get(), status);
  }

  /// Renames a complete file to its final name, unless that is in use. \return 0 or the number of the error.
  int giveName(const Entry& target) const {
    const char* temporaryName = _temporaryName.c_str();
    const char* name = target.name.c_str();
    const int error = renameIfFree(target.folder, temporaryName, name);
    if (error != ENOTSUP) return error;
    if (linkat(target.folder, temporaryName, target.folder, name, 0) == 0) {
      (void)unlinkat(target.folder, temporaryName, 0);
      return 0;
    }
    if (!isWithoutLinks(errno)) return errno;
    // A file system without links: an entry that gets the name at this moment would be replaced.
    return renameat(target.folder, temporaryName, target.folder, name) == 0 ? 0 : errno;
  }

  static int copyLink(const Entry& source, const Entry& target, const struct stat& status) {
    char text[PATH_MAX] = {};
    if (readlinkat(source.folder, source.name.c_str(), text, sizeof text - 1) < 0) return errno;
    if (symlinkat(text, target.folder, target.name.c_str()) != 0) return errno;
    copyLinkAttributes(target.folder, target.name.c_str(), status);
    return 0;
  }

  bool distrust(const Entry& source) {
    _isDistrusted = true;
    _error = readingError("Copy", source.path, EPERM);
    return false;
  }

  bool copyFolder(const Entry& source, const Entry& target, bool isTop) {
    ScopedFolder from(openExisting(source.folder, source.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat status;
    if (!from || fstat(from.get(), &status) != 0)
      return policyAllows(readingError("Copy", source.path, errno), source, target);
    const bool isTrusted = isTrustedOwner(status.st_uid) && (status.st_mode & S_IWOTH) == 0;
    if (isTop && _isTrustNeeded && !isTrusted) return distrust(source);

    const bool isNew = mkdirat(target.folder, target.name.c_str(), 0700) == 0;
    if (!isNew) {
      const int error = errno;
      if (!policyAllows(writingError("Copy to", target.path, error), source, target)) return false;
      if (error != EEXIST) return true;
    }
    // The requested target may be a link to a folder. Below it, a link would lead out of the target.
    const ScopedFd to =
        openExisting(target.folder, target.name.c_str(), O_RDONLY | O_DIRECTORY | (isTop ? 0 : O_NOFOLLOW));
    if (!to) return policyAllows(writingError("Copy to", target.path, ENOTDIR), source, target);
    if (isTop && !rememberTarget(to)) return policyAllows(writingError("Copy to", target.path, errno), source, target);
    if (isTarget(status)) return true;  // a copy into its own source must not copy itself

    const auto entries = entriesIn(from);
    if (!entries) return policyAllows(readingError("Copy", source.path, errno), source, target);
    for (const auto& [name, type] : *entries) {
      const bool isDone =
          copyEntry(source.child(from.get(), name), target.child(to.get(), name, isNew), /*isTop=*/false, type);
      if (isDone) continue;
      if (isNew) copyAttributes(from.get(), to.get(), status);  // the copied part must be usable
      return false;
    }
    copyAttributes(from.get(), to.get(), status);
    copyFlags(to.get(), status);
    return true;
  }

  bool rememberTarget(const ScopedFd& folder) {
    struct stat status;
    if (fstat(folder.get(), &status) != 0) return false;
    _targetDevice = status.st_dev;
    _targetNode = status.st_ino;
    return true;
  }

  bool isTarget(const struct stat& status) const {
    return status.st_dev == _targetDevice && status.st_ino == _targetNode;
  }

  std::string _temporaryName;  // of the last temporary file; free again once the file has its own name
  FileError _error;
  bool _isTrustNeeded;
  bool _isDistrusted = false;
  dev_t _targetDevice = 0;
  ino_t _targetNode = 0;
};

}  // namespace

bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, bool* isDistrusted,
              FileError* error) {
  Copy copy(isTrustNeeded);
  const std::string from = path::appending(source, "");  // drops a slash at the end
  const std::string to = path::appending(target, "");
  struct stat status;
  if (lstat(from.c_str(), &status) != 0) {
    if (error != nullptr) *error = readingError("Copy", from, errno);
    return false;
  }

  const std::string parent = path::deletingLastComponent(to);
  const ScopedFd folder = openExisting(AT_FDCWD, parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY);
  const Entry sourceEntry{AT_FDCWD, from, from};
  const Entry targetEntry{folder.get(), path::lastComponent(to), to};
  const bool isDone = folder ? copy.copyEntry(sourceEntry, targetEntry, /*isTop=*/true)
                             : copy.policyAllows(writingError("Copy to", to, errno), sourceEntry, targetEntry);
  *isDistrusted = copy.isDistrusted();
  if (!isDone && error != nullptr) *error = copy.error();
  return isDone;
}

}  // namespace hotfix::platform
