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

/// What a repair of owners decides. Nothing is changed here, so that a preview decides the same.
namespace hotfix::platform {

/// Attributes with their names looked up, and what they mean for an entry.
class WantedAttributes {
 public:
  static constexpr uid_t kUnchangedOwner = static_cast<uid_t>(-1);
  static constexpr gid_t kUnchangedGroup = static_cast<gid_t>(-1);

  /// A name that the account database does not know leaves the attribute as it is.
  explicit WantedAttributes(const Attributes& attributes);

  uid_t owner() const { return _owner; }
  gid_t group() const { return _group; }
  std::optional<gid_t> knownGroup() const { return hasGroup() ? std::optional<gid_t>(_group) : std::nullopt; }
  const std::optional<mode_t>& mode() const { return _mode; }
  bool hasOwner() const { return _owner != kUnchangedOwner; }
  bool hasGroup() const { return _group != kUnchangedGroup; }

  /// Never true for a link, whose mode means nothing.
  bool needsMode(const struct stat& status) const;
  bool needsOwner(const struct stat& status) const;
  bool isRight(const struct stat& status) const { return !needsMode(status) && !needsOwner(status); }

  /// Whether a change of the owner clears bits that are wanted, as it does in a file.
  bool losesSetIdBits(const struct stat& status) const;

  /// What an entry's attributes are once it has them.
  void applyTo(struct stat* status) const;

  /// The same for the mode alone, which comes first: an entry keeps it when the owner is refused then.
  void applyModeTo(struct stat* status) const;

 private:
  uid_t _owner = kUnchangedOwner;
  gid_t _group = kUnchangedGroup;
  std::optional<mode_t> _mode;
};

/// Entries with several names, in one repair. The other names may be anywhere, and whoever put one here may want us to
/// give away what is not his.
class SecondNames {
 public:
  /// \param wanted has to live as long.
  explicit SecondNames(const WantedAttributes& wanted) : _wanted(wanted) {}

  /// Whether an entry is one of them.
  static bool areIn(const struct stat& status) { return status.st_nlink > 1 && !S_ISDIR(status.st_mode); }

  /// Whether nobody else than the owner of an entry can have put a name of it in a folder.
  bool isOwnersName(const WalkedFolder& folder, uid_t owner);

  /// Whether a folder is one already where nobody else could put a name than after its change.
  bool isNewOwnersAlone(const WalkedFolder& folder);

  /// Keeps the owner of an entry that is changed, for its next name.
  void remember(const struct stat& before);

  /// Gives an entry's attributes as they are by now. \return 0 or the number of the error.
  using Look = std::function<int(const char* name, struct stat* status)>;

  /// Whether one of the entries of a folder, or what cannot be seen in it, is under a name that somebody else than its
  /// owner can have put there. \a folder is as it was before its change, and \a entries is open to be read.
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
