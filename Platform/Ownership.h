#ifndef PLATFORM_OWNERSHIP_H_
#define PLATFORM_OWNERSHIP_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "Support/OptionalString.h"

/// Owner, group and mode of files and folders.
namespace hotfix::platform {

/// Attributes to set for an entry. An absent one stays unchanged. So does an owner or group with a name that the
/// account database does not know; that is not a failure.
struct Attributes {
  OptionalString owner;        ///< account name
  OptionalString group;        ///< group name
  std::optional<mode_t> mode;  ///< the permission bits; a change of owner may clear set-id bits of a file
};

/// The outcome of a change of everything below a folder.
struct RepairOutcome {
  std::string folder;       ///< its path
  bool isTreated = false;   ///< whether it exists, could be opened, and was not refused
  std::string refusal;      ///< why it was refused, as a text that can follow "because"; otherwise empty
  size_t changed = 0;       ///< entries that have the attributes now and did not have them before
  size_t failed = 0;        ///< entries that do not have them now, or could not be reached
  std::string firstFailed;  ///< path of the first of these
  OptionalString owner;     ///< the requested owner; none when the account is unknown or was not given
  OptionalString group;     ///< the requested group in the same way

  /// Whether every entry below the folder has the attributes now.
  // NOLINTNEXTLINE(google-explicit-constructor): a boolean with details
  operator bool() const { return isTreated && failed == 0; }
};

/// Sets \a attributes for the one entry at \a path. A file with several names fails.
///
/// \return true when the entry has them now.
bool setAttributes(const std::string& path, const Attributes& attributes);

/// Sets \a attributes for every entry below \a folder, at every depth, including hidden ones, but not for the folder
/// itself.
///
/// Safe for trees that others may write to during the walk. The walk uses folder descriptors and never follows a link:
/// a link below the folder is changed itself, and its target is not examined. Devices and FIFOs are changed without
/// being opened. On macOS this is impossible in a folder that others can write to: an entry there that needs a change
/// fails, and so does an entry that the process may not read (root may always).
///
/// The other names of an entry with several names may be anywhere. It is changed only if nobody except its owner and
/// root can have created this name: its folder belongs to one of them, and others cannot write there, except the
/// requested group. A group counts as its user alone if it is the user's primary group, has the user's name (root's may
/// have another) and no other member, as far as this can be decided without a list of all accounts: see SECURITY.md.
/// Otherwise the entry fails. So does its folder, because with the new owner it would look like such a folder.
///
/// An entry that already has the attributes costs one system call. After a failed entry, the walk continues; a folder
/// that cannot be opened is skipped with everything below it.
///
/// A folder is refused, with nothing changed, if it belongs to the machine or to a user instead of an instance:
/// - "/", a system folder at the top of the disk (/etc, /usr, /Library ...), or any folder below those that contain
/// only
///   the system (/usr, /etc, /bin, /dev, /System ...)
/// - a user's home folder, or a folder of homes: /Users, /home, and a folder that contains the home of the invoking
/// user,
///   of the caller of sudo(8), of the effective user, or of the owner of a folder directly in it
/// - a folder reached through a link, anywhere in the path, that is controlled by a user other than root, the owner of
///   the folder and the caller of sudo(8). A link is controlled by its maker. If others than root and the effective
///   user can write to the folder that contains it, it is also controlled by the owner of that folder, who can move
///   links there, and by a group or everybody, if they can move it; the requested group is excepted.
///
/// The decision is made about the opened folder, even if the path leads elsewhere by then.
///
/// \return the outcome: true when \a folder is a folder (or a link to one) and every entry below it has the attributes
///     now. An empty folder gives true.
RepairOutcome setAttributesBelow(const std::string& folder, const Attributes& attributes);

}  // namespace hotfix::platform

#endif
