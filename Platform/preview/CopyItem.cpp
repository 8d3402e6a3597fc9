#include <fcntl.h>

#include <cerrno>

#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Platform/posix/FileErrors.h"
#include "Platform/posix/FileJudgements.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/preview/Layer.h"
#include "Support/Path.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Layer;
using preview::Place;

namespace {

CopyPolicy copyPolicy = nullptr;

/// A name in a folder, and its path for the policy and for messages.
struct Target {
  std::optional<Entry> folder;
  std::string name;
  std::string path;
};

/// One copy into the layer, with the outcomes of the copy on disk: see Platform/posix/CopyItem.cpp.
class Copy {
 public:
  explicit Copy(bool isTrustNeeded) : _isTrustNeeded(isTrustNeeded) {}

  /// \return whether the copy goes on with the next item.
  bool copyEntry(const Entry& source, const std::string& path, const Target& target, bool isTop) {
    if (source.isFolder()) return copyFolder(source, path, target, isTop);
    if (isTop && _isTrustNeeded) return distrust(path);
    const int error = source.isFile() ? copyFile(source, target) : source.isLink() ? copyLink(source, target) : ENOTSUP;
    return error == 0 || policyAllows(writingError("Copy to", target.path, error), path, target.path);
  }

  bool policyAllows(const FileError& error, const std::string& source, const std::string& target) {
    if (copyPolicy != nullptr && copyPolicy(error, source, target)) return true;
    _error = error;
    return false;
  }

  const FileError& error() const { return _error; }
  bool isDistrusted() const { return _isDistrusted; }

 private:
  /// \return 0 when the name is free and can be given.
  static int nameError(const Target& target) {
    if (target.name.empty()) return ENOENT;
    Entry inTheWay;
    const int error = layer().find(*target.folder, target.name, &inTheWay);
    if (error == 0) return EEXIST;
    return error != ENOENT ? error : layer().writeError(*target.folder);
  }

  static void copyAttributes(const Entry& source, Entry* copy) {
    const bool isOwnerKept = layer().mayGive(copy->status, source.status.st_uid, source.status.st_gid);
    if (isOwnerKept) copy->status.st_uid = source.status.st_uid;
    if (layer().mayGive(copy->status, copy->status.st_uid, source.status.st_gid)) {
      copy->status.st_gid = source.status.st_gid;
    }
    if (source.isLink()) return;
    copy->status.st_mode = (copy->status.st_mode & S_IFMT) | adoptedMode(source.status, isOwnerKept);
  }

  static int copyFile(const Entry& source, const Target& target) {
    if (const int error = layer().readError(source)) return error;
    if (const int error = nameError(target)) return error;
    Entry copy;
    copy.status = layer().newStatus(*target.folder, S_IFREG | 0600);
    copy.status.st_size = source.status.st_size;
    copy.machinePath = source.machinePath;  // its bytes stay where they are
    copy.content = source.content;
    Entry given = source;
    // Somebody may have put a second name of a program there.
    if (!isInAFolderOfOurs(source)) given.status.st_mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    copyAttributes(given, &copy);
    layer().put(*target.folder, target.name, std::move(copy));
    return 0;
  }

  static bool isInAFolderOfOurs(const Entry& source) {
    if ((source.status.st_mode & (S_ISUID | S_ISGID)) == 0 || source.machinePath.empty()) return true;
    const ScopedFd folder =
        openExisting(AT_FDCWD, path::deletingLastComponent(source.machinePath).c_str(), O_RDONLY | O_DIRECTORY);
    struct stat status;
    return folder && fstat(folder.get(), &status) == 0 && onlyWeCanWrite(folder.get(), status);
  }

  static int copyLink(const Entry& source, const Target& target) {
    const OptionalString text = layer().linkText(source);
    if (!text) return EACCES;
    if (const int error = nameError(target)) return error;
    Entry copy;
    copy.status = layer().newStatus(*target.folder, S_IFLNK | 0777);
    copy.content = std::make_shared<const std::string>(*text);
    copyAttributes(source, &copy);
    layer().put(*target.folder, target.name, std::move(copy));
    return 0;
  }

  bool distrust(const std::string& path) {
    _isDistrusted = true;
    _error = readingError("Copy", path, EPERM);
    return false;
  }

