#ifndef PLATFORM_POSIX_ACCOUNTS_H_
#define PLATFORM_POSIX_ACCOUNTS_H_

#include <sys/types.h>

#include <optional>
#include <string>

namespace hotfix::platform {

/// The entry of a user in the account database.
struct Account {
  std::string name;
  uid_t userId;
  gid_t groupId;  // the primary group
  std::string home;
};

/// Thread-safe look-ups in the account database; none when it does not know the name or number.
std::optional<Account> accountNamed(const std::string& name);
std::optional<Account> accountWithId(uid_t userId);
std::optional<gid_t> groupNamed(const std::string& name);

/// The only member of a group: the group is that account's primary group, has its name (root's may have another), and
/// has no other member. None for a group of several accounts, as far as this can be decided cheaply: other accounts
/// with this primary group, and other groups with the same number, are found only in /etc/passwd and /etc/group,
/// because for a directory service every system would have to list all of them.
std::optional<uid_t> onlyMember(gid_t group);

/// The number of the user who called sudo(8), from the environment variable SUDO_UID, and that account; none without
/// it.
std::optional<uid_t> sudoCallerId();
std::optional<Account> sudoCaller();

/// The name of an account or a group for a user; its number when the database does not know it.
std::string accountText(uid_t userId);
std::string groupText(gid_t groupId);

}  // namespace hotfix::platform

#endif
