#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "Platform/UserIdentity.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/EntryChanges.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/RepairedFolder.h"
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
};

/// One copy, item by item in the order of the folders' listings. Both trees are walked through folder descriptors, so
/// that the walk never leaves them through a link, even if entries are replaced during the copy.
class Copy {
 public:
  /// \param isTrustNeeded whether the source must be a folder that only trusted users can write to.
  Copy(bool isTrustNeeded, CopyOutcome& outcome) : _isTrustNeeded(isTrustNeeded), _outcome(outcome) {}

  /// \return whether the copy continues with the next item; false after the policy has stopped it.
  /// \param type the type bits of the source's mode, if the folder listed them; 0 otherwise.
  bool copyEntry(const Entry& source, const Entry& target, bool isTop, mode_t type = 0) {
    struct stat status;
    if (!S_ISDIR(type) && !S_ISREG(type)) {  // a later change of a listed type is detected when the entry is open
      if (fstatat(source.folder, source.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return _outcome.continuesUnread(errno, source.path, target.path);
      }
      type = status.st_mode;
    }
    if (S_ISDIR(type)) return copyFolder(source, target, isTop);
    if (isTop && _isTrustNeeded) return _outcome.distrust(source.path);
    const int error = S_ISREG(type)   ? copyFile(source, target, isTop)
                      : S_ISLNK(type) ? copyLink(source, target, status)
                                      : ENOTSUP;
    return error == 0 || _outcome.continuesUnwritten(error, source.path, target.path);
  }

 private:
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
    withoutWriteSignals(to.get(), [&] {
      error = copyData(from.get(), to.get(), status.st_size);
      if (error == 0) copyAttributes(from.get(), to.get(), status);
    });
    if (error == 0 && isDurable && fsync(to.get()) != 0) error = errno;
    if (error == 0) error = giveName(target);
    if (error != 0) (void)unlinkat(target.folder, _temporaryName.c_str(), 0);
    if (error == 0) copyFlags(to.get(), status);
    if (error == 0 && isDurable) (void)fsync(target.folder);  // not every file system supports this
    return error;
  }

  static bool isInAFolderOfOurs(const Entry& source) {
    const std::string parent = source.folder == AT_FDCWD ? folderOf(source.path) : ".";
    const ScopedFd folder = openExisting(source.folder, parent.c_str(), O_RDONLY | O_DIRECTORY);
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
    if (!isOneOf(errno, {EPERM, ENOSYS, ENOTSUP, EOPNOTSUPP, EMLINK})) return errno;
    // The file system supports no links, or no more: an entry that gets the name at this moment would be replaced.
    return renameat(target.folder, temporaryName, target.folder, name) == 0 ? 0 : errno;
  }

  static int copyLink(const Entry& source, const Entry& target, const struct stat& status) {
    char text[PATH_MAX] = {};
    if (readlinkat(source.folder, source.name.c_str(), text, sizeof text - 1) < 0) return errno;
    if (symlinkat(text, target.folder, target.name.c_str()) != 0) return errno;
    copyLinkAttributes(target.folder, target.name.c_str(), status);
    return 0;
  }

  bool copyFolder(const Entry& source, const Entry& target, bool isTop) {
    ScopedFolder from(openExisting(source.folder, source.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat status;
    if (!from || fstat(from.get(), &status) != 0) {
      return _outcome.continuesUnread(errno, source.path, target.path);
    }
    const bool isTrusted = isTrustedOwner(status.st_uid) && (status.st_mode & S_IWOTH) == 0;
    if (isTop && _isTrustNeeded && !isTrusted) return _outcome.distrust(source.path);

    const bool isNew = mkdirat(target.folder, target.name.c_str(), 0700) == 0;
    if (!isNew) {
      const int error = errno;
      if (!_outcome.continuesUnwritten(error, source.path, target.path)) return false;
      if (error != EEXIST) return true;
    }
    // The requested target may be a link to a folder. Below it, a link would lead out of the target.
    const ScopedFd to =
        openExisting(target.folder, target.name.c_str(), O_RDONLY | O_DIRECTORY | (isTop ? 0 : O_NOFOLLOW));
    if (!to) return _outcome.continuesUnwritten(ENOTDIR, source.path, target.path);
    if (isTop && fstat(to.get(), &_target) != 0) return _outcome.continuesUnwritten(errno, source.path, target.path);
    if (areSame(status, _target)) return true;  // a copy into its own source must not copy itself

    const auto entries = entriesIn(from);
    if (!entries) return _outcome.continuesUnread(errno, source.path, target.path);
    for (const auto& [name, type] : *entries) {
      const bool isDone = copyEntry({from.get(), name, source.path + "/" + name},
                                    {to.get(), name, target.path + "/" + name, isNew}, /*isTop=*/false, type);
      if (isDone) continue;
      if (isNew) copyAttributes(from.get(), to.get(), status);  // the copied part must be usable
      return false;
    }
    copyAttributes(from.get(), to.get(), status);
    copyFlags(to.get(), status);
    return true;
  }

  std::string _temporaryName;  // of the last temporary file; free again once the file has its own name
  bool _isTrustNeeded;
  CopyOutcome& _outcome;
  struct stat _target = {};
};

}  // namespace

bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, CopyOutcome& outcome) {
  struct stat status;
  if (const int error = examine(source, Links::Kept, &status)) {
    outcome.error = readingError("Copy", source, error);
    return false;
  }
  const std::string parent = folderOf(target);  // freeing it could change errno
  const ScopedFd folder = openExisting(AT_FDCWD, parent.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder) return outcome.continuesUnwritten(errno, source, target);
  return Copy(isTrustNeeded, outcome)
      .copyEntry({AT_FDCWD, source, source}, {folder.get(), path::lastComponent(target), target}, /*isTop=*/true);
}

}  // namespace hotfix::platform
