#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "Platform/posix/Accounts.h"
#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

constexpr char kRefusal[] = "it is a folder of the system or of a user";

/// Attributes with their names looked up, and the ways to give them to an entry.
class AttributeChange {
 public:
  /// What became of an entry.
  enum class Effect { WasRight, Changed, Failed };

  explicit AttributeChange(const Attributes& attributes) : _mode(attributes.mode) {
    // An unknown name stays -1, which leaves the attribute as it is.
    if (attributes.owner) {
      if (const std::optional<Account> account = accountNamed(*attributes.owner)) _owner = account->userId;
    }
    if (attributes.group) _group = groupNamed(*attributes.group).value_or(kUnchangedGroup);
  }

  bool hasOwner() const { return _owner != kUnchangedOwner; }
  bool hasGroup() const { return _group != kUnchangedGroup; }

  Effect applyTo(const WalkedFolder& folder, const char* name) const {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return Effect::Failed;
    if (isRight(status)) return Effect::WasRight;
    // Where only we can rename, the name goes on meaning the entry that was looked at. Elsewhere somebody may put
    // another in its place, a second link to a file of root's for example: so the entry is held first.
    const bool isChanged = isOursAlone(folder.descriptor, folder.status) ? changeByName(folder.descriptor, name, status)
                                                                         : changeHeld(folder.descriptor, name);
    return isChanged ? Effect::Changed : Effect::Failed;
  }

  /// For an entry of a folder about which nothing is known.
  bool changeHeld(int folder, const char* name) const {
    const ScopedFd held = holdEntry(folder, name);
    struct stat status;
    if (!held || fstat(held.get(), &status) != 0) return false;
    if (isRight(status)) return true;
    if (isRefused(status)) return false;
    return (!needsMode(status) || changeHeldMode(held.get(), *_mode)) &&
           (!needsOwner(status) || (changeHeldOwner(held.get(), _owner, _group) &&
                                    (!losesSetIdBits(status) || changeHeldMode(held.get(), *_mode))));
  }

  /// For a folder that is open for reading.
  Effect applyTo(const WalkedFolder& folder) const {
    struct stat status;
    if (fstat(folder.descriptor, &status) != 0) return Effect::Failed;
    if (isRight(status)) return Effect::WasRight;
    return (!needsMode(status) || fchmod(folder.descriptor, *_mode) == 0) &&
                   (!needsOwner(status) || fchown(folder.descriptor, _owner, _group) == 0)
               ? Effect::Changed
               : Effect::Failed;
  }

 private:
  static constexpr uid_t kUnchangedOwner = static_cast<uid_t>(-1);
  static constexpr gid_t kUnchangedGroup = static_cast<gid_t>(-1);

  /// The mode of a link means nothing.
  bool needsMode(const struct stat& status) const {
    return _mode && !S_ISLNK(status.st_mode) && (status.st_mode & 07777U) != *_mode;
  }

  bool needsOwner(const struct stat& status) const {
    return (_owner != kUnchangedOwner && status.st_uid != _owner) ||
           (_group != kUnchangedGroup && status.st_gid != _group);
  }

  /// A change of the owner clears them in a file.
  bool losesSetIdBits(const struct stat& status) const {
    return _mode && (*_mode & (S_ISUID | S_ISGID)) != 0 && S_ISREG(status.st_mode);
  }

  bool isRight(const struct stat& status) const { return !needsMode(status) && !needsOwner(status); }

  /// Somebody's file under a second name: its first one may be anywhere, and whoever made the second wants us to give
  /// it away.
  bool isRefused(const struct stat& status) const {
    return status.st_nlink > 1 && !S_ISDIR(status.st_mode) && status.st_uid != _owner;
  }

  bool changeByName(int folder, const char* name, const struct stat& status) const {
    if (isRefused(status)) return false;
    return (!needsMode(status) || fchmodat(folder, name, *_mode, 0) == 0) &&
           (!needsOwner(status) || (fchownat(folder, name, _owner, _group, AT_SYMLINK_NOFOLLOW) == 0 &&
                                    (!losesSetIdBits(status) || fchmodat(folder, name, *_mode, 0) == 0)));
  }

  uid_t _owner = kUnchangedOwner;
  gid_t _group = kUnchangedGroup;
  std::optional<mode_t> _mode;
};

/// Gives the attributes to what a walk meets. Every entry is tried, whatever became of the others.
class AttributeVisitor : public FolderVisitor {
 public:
  AttributeVisitor(const AttributeChange& change, RepairOutcome& outcome) : _change(change), _outcome(outcome) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    return note(_change.applyTo(folder, name), folder.path, name);
  }

  /// After its content: as long as a folder is still root's, nobody else can exchange what is in it.
  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) override {
    return note(_change.applyTo(folder), parent.path, name);
  }

  bool visitClosedFolder(const WalkedFolder& parent, const char* name, bool* isToBeTriedAgain) override {
    // The new mode may be what opens it to its owner.
    *isToBeTriedAgain = errno == EACCES && _change.changeHeld(parent.descriptor, name);
    return note(*isToBeTriedAgain ? AttributeChange::Effect::Changed : AttributeChange::Effect::Failed, parent.path,
                name);
  }

  bool missedEntries(const std::string& path) override { return note(AttributeChange::Effect::Failed, path, ""); }

 private:
  bool note(AttributeChange::Effect effect, std::string_view folder, const char* name) {
    if (effect == AttributeChange::Effect::Changed) ++_outcome.changed;
    if (effect == AttributeChange::Effect::Failed && _outcome.failed++ == 0) {
      _outcome.firstFailed = path::appending(path::appending(_outcome.folder, std::string(folder)), name);
    }
    return true;
  }

  const AttributeChange& _change;
  RepairOutcome& _outcome;
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  return AttributeChange(attributes).changeHeld(AT_FDCWD, path.c_str());
}

RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes) {
  RepairOutcome outcome;
  outcome.folder = folder;
  const AttributeChange change(attributes);
  if (change.hasOwner()) outcome.owner = attributes.owner;
  if (change.hasGroup()) outcome.group = attributes.group;
  bool isRefused = false;
  ScopedFd top = openForRepair(folder, &isRefused);
  if (isRefused) outcome.refusal = kRefusal;
  if (!top) return outcome;
  outcome.isTreated = true;
  AttributeVisitor visitor(change, outcome);
  (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  return outcome;
}

}  // namespace hotfix::platform
