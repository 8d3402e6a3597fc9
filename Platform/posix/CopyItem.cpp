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
  bool isFolderNew = false;  // just made by us, so that what it lacks need not be looked for

  Entry child(int openFolder, const std::string& childName, bool isNew = false) const {
    return {openFolder, childName, path + "/" + childName, isNew};
  }
};

/// Whether a file system answers so that has no links, or no more for this file.
bool isWithoutLinks(int error) {
  constexpr int kErrors[] = {EPERM, ENOSYS, ENOTSUP, EOPNOTSUPP, EMLINK};  // two of them are one on Linux
  return std::find(std::begin(kErrors), std::end(kErrors), error) != std::end(kErrors);
}

/// One copy, item by item in the order of the folders' listings. Both trees are walked through folder descriptors, so
/// that neither is left through a link, also when somebody exchanges entries meanwhile.
class Copy {
 public:
  /// \param isTrustNeeded whether the source has to be a folder that only those can write to whom we trust.
  explicit Copy(bool isTrustNeeded) : _isTrustNeeded(isTrustNeeded) {}

  /// \return whether the copy goes on with the next item; false once the policy has said stop.
  /// \param type the type of the source's mode, where the folder has told it; 0 otherwise.
  bool copyEntry(const Entry& source, const Entry& target, bool isTop, mode_t type = 0) {
    // As it was listed: what has become of the entry since is seen when it is open.
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

  /// Asks the policy about a failure and keeps the failure if it says stop.
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
    if (!S_ISREG(status.st_mode)) return ENOTSUP;  // exchanged since it was looked at
    // Somebody may have put a second name of a program there, to have one that nobody keeps up to date.
    if ((status.st_mode & (S_ISUID | S_ISGID)) != 0 && !isInAFolderOfOurs(source)) status.st_mode &= 01777U;
    struct stat inTheWay;
    if (!target.isFolderNew && fstatat(target.folder, target.name.c_str(), &inTheWay, AT_SYMLINK_NOFOLLOW) == 0) {
      return EEXIST;
    }
    // Under its own name it is whole: half a file there would pass for a copy in every later run.
    const ScopedFd to = createTemporary(target.folder, 0600, _temporaryName);
    if (!to) return errno;
    int error = 0;
    withoutWriteSignals(to.get(), [&] { error = copyFileAndAttributes(from.get(), to.get(), status); });
    if (error == 0 && isDurable && fsync(to.get()) != 0) error = errno;
    if (error == 0) error = giveName(target);
    if (error != 0) (void)unlinkat(target.folder, _temporaryName.c_str(), 0);
    if (error == 0) copyFlags(to.get(), status);
    if (error == 0 && isDurable) (void)fsync(target.folder);  // not every file system can
    return error;
  }

  static bool isInAFolderOfOurs(const Entry& source) {
    const std::string parent = source.folder == AT_FDCWD ? path::deletingLastComponent(source.path) : ".";
    const ScopedFd folder = openExisting(source.folder, parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY);
    struct stat status;
    return folder && fstat(folder.get(), &status) == 0 && onlyWeCanWrite(folder.get(), status);
  }

  /// Gives a finished file its name, unless that is taken. \return 0 or the number of the error.
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
    // A file system without links: there something that has taken the name in this moment would be replaced.
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
    // The place that was asked for may be a link to a folder; below it a link would lead out of it.
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
      if (isNew) copyAttributes(from.get(), to.get(), status);  // what is there of it is to be used
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
  const std::string from = path::appending(source, "");  // a slash at the end makes no difference
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
