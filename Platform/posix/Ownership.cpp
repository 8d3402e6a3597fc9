#include "Platform/Ownership.h"

#include <fcntl.h>
#include <unistd.h>

#include "Platform/posix/EntryAttributes.h"
#include "Platform/posix/FolderWalk.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/WantedAttributes.h"

namespace hotfix::platform {

namespace {

/// The ways to give attributes to an entry.
class AttributeChange {
 public:
  explicit AttributeChange(const Attributes& attributes) : _wanted(attributes) {}

  bool applyTo(const WalkedFolder& folder, const char* name) const {
    struct stat status;
    if (fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (_wanted.isRight(status)) return true;
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
    if (_wanted.isRight(status)) return true;
    if (_wanted.isRefused(status)) return false;
    return (!_wanted.needsMode(status) || changeHeldMode(held.get(), *_wanted.mode())) &&
           (!_wanted.needsOwner(status) ||
            (changeHeldOwner(held.get(), _wanted.owner(), _wanted.group()) &&
             (!_wanted.losesSetIdBits(status) || changeHeldMode(held.get(), *_wanted.mode()))));
  }

  /// For a folder that is open for reading.
  bool applyTo(const WalkedFolder& folder) const {
    struct stat status;
    if (fstat(folder.descriptor, &status) != 0) return false;
    return (!_wanted.needsMode(status) || fchmod(folder.descriptor, *_wanted.mode()) == 0) &&
           (!_wanted.needsOwner(status) || fchown(folder.descriptor, _wanted.owner(), _wanted.group()) == 0);
  }

 private:
  bool changeByName(int folder, const char* name, const struct stat& status) const {
    if (_wanted.isRefused(status)) return false;
    return (!_wanted.needsMode(status) || fchmodat(folder, name, *_wanted.mode(), 0) == 0) &&
           (!_wanted.needsOwner(status) ||
            (fchownat(folder, name, _wanted.owner(), _wanted.group(), AT_SYMLINK_NOFOLLOW) == 0 &&
             (!_wanted.losesSetIdBits(status) || fchmodat(folder, name, *_wanted.mode(), 0) == 0)));
  }

  WantedAttributes _wanted;
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

  bool missedEntries(const std::string&) override { return note(false); }

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