  bool copyFolder(const Entry& source, const std::string& path, const Target& target, bool isTop) {
    if (const int error = layer().readError(source))
      return policyAllows(readingError("Copy", path, error), path, target.path);
    const bool isTrusted = isTrustedOwner(source.status.st_uid) && (source.status.st_mode & S_IWOTH) == 0;
    if (isTop && _isTrustNeeded && !isTrusted) return distrust(path);

    Entry folder;
    const int error = nameError(target);
    const bool isNew = error == 0;
    if (isNew) {
      folder.status = layer().newStatus(*target.folder, S_IFDIR | 0700);
      layer().put(*target.folder, target.name, folder);
      if (layer().find(*target.folder, target.name, &folder) != 0) return false;
    } else {
      if (!policyAllows(writingError("Copy to", target.path, error), path, target.path)) return false;
      if (error != EEXIST) return true;
      if (!openFolder(target, isTop, &folder)) {
        return policyAllows(writingError("Copy to", target.path, ENOTDIR), path, target.path);
      }
    }
    if (isTop) _target = Layer::id(folder.status);
    if (Layer::id(source.status) == _target) return true;  // a copy into its own source must not copy itself

    const auto names = layer().names(source);
    if (!names) return policyAllows(readingError("Copy", path, EACCES), path, target.path);
    bool isDone = true;
    for (const std::string& name : *names) {
      Entry item;
      const Target itemTarget{folder, name, target.path + "/" + name};
      const std::string itemPath = path + "/" + name;
      const int findError = layer().find(source, name, &item);
      isDone = findError == 0 ? copyEntry(item, itemPath, itemTarget, /*isTop=*/false)
                              : policyAllows(readingError("Copy", itemPath, findError), itemPath, itemTarget.path);
      if (!isDone) break;
    }
    if (isDone || isNew) giveAttributes(source, folder);
    return isDone;
  }

  /// The place that was asked for may be a link to a folder; below it a link would lead out of it.
  static bool openFolder(const Target& target, bool isTop, Entry* folder) {
    if (!isTop) return layer().find(*target.folder, target.name, folder) == 0 && folder->isFolder();
    Place place;
    if (layer().find(target.path, Layer::Links::Followed, &place) != 0 || !place.entry->isFolder()) return false;
    *folder = *place.entry;
    return true;
  }

  static void giveAttributes(const Entry& source, const Entry& folder) {
    Place place;
    if (layer().find(folder.path, Layer::Links::Kept, &place) != 0 || !place.folder) return;
    copyAttributes(source, &*place.entry);
    layer().put(*place.folder, place.name, *place.entry);
  }

  FileError _error;
  bool _isTrustNeeded;
  bool _isDistrusted = false;
  Layer::Id _target{};
};

bool copyFrom(const std::string& source, const std::string& target, Copy& copy, FileError* error) {
  const std::string from = path::appending(source, "");  // a slash at the end makes no difference
  const std::string to = path::appending(target, "");
  Place sourcePlace;
  if (const int findError = layer().find(from, Layer::Links::Kept, &sourcePlace)) {
    if (error != nullptr) *error = readingError("Copy", from, findError);
    return false;
  }
  const std::string parent = path::deletingLastComponent(to);
  Place parentPlace;
  int openError = layer().find(parent.empty() ? "." : parent, Layer::Links::Followed, &parentPlace);
  if (openError == 0 && !parentPlace.entry->isFolder()) openError = ENOTDIR;
  if (openError == 0) openError = layer().readError(*parentPlace.entry);
  const bool isDone = openError == 0 ? copy.copyEntry(*sourcePlace.entry, from,
                                                      {parentPlace.entry, path::lastComponent(to), to}, /*isTop=*/true)
                                     : copy.policyAllows(writingError("Copy to", to, openError), from, to);
  if (!isDone && error != nullptr) *error = copy.error();
  return isDone;
}

}  // namespace

void setCopyPolicy(CopyPolicy policy) { copyPolicy = policy; }

bool copyItem(const std::string& source, const std::string& target, FileError* error) {
  Copy copy(/*isTrustNeeded=*/false);
  return copyFrom(source, target, copy, error);
}

bool copyTrustedFolder(const std::string& source, const std::string& target, bool* isDistrusted, FileError* error) {
  Copy copy(/*isTrustNeeded=*/true);
  const bool isDone = copyFrom(source, target, copy, error);
  *isDistrusted = copy.isDistrusted();
  return isDone;
}

}  // namespace hotfix::platform
