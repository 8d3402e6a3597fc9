#ifndef PLATFORM_POSIX_WANTED_ATTRIBUTES_H_
#define PLATFORM_POSIX_WANTED_ATTRIBUTES_H_

#include <sys/stat.h>

#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "Platform/Ownership.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/FolderWalk.h"

/// The decisions of a repair of owners. Nothing is changed here, so that a preview makes the same decisions.
namespace hotfix::platform {

/// Attributes with resolved names, and their effect on an entry.
class WantedAttributes {
 public:
  static constexpr uid_t kUnchangedOwner = static_cast<uid_t>(-1);
  static constexpr gid_t kUnchangedGroup = static_cast<gid_t>(-1);

  /// If the account database does not know a name, the attribute stays unchanged.
  explicit WantedAttributes(const Attributes& attributes);

  uid_t owner() const { return _owner; }
  gid_t group() const { return _group; }
  std::optional<gid_t> knownGroup() const { return hasGroup() ? std::optional<gid_t>(_group) : std::nullopt; }
  const std::optional<mode_t>& mode() const { return _mode; }
  bool hasOwner() const { return _owner != kUnchangedOwner; }
  bool hasGroup() const { return _group != kUnchangedGroup; }

  /// The outcome of a repair before anything was done.
  RepairOutcome outcomeFor(const std::string& folder, const Attributes& attributes) const;

  /// Never true for a link, because its mode has no meaning.
  bool needsMode(const struct stat& status) const;
  bool needsOwner(const struct stat& status) const;
  bool isRight(const struct stat& status) const { return !needsMode(status) && !needsOwner(status); }

  /// Sets \a status to the attributes of the entry after the change.
  void applyTo(struct stat* status) const;

  /// The same for the mode only, which is changed first: an entry keeps it if the system then refuses the owner.
  void applyModeTo(struct stat* status) const;

 private:
  uid_t _owner = kUnchangedOwner;
  gid_t _group = kUnchangedGroup;
  std::optional<mode_t> _mode;
};

/// Entries with several names, in one repair. The other names may be anywhere, and the creator of a name may try to
/// become the owner of another user's file.
class SecondNames {
 public:
  /// \param wanted must outlive this object.
  explicit SecondNames(const WantedAttributes& wanted) : _wanted(wanted) {}

  /// Whether an entry has several names.
  static bool areIn(const struct stat& status) { return status.st_nlink > 1 && !S_ISDIR(status.st_mode); }

  /// Whether only the owner of an entry, or root, can have created its name in a folder.
  bool isOwnersName(const WalkedFolder& folder, uid_t owner);

  /// Whether only those can create a name in a folder now who could also do so after its change.
  bool isNewOwnersAlone(const WalkedFolder& folder);

  /// Records the owner of an entry before its change, for its next name.
  void remember(const struct stat& before);

  /// Gives an entry's current attributes. \return 0 or the number of the error.
  using Look = std::function<int(const char* name, struct stat* status)>;

  /// Whether one of the entries of a folder, or an entry that cannot be examined, has a name that a user other than its
  /// owner can have created. \a folder has the attributes before its change, and \a entries is open for reading.
  bool areOthersIn(const WalkedFolder& folder, ScopedFolder& entries, const Look& look);

 private:
  bool isGroupAlone(gid_t group, uid_t user);
  uid_t formerOwner(const struct stat& status) const;

  const WantedAttributes& _wanted;
  std::map<std::pair<dev_t, ino_t>, uid_t> _formerOwners;  // of changed entries
  std::map<gid_t, std::optional<uid_t>> _onlyMembers;      // of groups that were looked up
};

}  // namespace hotfix::platform

#endif
