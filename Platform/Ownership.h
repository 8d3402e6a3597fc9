#ifndef PLATFORM_OWNERSHIP_H_
#define PLATFORM_OWNERSHIP_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "Support/OptionalString.h"

/// Owner, group and mode of files and folders.
namespace hotfix::platform {

/// Attributes to give to an entry; an absent one is left as it is. So is an owner or group whose name the account
/// database does not know: that is no failure.
struct Attributes {
  OptionalString owner;        ///< account name
  OptionalString group;        ///< group name
  std::optional<mode_t> mode;  ///< the permission bits, all twelve of them
};

/// What a change of everything below a folder came to.
struct RepairOutcome {
  std::string folder;       ///< its path
  bool isTreated = false;   ///< whether it was there and could be opened, and was not refused
  std::string refusal;      ///< why it was refused, to follow "because"; empty when it was not
  size_t changed = 0;       ///< entries that have the attributes now and did not have them before
  size_t failed = 0;        ///< entries that do not have them now, or could not be reached
  std::string firstFailed;  ///< path of the first of these
  OptionalString owner;     ///< the account that was to be the owner; none when it is unknown or was not given
  OptionalString group;     ///< the group likewise

  /// Whether every entry below the folder has the attributes now.
  // NOLINTNEXTLINE(google-explicit-constructor): a boolean that says more
  operator bool() const { return isTreated && failed == 0; }
};

/// Gives \a attributes to the one entry at \a path. A file with several names counts as failed.
///
/// \return true when the entry has them now.
bool setAttributes(const std::string& path, const Attributes& attributes);

/// Gives \a attributes to every entry below \a folder, at every depth, hidden ones included; the folder itself keeps
/// its own.
///
/// Made for trees in which others may write while the walk runs. It goes through folder descriptors and never through
/// a link: a link below the folder is re-owned itself, what it points to is not looked at. Devices and FIFOs get the
/// attributes without being opened. macOS cannot do that in a folder that others can write to: there one that needs a
/// change counts as failed, and so does an entry that we may not read (root always may).
///
/// An entry with several names, which may lie anywhere, is changed only when nobody but its owner and root can have put
/// this name here: its folder belongs to one of them, and others cannot write there, the group that is given excepted.
/// A group counts as one of them alone when it is his primary group, has his name (root's may have another) and no
/// other member, as far as that can be told without going through all accounts: see SECURITY.md. Otherwise it counts as
/// failed; and its folder, which would pass for such a folder from then on, with it.
///
/// An entry that has the attributes already costs one system call. A failed entry is passed over, a folder that cannot
/// be opened with all below it; the walk goes on.
///
/// A folder that would give away the machine or a user instead of an instance is refused, with nothing changed: a
/// protected one (see isProtectedFolder), and one that a link on any place of the path leads to which is in the hands
/// of others than root, the owner of the folder and the caller of sudo(8). In whose hands it is: who made it; and,
/// where the link lies in a folder that is not root's alone, the owner of that folder, who can move links there; a
/// group or everybody, where they can, but not the group that is given. It is the folder that was opened which is
/// judged, whatever the path means by then.
///
/// \return what it came to: true when \a folder is a folder (or a link to one) and every entry below it has the
///     attributes now. An empty folder gives true.
RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes);

/// Whether a folder is the machine's, or a user's as a whole: "/", a system folder at the top of the disk (/etc, /usr,
/// /Library …), any folder below those that hold nothing but the system (/usr, /etc, /bin, /dev, /System …), a folder
/// of users' homes, or a user's home folder itself. Links are followed. Any other folder, also a missing one, gives
/// false; one that cannot be looked at gives true.
///
/// Homes are in /Users and /home, and wherever else lies that of the invoking user, the caller of sudo(8), the
/// effective user, or the owner of a folder directly in the folder.
bool isProtectedFolder(const std::string& folder);

}  // namespace hotfix::platform

#endif
