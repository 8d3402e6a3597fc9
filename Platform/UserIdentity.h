#ifndef PLATFORM_USER_IDENTITY_H_
#define PLATFORM_USER_IDENTITY_H_

#include <sys/types.h>

#include <string>

#include "Support/OptionalString.h"

/// Who runs the process, on whose behalf, and where they live.
namespace hotfix::platform {

/// An environment variable, or none when it is not set. Set but empty gives the empty text.
OptionalString environmentVariable(const char* name);

/// Name of the account of the effective user (of the real one when the effective one is root), else the environment
/// variable USER, else none.
OptionalString loginName();

/// The environment variable USER, else loginName(). sudo sets USER to the name of root unless it is told otherwise
/// (`sudo USER=name …`, or set_logname in sudoers(5)).
OptionalString invokingUserName();

/// Whether the process has the rights of root.
bool hasRootRights();

/// Name of the account that called sudo(8), by SUDO_UID, when that is not root and the invoking user is: what is given
/// to the invoking user goes to root then. None otherwise.
OptionalString callerHiddenBySudo();

/// The name of an account or a group; none when the database does not know its number.
OptionalString accountName(uid_t userId);
OptionalString groupName(gid_t groupId);

/// Home folder of the user that loginName stands for, by the account database; HOME only when it has no entry.
OptionalString homeFolder();

/// The path with a leading "~" or "~name" replaced by that home folder. Any other path, and one of an unknown name,
/// is answered as it is.
std::string expandingTilde(const std::string& path);

/// Whether an owner of a file in a shared folder is one that the tool acts for: root, the effective user, under root's
/// rights the real one, or the invoking user (the account named by USER, or numbered by SUDO_UID).
bool isTrustedOwner(uid_t owner);

/// While it lives, the process has the effective user id of an account.
///
/// Needs the rights to switch; without them, or for an absent or unknown name, nothing is switched. The user id is
/// a property of the whole process: no other work that depends on it may run meanwhile.
class ScopedEffectiveUser {
 public:
  explicit ScopedEffectiveUser(const OptionalString& name);
  ScopedEffectiveUser(const ScopedEffectiveUser&) = delete;
  ScopedEffectiveUser& operator=(const ScopedEffectiveUser&) = delete;
  ~ScopedEffectiveUser();

 private:
  uid_t _before;
};

}  // namespace hotfix::platform

#endif
