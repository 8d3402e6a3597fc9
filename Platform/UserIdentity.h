#ifndef PLATFORM_USER_IDENTITY_H_
#define PLATFORM_USER_IDENTITY_H_

#include <sys/types.h>

#include <string>

#include "Support/OptionalString.h"

/// The user who runs the process, the user on whose behalf it runs, and their home folders.
namespace hotfix::platform {

/// An environment variable, or none when it is not set. Set but empty gives the empty text.
OptionalString environmentVariable(const char* name);

/// Name of the account of the effective user (of the real user if the effective one is root), otherwise the environment
/// variable USER, otherwise none.
OptionalString loginName();

/// The environment variable USER, otherwise loginName(). sudo sets USER to the name of root unless configured otherwise
/// (`sudo USER=name …`, or set_logname in sudoers(5)).
OptionalString invokingUserName();

/// Whether the process has the permissions of root.
bool hasRootRights();

/// Name of the account that called sudo(8), from SUDO_UID, if that is not root and the invoking user is root: files for
/// the invoking user then get root as owner. None otherwise.
OptionalString callerHiddenBySudo();

/// The name of an account or a group; none when the database does not know its number.
OptionalString accountName(uid_t userId);
OptionalString groupName(gid_t groupId);

/// Home folder of the user named by loginName, from the account database; HOME only if the database has no entry.
OptionalString homeFolder();

/// The path with a leading "~" or "~name" replaced by that home folder. Any other path, and one with an unknown name,
/// is returned unchanged.
std::string expandingTilde(const std::string& path);

/// Whether the tool acts for an owner of a file in a shared folder: root, the effective user, with root's permissions
/// the real user, or the invoking user (the account named by USER, or numbered by SUDO_UID).
bool isTrustedOwner(uid_t owner);

/// During its lifetime, the process has the effective user id of an account.
///
/// Needs the permission to switch. Without it, or for an absent or unknown name, nothing is switched. The user id is a
/// property of the whole process: no other work that depends on it may run at the same time.
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
