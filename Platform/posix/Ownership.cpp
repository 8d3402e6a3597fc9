#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/WantedAttributes.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// The ways to set the attributes of an entry.
class AttributeChange {
 public:
  /// The outcome for an entry.
  enum class Effect { WasRight, Changed, Failed };

  explicit AttributeChange(const Attributes& attributes) : _wanted(attributes) {}
  AttributeChange(const AttributeChange&) = delete;
  AttributeChange& operator=(const AttributeChange&) = delete;

  const WantedAttributes& wanted() const { return _wanted; }

  Effect applyTo(const WalkedFolder& folder, const char* name) {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return Effect::Failed;
    if (_wanted.isRight(status)) return Effect::WasRight;
    // If only root and this process can rename entries, the name still refers to the examined entry. Otherwise another
    // user may replace it, for example with a second name of a file of root. So a handle is opened first.
    const bool isChanged = onlyWeCanWrite(folder.descriptor, folder.status)
                               ? changeByName(folder, name, status)
                               : changeHeld(folder.descriptor, name, &folder);
    return isChanged ? Effect::Changed : Effect::Failed;
  }

  /// \param known the folder, if its attributes are known. Without them, no entry with several names is changed.
  bool changeHeld(int folder, const char* name, const WalkedFolder* known = nullptr) {
    const ScopedFd held = openHandle(folder, name);
    struct stat status;
    if (!held || fstat(held.get(), &status) != 0) return false;
    if (_wanted.isRight(status)) return true;
    if (SecondNames::areIn(status) && (known == nullptr || !_names.isOwnersName(*known, status.st_uid))) return false;
    return (!_wanted.needsMode(status) || setHandleMode(held.get(), *_wanted.mode())) &&
           (!_wanted.needsOwner(status) ||
            (changeHeldOwner(held.get(), _wanted.owner(), _wanted.group()) &&
             (!_wanted.losesSetIdBits(status) || setHandleMode(held.get(), *_wanted.mode())))) &&
           remember(status);
  }

  /// For a folder that is open for reading.
  ///
  /// A folder that others could write to would, with its new attributes, look like one where only the new owner could
  /// ever create a name. So it does not get them while it contains a second name of another user's file. This is
  /// checked when no other user can add a name any more.
  Effect applyTo(const WalkedFolder& folder) {
    WalkedFolder before = folder;
    if (fstat(folder.descriptor, &before.status) != 0) return Effect::Failed;
    if (_wanted.isRight(before.status)) return Effect::WasRight;
    const bool isDone =
        (!_wanted.needsMode(before.status) || fchmod(folder.descriptor, *_wanted.mode()) == 0) &&
        (!_wanted.needsOwner(before.status) || fchown(folder.descriptor, _wanted.owner(), _wanted.group()) == 0);
    if (!isDone) return Effect::Failed;
    if (_names.isNewOwnersAlone(before) || !holdsOthersNames(before)) return Effect::Changed;
    (void)!fchown(folder.descriptor, before.status.st_uid, before.status.st_gid);
    (void)fchmod(folder.descriptor, before.status.st_mode & 07777U);
    return Effect::Failed;
  }

 private:
  bool changeByName(const WalkedFolder& folder, const char* name, const struct stat& status) {
    if (SecondNames::areIn(status) && !_names.isOwnersName(folder, status.st_uid)) return false;
    const int at = folder.descriptor;
    return (!_wanted.needsMode(status) || fchmodat(at, name, *_wanted.mode(), 0) == 0) &&
           (!_wanted.needsOwner(status) ||
            (fchownat(at, name, _wanted.owner(), _wanted.group(), AT_SYMLINK_NOFOLLOW) == 0 &&
             (!_wanted.losesSetIdBits(status) || fchmodat(at, name, *_wanted.mode(), 0) == 0))) &&
           remember(status);
  }

  bool remember(const struct stat& status) {
    _names.remember(status);
    return true;
  }

  bool holdsOthersNames(const WalkedFolder& folder) {
    ScopedFolder read(openExisting(folder.descriptor, ".", O_RDONLY | O_DIRECTORY));
    return _names.areOthersIn(folder, read, [&read](const char* name, struct stat* status) {
      return fstatat(read.get(), name, status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
    });
  }

  WantedAttributes _wanted;
  SecondNames _names{_wanted};
};

/// Sets the attributes of the entries of a walk. Every entry is tried, even after failures.
class AttributeVisitor : public FolderVisitor {
 public:
  AttributeVisitor(AttributeChange& change, RepairOutcome& outcome) : _change(change), _outcome(outcome) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    return note(_change.applyTo(folder, name), folder.path, name);
  }

  /// After its content: as long as root owns a folder, nobody else can replace its entries.
  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) override {
    return note(_change.applyTo(folder), parent.path, name);
  }

  bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool* retry) override {
    // The new mode may give its owner access.
    *retry = errno == EACCES && _change.changeHeld(parent.descriptor, name);
    return note(*retry ? AttributeChange::Effect::Changed : AttributeChange::Effect::Failed, parent.path, name);
  }

  bool onIncomplete(const std::string& path) override { return note(AttributeChange::Effect::Failed, path, ""); }

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
  if (change.wanted().hasOwner()) outcome.owner = attributes.owner;
  if (change.wanted().hasGroup()) outcome.group = attributes.group;
  ScopedFd top = openForRepair(folder, change.wanted().knownGroup(), &outcome.refusal);
  if (!top) return outcome;
  outcome.isTreated = true;
  AttributeVisitor visitor(change, outcome);
  (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  return outcome;
}

}  // namespace hotfix::platform
