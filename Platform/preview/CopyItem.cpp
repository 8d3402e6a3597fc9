#include <cerrno>

#include "Platform/UserIdentity.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/preview/Layer.h"
#include "Support/Path.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Layer;
using preview::Place;

namespace {

/// A name in a folder, and its path for the policy and for messages.
struct Target {
  Entry folder;
  std::string name;
  std::string path;
};

/// One copy into the layer, with the same outcomes as the copy on disk: see Platform/posix/CopyItem.cpp.
class Copy {
 public:
  Copy(bool isTrustNeeded, CopyOutcome& outcome) : _isTrustNeeded(isTrustNeeded), _outcome(outcome) {}

  /// \return whether the copy continues with the next item.
  bool copyEntry(const Entry& source, const std::string& path, const Target& target, bool isTop) {
    if (source.isFolder()) return copyFolder(source, path, target, isTop);
    if (isTop && _isTrustNeeded) return _outcome.distrust(path);
    const int error = source.isFile() || source.isLink() ? copyPlain(source, target) : ENOTSUP;
    return error == 0 || _outcome.continuesUnwritten(error, path, target.path);
  }

 private:
  /// \return 0 when the name is free and an entry can be added under it; otherwise the number of the error.
  static int nameError(const Target& target) {
    if (target.name.empty()) return ENOENT;
    Entry inTheWay;
    const int error = layer().find(target.folder, target.name, &inTheWay);
    if (error == 0) return EEXIST;
    return error != ENOENT ? error : layer().writeError(target.folder);
  }

  int copyPlain(const Entry& source, const Target& target) {
    if (source.isFile()) {
      if (const int error = layer().readError(source)) return error;
    }
    if (const int error = nameError(target)) return error;
    Entry copy;
    if (const int error = layer().copyOf(source, target.folder, &copy)) return error;
    if (_isOneRule) return 0;
    const mode_t type = copy.status.st_mode & S_IFMT;
    copy.status.st_ino = layer().newStatus(target.folder, type).st_ino;
    layer().put(target.folder, target.name, std::move(copy));
    return 0;
  }

  bool copyFolder(const Entry& source, const std::string& path, const Target& target, bool isTop) {
    if (const int error = layer().readError(source)) return _outcome.continuesUnread(error, path, target.path);
    const bool isTrusted = isTrustedOwner(source.status.st_uid) && (source.status.st_mode & S_IWOTH) == 0;
    if (isTop && _isTrustNeeded && !isTrusted) return _outcome.distrust(path);

    Entry folder;
    const int error = nameError(target);
    const bool isNew = error == 0;
    if (isNew && _isOneRule) {
      if (layer().copyOf(source, target.folder, &folder) != 0) return false;
    } else if (isNew) {
      folder.status = layer().newStatus(target.folder, S_IFDIR | 0700);
      layer().put(target.folder, target.name, folder);
      if (layer().find(target.folder, target.name, &folder) != 0) return false;
    } else {
      if (!_outcome.continuesUnwritten(error, path, target.path)) return false;
      if (error != EEXIST) return true;
      if (!openFolder(target, isTop, &folder)) return _outcome.continuesUnwritten(ENOTDIR, path, target.path);
    }
    if (isTop) {
      _target = Layer::id(folder.status);
      _isOneRule = canBeOneRule(source, folder);
      _source = source.machinePath;
    }
    if (Layer::id(source.status) == _target) return true;  // a copy into its own source must not copy itself

    bool isDone = true;
    const bool isRead = layer().visitNames(source, [&](const std::string& name) {
      Entry item;
      const Target itemTarget{folder, name, target.path + "/" + name};
      const std::string itemPath = path + "/" + name;
      const int findError = layer().find(source, name, &item);
      isDone = findError == 0 ? copyEntry(item, itemPath, itemTarget, /*isTop=*/false)
                              : _outcome.continuesUnread(findError, itemPath, itemTarget.path);
      if (!isDone && _stop.empty()) _stop = source.machinePath + "/" + name;
      return isDone;
    });
    if (!isRead) return _outcome.continuesUnread(EACCES, path, target.path);
    if (!_isOneRule || isTop) finish(folder, isDone || isNew ? &source : nullptr);
    return isDone;
  }

  /// Whether the copy can be stored as one rule: nothing in the source and nothing in the target differs from the
  /// machine.
  static bool canBeOneRule(const Entry& source, const Entry& folder) {
    return !source.tree && source.machinePath == source.path && source.path != "/" &&
           layer().isUntouched(source.path) && !folder.tree && folder.path != "/" && layer().isUntouched(folder.path);
  }

  /// Stores the new state of a folder. \param source the folder whose attributes it gets; null when the copy ended
  /// earlier.
  void finish(const Entry& folder, const Entry* source) {
    Place place;
    if (layer().find(folder.path, Links::Kept, &place) != 0 || !place.folder) return;
    Entry& copy = *place.entry;
    const struct stat before = copy.status;
    if (source != nullptr) layer().copyAttributes(source->status, &copy);
    if (_isOneRule) {
      copy.tree = layer().newTree(_target, _stop);
      copy.copySource = _source;
      copy.whileCopied = before;
    } else if (Layer::haveSameAttributes(copy.status, before)) {
      return;
    }
    layer().put(*place.folder, place.name, copy);
  }

  /// Finds the folder of the target. The top of the copy may be a link to a folder. Links below it are not followed,
  /// because they could lead out of the target.
  static bool openFolder(const Target& target, bool isTop, Entry* folder) {
    if (!isTop) return layer().find(target.folder, target.name, folder) == 0 && folder->isFolder();
    Place place;
    if (layer().find(target.path, Links::Followed, &place) != 0 || !place.entry->isFolder()) return false;
    *folder = *place.entry;
    return true;
  }

  bool _isTrustNeeded;
  CopyOutcome& _outcome;
  Layer::Id _target{};
  bool _isOneRule = false;  // whether the copy is stored as one rule, without the entries of the copied folder
  std::string _source;      // the copied folder
  std::string _stop;        // the entry with which the copy ends; empty while it continues
};

}  // namespace

bool copyFrom(const std::string& source, const std::string& target, bool isTrustNeeded, CopyOutcome& outcome) {
  Place from;
  if (const int error = layer().find(source, Links::Kept, &from)) {
    outcome.error = readingError("Copy", source, error);
    return false;
  }
  Entry folder;
  if (const int error = layer().openFolder(folderOf(target), &folder)) {
    return outcome.continuesUnwritten(error, source, target);
  }
  return Copy(isTrustNeeded, outcome)
      .copyEntry(*from.entry, source, {folder, path::lastComponent(target), target}, /*isTop=*/true);
}

}  // namespace hotfix::platform
