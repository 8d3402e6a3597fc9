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
  std::string home;
};

/// Look-ups in the account database, safe beside other threads; none when it does not know the name or number.
std::optional<Account> accountNamed(const std::string& name);
std::optional<Account> accountWithId(uid_t userId);
std::optional<gid_t> groupNamed(const std::string& name);
OptionalString groupWithId(gid_t groupId);

/// The number of the user who called sudo(8), by the environment variable SUDO_UID, and his account; none without it.
std::optional<uid_t> sudoCallerId();
std::optional<Account> sudoCaller();

/// The name of an account for a person to read; its number when the database does not know it.
std::string accountText(uid_t userId);

}  // namespace hotfix::platform

#endif
