#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/WantedAttributes.h"
#include "Platform/preview/Layer.h"
#include "Platform/preview/Preview.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Layer;
using preview::Place;
using preview::RecordedRepair;

namespace {

constexpr char kSecondName[] = "it has a second name and belongs to somebody else";
constexpr char kNotPermitted[] = "only root may change it";
constexpr char kReadOnly[] = "its volume is read-only";
constexpr char kUnreadable[] = "it cannot be opened";

/// Why an entry would not get the attributes; null when it would.
const char* obstacle(const WantedAttributes& wanted, const struct stat& status) {
  if (wanted.isRefused(status)) return kSecondName;
  if (wanted.needsMode(status) && geteuid() != 0 && status.st_uid != geteuid()) return kNotPermitted;
  if (wanted.needsOwner(status) && !layer().mayGive(status, wanted.owner(), wanted.group())) return kNotPermitted;
  return nullptr;
}

/// Foresees what a repair does to what a walk meets.
class PreviewVisitor : public FolderVisitor {
 public:
  PreviewVisitor(const WantedAttributes& wanted, std::string top, RecordedRepair& record)
      : _wanted(wanted), _top(std::move(top)), _record(record) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return missedEntries(path(folder, name));
    if (!isOurs(folder, name)) note(folder, name, status);
    return true;
  }

  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) override {
    visitChanges(folder.status, pathOf(folder));
    if (!isOurs(parent, name)) note(parent, name, folder.status);
    return true;
  }

  bool visitClosedFolder(const WalkedFolder& parent, const char* name, bool*) override {
    fail(path(parent, name), kUnreadable, nullptr);
    return true;
  }

  bool missedEntries(const std::string& missed) override {
    fail(missed, kUnreadable, nullptr);
    return true;
  }

  /// What only the layer has in a folder of the machine.
  void visitChanges(const struct stat& folder, const std::string& folderPath) {
    for (const std::string& name : layer().changedNames(folder)) {
      Entry holder;
      holder.path = folderPath;
      holder.status = folder;
      Entry entry;
      if (layer().find(holder, name, &entry) != 0) continue;
      visitOwn(entry);
    }
  }

  std::vector<Layer::Id> failed;

 private:
  std::string pathOf(const WalkedFolder& folder) const { return _top + std::string(folder.path); }
  std::string path(const WalkedFolder& folder, const char* name) const { return pathOf(folder) + "/" + name; }

  bool isOurs(const WalkedFolder& folder, const char* name) const {
    if (!layer().hasChangesIn(folder.status)) return false;
    const std::vector<std::string> names = layer().changedNames(folder.status);
    return std::find(names.begin(), names.end(), name) != names.end();
  }

  void visitOwn(const Entry& entry) {
    if (entry.isFolder() && entry.machinePath.empty()) {
      visitChanges(entry.status, entry.path);
    }
    judge(
        entry.status, [&] { return entry.path; }, nullptr);
  }

  void note(const WalkedFolder& folder, const char* name, struct stat status) {
    if (layer().hasRepairs()) layer().applyRepairs(pathOf(folder), &status);
    judge(
        status, [&] { return path(folder, name); }, &folder);
  }

  template <typename PathGetter>
  void judge(const struct stat& status, PathGetter path, const WalkedFolder* folder) {
    ++_record.entries;
    if (_wanted.isRight(status)) return;
    const char* reason = obstacle(_wanted, status);
    if (reason == nullptr && folder != nullptr && isReadOnly(*folder)) reason = kReadOnly;
    if (reason != nullptr) {
      fail(path(), reason, &status);
      return;
    }
    ++_record.changed;
    if (_wanted.needsMode(status)) ++_record.modesChanged;
    if (_wanted.needsOwner(status)) ++_record.ownersChanged;
    if (_record.firstChanged.size() == RecordedRepair::kMostListed) return;
    struct stat after = status;
    _wanted.applyTo(&after);
    _record.firstChanged.push_back({path(), status.st_uid, after.st_uid, status.st_gid, after.st_gid,
                                    static_cast<mode_t>(status.st_mode & 07777U),
                                    static_cast<mode_t>(after.st_mode & 07777U)});
  }

  void fail(const std::string& path, const char* reason, const struct stat* status) {
    ++_record.failed;
    if (status != nullptr) failed.push_back(Layer::id(*status));
    if (_record.firstFailed.size() < RecordedRepair::kMostListed) _record.firstFailed.push_back({path, reason});
  }

  /// Looked up once for each folder in which anything needs a change.
  bool isReadOnly(const WalkedFolder& folder) {
    if (_askedFolder != Layer::id(folder.status)) {
      _askedFolder = Layer::id(folder.status);
      _isReadOnly = faccessat(folder.descriptor, ".", W_OK, AT_EACCESS) != 0 && errno == EROFS;
    }
    return _isReadOnly;
  }

  const WantedAttributes& _wanted;
  std::string _top;
  RecordedRepair& _record;
  Layer::Id _askedFolder{};
  bool _isReadOnly = false;
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  Place place;
  if (layer().find(path, Layer::Links::Kept, &place) != 0 || !place.folder) return false;
  const WantedAttributes wanted(attributes);
  if (wanted.isRight(place.entry->status)) return true;
  if (obstacle(wanted, place.entry->status) != nullptr) return false;
  wanted.applyTo(&place.entry->status);
  layer().put(*place.folder, place.name, *place.entry);
  return true;
}

bool setAttributesBelow(const std::string& folder, const Attributes& attributes, bool* isRefused) {
  if (isRefused != nullptr) *isRefused = false;
  const WantedAttributes wanted(attributes);
  Place place;
  if (layer().find(folder, Layer::Links::Followed, &place) != 0 || !place.entry->isFolder()) return false;
  RecordedRepair record;
  record.folder = folder;
  PreviewVisitor visitor(wanted, place.entry->path == "/" ? "" : place.entry->path, record);
  if (!place.entry->machinePath.empty()) {
    ScopedFd top = openForRepair(folder, &record.isRefused);
    if (isRefused != nullptr) *isRefused = record.isRefused;
    if (!top) {
      preview::recording().repairs.push_back(std::move(record));
      return false;
    }
    (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  }
  visitor.visitChanges(place.entry->status, place.entry->path);
  layer().addRepair({place.entry->path, wanted, std::move(visitor.failed)});
  const bool isDone = record.failed == 0;
  preview::recording().repairs.push_back(std::move(record));
  return isDone;
}

}  // namespace hotfix::platform
