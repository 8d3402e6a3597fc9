#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <string_view>

#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/WantedAttributes.h"
#include "Platform/preview/Layer.h"
#include "Platform/preview/Preview.h"
#include "Support/Path.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Layer;
using preview::Place;
using preview::RecordedRepair;

namespace {

constexpr char kSecondName[] = "it has several names, and somebody else than its owner can have put this one there";
constexpr char kOthersNames[] =
    "it holds an entry under a name that somebody else than the entry's owner can have put there";
constexpr char kNotPermitted[] = "only root may change it";
constexpr char kOwnerNotPermitted[] = "only root may give it to another owner";
constexpr char kReadOnly[] = "its volume is read-only";
constexpr char kUnreadable[] = "it cannot be opened";
constexpr char kNotHeld[] = "it cannot be held on to in a folder that others can write to";

/// Why this user, who is ours, may not give an entry the attributes; null when it may.
const char* missingRight(const WantedAttributes& wanted, const struct stat& status, uid_t user) {
  if (wanted.needsMode(status) && !Layer::mayChangeMode(status, user)) return kNotPermitted;
  if (wanted.needsOwner(status) && !Layer::mayGive(status, wanted.owner(), wanted.group(), user)) {
    return kOwnerNotPermitted;
  }
  return nullptr;
}

/// Predicts the changes by a repair to the entries that a walk visits: see Platform/posix/Ownership.cpp.
class PreviewVisitor : public FolderVisitor {
 public:
  PreviewVisitor(const WantedAttributes& wanted, std::string top, RecordedRepair& record, RepairOutcome& outcome)
      : _wanted(wanted), _names(wanted), _top(std::move(top)), _record(record), _outcome(outcome) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      fail(folder.path, name, kUnreadable, nullptr);
    } else if (!isOurs(folder.status, name)) {
      noteFurtherName(folder, name, status);
      applyEarlierChanges(folder, &status);
      judge(folder, name, status, [&] { return obstacle(folder, name, status); });
    }
    return true;
  }

  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) override {
    visitChanges(folder.status, pathOf(folder), std::string(folder.path));
    if (isOurs(parent.status, name)) return true;
    const WalkedFolder before = asLeft(folder);
    judge(parent, name, before.status, [&]() -> const char* {
      if (isReadOnly(parent)) return kReadOnly;
      if (const char* reason = missingRight(before.status)) return reason;
      return _names.isNewOwnersAlone(before) || !holdsOthersNames(before) ? nullptr : kOthersNames;
    });
    return true;
  }

  bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool*) override {
    const bool isClosed = errno == EACCES;
    struct stat status;
    if (isClosed && fstatat(parent.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
      // Its new mode would make it readable. The changes below it cannot be predicted.
      judge(parent, name, status, [&] { return missingRight(status); });
    } else {
      fail(parent.path, name, kUnreadable, nullptr);
    }
    return true;
  }

  bool onIncomplete(const std::string& path) override {
    fail(path, "", kUnreadable, nullptr);
    return true;
  }

  /// Visits the entries of a folder that exist only in the layer.
  void visitChanges(const struct stat& folder, const std::string& folderPath, const std::string& relativePath) {
    for (const std::string& name : layer().changedNames(folder)) {
      Entry holder;
      holder.path = folderPath;
      holder.status = folder;
      Entry entry;
      if (layer().find(holder, name, &entry) != 0) continue;
      if (entry.isFolder() && entry.machinePath.empty()) {
        visitChanges(entry.status, entry.path, relativePath + "/" + name);
      }
      judge({-1, folder, relativePath}, name.c_str(), entry.status, [&] { return missingRight(entry.status); });
    }
  }

  /// The entries that the repair could not change, for Layer::Repair.
  std::vector<Layer::Id> takeFailed() {
    _failed.erase(std::remove_if(_failed.begin(), _failed.end(),
                                 [this](const Layer::Id& id) { return _changedUnderAName.count(id) != 0; }),
                  _failed.end());
    return std::move(_failed);
  }

 private:
  const char* missingRight(const struct stat& status) const { return platform::missingRight(_wanted, status, _user); }

  std::string pathOf(const WalkedFolder& folder) const { return _top + std::string(folder.path); }

  static bool isOurs(const struct stat& folder, const char* name) {
    if (!layer().hasChangesIn(folder)) return false;
    const std::vector<std::string> names = layer().changedNames(folder);
    return std::find(names.begin(), names.end(), name) != names.end();
  }

  /// Applies the earlier changes to the attributes of an entry of the machine.
  void applyEarlierChanges(const WalkedFolder& folder, struct stat* status) {
    if (layer().hasRepairs()) layer().applyRepairs(recent(folder).path, status);
    if (SecondNames::areIn(*status) && _changedUnderAName.count(Layer::id(*status)) != 0) _wanted.applyTo(status);
  }

  /// The change of an entry with several names is listed under each name, but counted once.
  void noteFurtherName(const WalkedFolder& folder, const char* name, const struct stat& status) {
    if (!SecondNames::areIn(status)) return;
    const auto before = _changedUnderAName.find(Layer::id(status));
    if (before != _changedUnderAName.end()) list(folder, name, before->second, _wanted);
  }

  void list(const WalkedFolder& folder, const char* name, const struct stat& before, const WantedAttributes& wanted) {
    struct stat after = before;
    wanted.applyTo(&after);
    list(folder, name, before, after);
  }

  void list(const WalkedFolder& folder, const char* name, const struct stat& before, const struct stat& after) {
    if (_record.firstChanged.size() == RecordedRepair::kMostListed) return;
    _record.firstChanged.push_back({pathOf(folder) + "/" + name, before.st_uid, after.st_uid, before.st_gid,
                                    after.st_gid, static_cast<mode_t>(before.st_mode & 07777U),
                                    static_cast<mode_t>(after.st_mode & 07777U)});
  }

  /// A folder of the machine as the repair finds it.
  WalkedFolder asLeft(const WalkedFolder& folder) const {
    WalkedFolder result = folder;
    if (layer().hasRepairs()) {
      layer().applyRepairs(path::deletingLastComponent(pathOf(folder)), &result.status);
    }
    return result;
  }

  const char* obstacle(const WalkedFolder& folder, const char* name, const struct stat& status) {
    if (isReadOnly(folder)) return kReadOnly;
    if (SecondNames::areIn(status) && !_names.isOwnersName(asLeft(folder), status.st_uid)) return kSecondName;
    if (const char* reason = missingRight(status)) return reason;
    const bool isOrdinary = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
    const bool isHeld = (isOrdinary && _user == 0) || onlyWeCanWrite(folder.descriptor, asLeft(folder).status) ||
                        openHandle(folder.descriptor, name);
    return isHeld ? nullptr : kNotHeld;
  }

  bool holdsOthersNames(const WalkedFolder& folder) {
    ScopedFolder read(openExisting(folder.descriptor, ".", O_RDONLY | O_DIRECTORY));
    return _names.areOthersIn(folder, read, [&](const char* name, struct stat* status) {
      if (isOurs(folder.status, name)) return ENOENT;  // new or removed, so it has no second name
      if (fstatat(read.get(), name, status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
      applyEarlierChanges(folder, status);
      return 0;
    });
  }

  /// \param obstacle returns the reason why the entry cannot be changed, or null; called only if it needs a change.
  template <typename Obstacle>
  void judge(const WalkedFolder& folder, const char* name, const struct stat& status, Obstacle obstacle) {
    ++_record.entries;
    if (_wanted.isRight(status)) return;
    if (const char* reason = obstacle()) {
      const bool isSeenAgain = reason == kNotPermitted || reason == kOwnerNotPermitted || reason == kReadOnly;
      fail(folder.path, name, reason, isSeenAgain ? nullptr : &status);
      if (reason != kOwnerNotPermitted || !_wanted.needsMode(status)) return;
      ++_record.modesChanged;
      struct stat after = status;
      _wanted.applyModeTo(&after);
      return list(folder, name, status, after);
    }
    _names.remember(status);
    if (SecondNames::areIn(status)) _changedUnderAName[Layer::id(status)] = status;
    ++_outcome.changed;
    ++_record.changed;
    if (_wanted.needsMode(status)) ++_record.modesChanged;
    if (_wanted.needsOwner(status)) ++_record.ownersChanged;
    list(folder, name, status, _wanted);
  }

  void fail(std::string_view folder, const char* name, const char* reason, const struct stat* status) {
    if (_outcome.failed++ == 0) {
      _outcome.firstFailed = path::appending(path::appending(_outcome.folder, std::string(folder)), name);
    }
    ++_record.failed;
    if (status != nullptr) _failed.push_back(Layer::id(*status));
    if (_record.firstFailed.size() < RecordedRepair::kMostListed) {
      _record.firstFailed.push_back({path::appending(_top + std::string(folder), name), reason});
    }
  }

  bool isReadOnly(const WalkedFolder& folder) {
    std::optional<bool>& isReadOnly = recent(folder).isReadOnly;
    if (!isReadOnly) isReadOnly = faccessat(folder.descriptor, ".", W_OK, AT_EACCESS) != 0 && errno == EROFS;
    return *isReadOnly;
  }

  /// What was found out about the folder of the last entry, for its next one.
  struct RecentFolder {
    std::string path;
    std::optional<bool> isReadOnly;
  };

  RecentFolder& recent(const WalkedFolder& folder) {
    const std::string_view known = _recent ? std::string_view(_recent->path).substr(_top.size()) : std::string_view();
    if (!_recent || known != folder.path) _recent = {pathOf(folder), std::nullopt};
    return *_recent;
  }

  const WantedAttributes& _wanted;
  const uid_t _user = geteuid();
  SecondNames _names;
  std::string _top;
  RecordedRepair& _record;
  RepairOutcome& _outcome;
  std::map<Layer::Id, struct stat> _changedUnderAName;  // entries with several names, with their old attributes
  std::vector<Layer::Id> _failed;
  std::optional<RecentFolder> _recent;
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  Place place;
  if (layer().find(path, Links::Kept, &place) != 0 || !place.folder) return false;
  const WantedAttributes wanted(attributes);
  const struct stat& status = place.entry->status;
  if (wanted.isRight(status)) return true;
  if (SecondNames::areIn(status) || missingRight(wanted, status, geteuid()) != nullptr) return false;
  wanted.applyTo(&place.entry->status);
  layer().put(*place.folder, place.name, *place.entry);
  return true;
}

RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes) {
  const WantedAttributes wanted(attributes);
  RepairOutcome outcome = wanted.outcomeFor(folder, attributes);
  Place place;
  if (layer().find(folder, Links::Followed, &place) != 0 || !place.entry->isFolder()) return outcome;
  layer().unfoldCopies(place.entry->path);
  (void)layer().find(folder, Links::Followed, &place);
  RecordedRepair record;
  record.folder = folder;
  PreviewVisitor visitor(wanted, place.entry->path == "/" ? "" : place.entry->path, record, outcome);
  ScopedFd top;
  if (!place.entry->machinePath.empty()) {
    top = openForRepair(place.entry->machinePath == place.entry->path ? folder : place.entry->machinePath,
                        wanted.knownGroup(), &outcome.refusal);
    record.refusal = outcome.refusal;
    if (!top) {
      preview::recording().repairs.push_back(std::move(record));
      return outcome;
    }
  }
  outcome.isTreated = true;
  if (top) (void)walkBelow(std::move(top), visitor);  // this visitor never ends the walk
  visitor.visitChanges(place.entry->status, place.entry->path, "");
  layer().addRepair({place.entry->path, wanted, visitor.takeFailed()});
  preview::recording().repairs.push_back(std::move(record));
  return outcome;
}

}  // namespace hotfix::platform
