#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string_view>
#include <utility>

#include "Platform/posix/Accounts.h"
#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

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
  std::optional<gid_t> group() const { return hasGroup() ? std::optional<gid_t>(_group) : std::nullopt; }

  Effect applyTo(const WalkedFolder& folder, const char* name) {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return Effect::Failed;
    if (isRight(status)) return Effect::WasRight;
    // Where only we can rename, the name goes on meaning the entry that was looked at. Elsewhere somebody may put
    // another in its place, a second link to a file of root's for example: so the entry is held first.
    const bool isChanged = isOursAlone(folder.descriptor, folder.status) ? changeByName(folder, name, status)
                                                                         : changeHeld(folder.descriptor, name, &folder);
    return isChanged ? Effect::Changed : Effect::Failed;
  }

  /// \param known the folder, where its attributes are known: without them no entry with several names is changed.
  bool changeHeld(int folder, const char* name, const WalkedFolder* known = nullptr) {
    const ScopedFd held = holdEntry(folder, name);
    struct stat status;
    if (!held || fstat(held.get(), &status) != 0) return false;
    if (isRight(status)) return true;
    if (hasSeveralNames(status) && (known == nullptr || !isAlone(*known, status.st_uid))) return false;
    return (!needsMode(status) || changeHeldMode(held.get(), *_mode)) &&
           (!needsOwner(status) || (changeHeldOwner(held.get(), _owner, _group) &&
                                    (!losesSetIdBits(status) || changeHeldMode(held.get(), *_mode)))) &&
           remember(status);
  }

  /// For a folder that is open for reading.
  ///
  /// One that others could write to passes, with its new attributes, for one where only the new owner could ever put
  /// a name. So it does not get them while it holds somebody else's file under a second name, and is looked through
  /// when nobody can add one any more.
  Effect applyTo(const WalkedFolder& folder) {
    WalkedFolder before = folder;
    if (fstat(folder.descriptor, &before.status) != 0) return Effect::Failed;
    if (isRight(before.status)) return Effect::WasRight;
    const bool isDone = (!needsMode(before.status) || fchmod(folder.descriptor, *_mode) == 0) &&
                        (!needsOwner(before.status) || fchown(folder.descriptor, _owner, _group) == 0);
    if (!isDone) return Effect::Failed;
    if (isNewOwnersAlone(before) || !holdsOthersNames(before)) return Effect::Changed;
    (void)!fchown(folder.descriptor, before.status.st_uid, before.status.st_gid);
    (void)fchmod(folder.descriptor, before.status.st_mode & 07777U);
    return Effect::Failed;
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

  bool changeByName(const WalkedFolder& folder, const char* name, const struct stat& status) {
    if (hasSeveralNames(status) && !isAlone(folder, status.st_uid)) return false;
    const int at = folder.descriptor;
    return (!needsMode(status) || fchmodat(at, name, *_mode, 0) == 0) &&
           (!needsOwner(status) || (fchownat(at, name, _owner, _group, AT_SYMLINK_NOFOLLOW) == 0 &&
                                    (!losesSetIdBits(status) || fchmodat(at, name, *_mode, 0) == 0))) &&
           remember(status);
  }

  // ----- Entries with several names -----
  //
  // The others may be anywhere, and whoever put one here may want us to give away what is not his.

  static bool hasSeveralNames(const struct stat& status) { return status.st_nlink > 1 && !S_ISDIR(status.st_mode); }

  /// Whether nobody can put names in a folder but this user, root, and the members of the group that all entries get:
  /// they are administrators, and may write to every folder that has been treated.
  bool isAlone(const WalkedFolder& folder, uid_t user) {
    const mode_t mode = folder.status.st_mode;
    return (folder.status.st_uid == user || folder.status.st_uid == 0) && (mode & S_IWOTH) == 0 &&
           ((mode & S_IWGRP) == 0 || isGroupAlone(folder.status.st_gid, user)) &&
           !hasHiddenAccessList(folder.descriptor, mode);
  }

  /// Also true for the private group of a user, as all his folders have it on systems where they are group-writable by
  /// default, and where the group that was to be given does not exist: a folder keeps its own there.
  bool isGroupAlone(gid_t group, uid_t user) {
    if (group == _group) return true;
    const auto [known, isNew] = _onlyMembers.try_emplace(group);
    if (isNew) known->second = onlyMember(group);
    return known->second && (*known->second == user || *known->second == 0);
  }

  /// Whether a folder is one already where nobody else could put a name than after its change.
  bool isNewOwnersAlone(const WalkedFolder& folder) {
    return isAlone(folder, _owner == kUnchangedOwner ? folder.status.st_uid : _owner);
  }

  /// Keeps the owner of an entry that has been changed, for its next name. \return true.
  bool remember(const struct stat& status) {
    if (hasSeveralNames(status) && needsOwner(status)) _formerOwners[{status.st_dev, status.st_ino}] = status.st_uid;
    return true;
  }

  uid_t formerOwner(const struct stat& status) const {
    const auto former = _formerOwners.find({status.st_dev, status.st_ino});
    return former != _formerOwners.end() && isRight(status) ? former->second : status.st_uid;
  }

  /// Whether a folder, or what cannot be seen in it, is under a name that somebody else than its owner can have put
  /// there.
  bool holdsOthersNames(const WalkedFolder& folder) {
    ScopedFolder read(openExisting(folder.descriptor, ".", O_RDONLY | O_DIRECTORY));
    const auto entries = entriesIn(read);
    if (!entries) return true;
    return std::any_of(entries->begin(), entries->end(), [&](const NamedEntry& entry) {
      struct stat status;
      if (S_ISDIR(entry.type)) return false;
      if (fstatat(read.get(), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno != ENOENT;
      return hasSeveralNames(status) && !isAlone(folder, formerOwner(status));
    });
  }

  uid_t _owner = kUnchangedOwner;
  gid_t _group = kUnchangedGroup;
  std::optional<mode_t> _mode;
  std::map<std::pair<dev_t, ino_t>, uid_t> _formerOwners;  // of changed entries with several names
  std::map<gid_t, std::optional<uid_t>> _onlyMembers;      // of groups that were looked up
};

/// Gives the attributes to what a walk meets. Every entry is tried, whatever became of the others.
class AttributeVisitor : public FolderVisitor {
 public:
  AttributeVisitor(AttributeChange& change, RepairOutcome& outcome) : _change(change), _outcome(outcome) {}

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

  AttributeChange& _change;
  RepairOutcome& _outcome;
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  return AttributeChange(attributes).changeHeld(AT_FDCWD, path.c_str());
}

RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes) {
  RepairOutcome outcome;
  outcome.folder = folder;
  AttributeChange change(attributes);
  if (change.hasOwner()) outcome.owner = attributes.owner;
  if (change.hasGroup()) outcome.group = attributes.group;
  ScopedFd top = openForRepair(folder, change.group(), &outcome.refusal);
  if (!top) return outcome;
  outcome.isTreated = true;
  AttributeVisitor visitor(change, outcome);
  (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  return outcome;
}

}  // namespace hotfix::platform
