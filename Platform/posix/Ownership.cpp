#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/EntryChanges.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/WantedAttributes.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// The outcome for an entry.
enum class Effect { WasRight, Changed, Failed };

/// Sets the attributes of the entries of a walk. Every entry is tried, even after failures.
class AttributeVisitor : public FolderVisitor {
 public:
  AttributeVisitor(const WantedAttributes& wanted, RepairOutcome& outcome) : _wanted(wanted), _outcome(outcome) {}

  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    return note(applyTo(folder, name), folder.path, name);
  }

  /// After its content: as long as root owns a folder, nobody else can replace its entries.
  bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) override {
    return note(applyTo(folder), parent.path, name);
  }

  bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool* retry) override {
    // The new mode may give its owner access.
    *retry = errno == EACCES && changeHeld(parent.descriptor, name);
    return note(*retry ? Effect::Changed : Effect::Failed, parent.path, name);
  }

  bool onIncomplete(const std::string& path) override { return note(Effect::Failed, path, ""); }

  /// \param known the folder, if its attributes are known. Without them, no entry with several names is changed.
  bool changeHeld(int folder, const char* name, const WalkedFolder* known = nullptr) {
    const ScopedFd held = openHandle(folder, name);
    struct stat status;
    if (!held || fstat(held.get(), &status) != 0) return false;
    if (_wanted.isRight(status)) return true;
    if (SecondNames::areIn(status) && (known == nullptr || !_names.isOwnersName(*known, status.st_uid))) return false;
    return change(
        status, [&held](mode_t mode) { return setHandleMode(held.get(), mode); },
        [&held](uid_t owner, gid_t group) { return changeHeldOwner(held.get(), owner, group); });
  }

 private:
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

  /// For a folder that is open for reading.
  ///
  /// A folder that others could write to would, with its new attributes, look like one where only the new owner could
  /// ever create a name. So it does not get them while it contains a second name of another user's file. This is
  /// checked when no other user can add a name any more.
  Effect applyTo(const WalkedFolder& folder) {
    WalkedFolder before = folder;
    if (fstat(folder.descriptor, &before.status) != 0) return Effect::Failed;
    if (_wanted.isRight(before.status)) return Effect::WasRight;
    const int at = folder.descriptor;
    const bool isDone = change(
        before.status, [at](mode_t mode) { return fchmod(at, mode) == 0; },
        [at](uid_t owner, gid_t group) { return fchown(at, owner, group) == 0; });
    if (!isDone) return Effect::Failed;
    if (_names.isNewOwnersAlone(before) || !holdsOthersNames(before)) return Effect::Changed;
    (void)!fchown(at, before.status.st_uid, before.status.st_gid);
    (void)fchmod(at, before.status.st_mode & 07777U);
    return Effect::Failed;
  }

  bool changeByName(const WalkedFolder& folder, const char* name, const struct stat& status) {
    if (SecondNames::areIn(status) && !_names.isOwnersName(folder, status.st_uid)) return false;
    const int at = folder.descriptor;
    return change(
        status, [at, name](mode_t mode) { return fchmodat(at, name, mode, 0) == 0; },
        [at, name](uid_t owner, gid_t group) { return fchownat(at, name, owner, group, AT_SYMLINK_NOFOLLOW) == 0; });
  }

  /// Makes the needed changes with the given calls: the mode, then the owner.
  template <typename SetMode, typename SetOwner>
  bool change(const struct stat& status, SetMode setMode, SetOwner setOwner) {
    if (_wanted.needsMode(status) && !setMode(*_wanted.mode())) return false;
    if (_wanted.needsOwner(status) && !setOwner(_wanted.owner(), _wanted.group())) return false;
    _names.remember(status);
    return true;
  }

  bool holdsOthersNames(const WalkedFolder& folder) {
    ScopedFolder read(openExisting(folder.descriptor, ".", O_RDONLY | O_DIRECTORY));
    return _names.areOthersIn(folder, read, [&read](const char* name, struct stat* status) {
      return fstatat(read.get(), name, status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
    });
  }

  bool note(Effect effect, std::string_view folder, const char* name) {
    if (effect == Effect::Changed) ++_outcome.changed;
    if (effect == Effect::Failed && _outcome.failed++ == 0) {
      _outcome.firstFailed = path::appending(path::appending(_outcome.folder, std::string(folder)), name);
    }
    return true;
  }

  const WantedAttributes& _wanted;
  RepairOutcome& _outcome;
  SecondNames _names{_wanted};
};

}  // namespace

bool setAttributes(const std::string& path, const Attributes& attributes) {
  RepairOutcome outcome;
  return AttributeVisitor(WantedAttributes(attributes), outcome).changeHeld(AT_FDCWD, path.c_str());
}

RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes) {
  const WantedAttributes wanted(attributes);
  RepairOutcome outcome = wanted.outcomeFor(folder, attributes);
  ScopedFd top = openForRepair(folder, wanted.knownGroup(), &outcome.refusal);
  if (!top) return outcome;
  outcome.isTreated = true;
  AttributeVisitor visitor(wanted, outcome);
  (void)walkBelow(std::move(top), visitor);  // this visitor never ends it
  return outcome;
}

}  // namespace hotfix::platform
