#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include "Platform/posix/Accounts.h"
#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"

namespace hotfix::platform {

namespace {

/// Attributes with their names looked up, and the ways to give them to an entry.
class AttributeChange {
 public:
  explicit AttributeChange(const Attributes& attributes) : _mode(attributes.mode) {
    // An unknown name stays -1, which leaves the attribute as it is.
    if (attributes.owner) {
      if (const std::optional<Account> account = accountNamed(*attributes.owner)) _owner = account->userId;
    }
    if (attributes.group) _group = groupNamed(*attributes.group).value_or(kUnchangedGroup);
  }

  bool applyTo(const WalkedFolder& folder, const char* name) const {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (isRight(status)) return true;
    // Where only we can rename, the name goes on meaning the entry that was looked at. Elsewhere somebody may put
    // another in its place, a second link to a file of root's for example: so the entry is held first.
    return isOursAlone(folder.descriptor, folder.status) ? changeByName(folder.descriptor, name, status)
                                                         : changeHeld(folder.descriptor, name);
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
  bool applyTo(const WalkedFolder& folder) const {
    struct stat status;
    if (fstat(folder.descriptor, &status) != 0) return false;
    return (!needsMode(status) || fchmod(folder.descriptor, *_mode) == 0) &&
           (!needsOwner(status) || fchown(folder.descriptor, _owner, _group) == 0);
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
  explicit AttributeVisitor(const AttributeChange& change) : _change(change) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override { return note(_change.applyTo(folder, name)); }

  /// After its content: as long as a folder is still root's, nobody else can exchange what is in it.
  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder&, const char*) override {
    return note(_change.applyTo(folder));
  }

  bool visitClosedFolder(const WalkedFolder& parent, const char* name, bool* isToBeTriedAgain) override {
    // The new mode may be what opens it to its owner.
    *isToBeTriedAgain = errno == EACCES && _change.changeHeld(parent.descriptor, name);
    return note(*isToBeTriedAgain);
  }

  bool missedEntries() override { return note(false); }

  bool succeeded() const { return _succeeded; }

 private:
  bool note(bool success) {
    _succeeded = _succeeded && success;
    return true;
  }

  const AttributeChange& _change;
  bool _succeeded = true;
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  return AttributeChange(attributes).changeHeld(AT_FDCWD, path.c_str());
}

bool setAttributesBelow(const std::string& folder, const Attributes& attributes, bool* isRefused) {
  bool isRefusedHere = false;
  ScopedFd top = openForRepair(folder, &isRefusedHere);
  if (isRefused != nullptr) *isRefused = isRefusedHere;
  if (!top) return false;
  const AttributeChange change(attributes);
  AttributeVisitor visitor(change);
  (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  return visitor.succeeded();
}

}  // namespace hotfix::platform
