#ifndef PLATFORM_POSIX_ACCOUNTS_H_
#define PLATFORM_POSIX_ACCOUNTS_H_

#include <sys/types.h>

#include <optional>
#include <string>

namespace hotfix::platform {

/// What the account database has about a user.
struct Account {
  std::string name;
  uid_t userId;
  gid_t groupId;  // the primary group
  std::string home;
};

/// Look-ups in the account database, safe beside other threads; none when it does not know the name or number.
std::optional<Account> accountNamed(const std::string& name);
std::optional<Account> accountWithId(uid_t userId);
std::optional<gid_t> groupNamed(const std::string& name);

/// The account for which a group stands: it is that account's primary group, has its name (root's may have another),
/// and no other member. None for a group of several, as far as that can be told cheaply: accounts that have it as their
/// primary group too, and other groups of the same number, are found in /etc/passwd and /etc/group only, as no system
/// tells those of a directory service without going through all of them.
std::optional<uid_t> onlyMember(gid_t group);

/// The number of the user who called sudo(8), by the environment variable SUDO_UID, and his account; none without it.
std::optional<uid_t> sudoCallerId();
std::optional<Account> sudoCaller();

/// The name of an account or a group for a person to read; its number when the database does not know it.
std::string accountText(uid_t userId);
std::string groupText(gid_t groupId);

}  // namespace hotfix::platform

#endif
