#include "Platform/UserIdentity.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

#include "Platform/FileManager.h"
#include "Platform/SystemPaths.h"
#include "Platform/posix/Accounts.h"

namespace hotfix::platform {

namespace {

constexpr size_t kLargestAccountRecord = size_t{1} << 20;

/// Calls a "_r" look-up with a buffer that grows until the record fits. \return the record, or null.
template <typename Record, typename LookUp>
Record* lookedUp(Record& record, std::vector<char>& buffer, LookUp lookUp) {
  for (buffer.resize(1024);; buffer.resize(buffer.size() * 2)) {
    Record* found = nullptr;
    const int error = lookUp(&record, buffer.data(), buffer.size(), &found);
    if (error == EINTR) continue;
    if (error != ERANGE || buffer.size() >= kLargestAccountRecord) return error == 0 ? found : nullptr;
  }
}

template <typename LookUp>
std::optional<Account> account(LookUp lookUp) {
  struct passwd record = {};
  std::vector<char> buffer;
  const struct passwd* found = lookedUp(record, buffer, lookUp);
  if (found == nullptr) return std::nullopt;
  return Account{found->pw_name, found->pw_uid, found->pw_gid, found->pw_dir};
}

struct Group {
  std::string name;
  gid_t groupId;
  std::vector<std::string> members;
};

template <typename LookUp>
std::optional<Group> group(LookUp lookUp) {
  struct group record = {};
  std::vector<char> buffer;
  const struct group* found = lookedUp(record, buffer, lookUp);
  if (found == nullptr) return std::nullopt;
  Group result{found->gr_name, found->gr_gid, {}};
  for (char* const* member = found->gr_mem; member != nullptr && *member != nullptr; ++member) {
    result.members.emplace_back(*member);
  }
  return result;
}

std::optional<Group> groupWithId(gid_t groupId) {
  return group([groupId](auto... rest) { return getgrgid_r(groupId, rest...); });
}

std::vector<std::string> partsOf(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

/// Whether the machine's own files (passwd(5), group(5)) have another user in a group: an account with this primary
/// group, or a member of another group with the same number.
bool isGroupOfOthers(gid_t groupId, const Account& user) {
  const auto isNumber = [](const std::vector<std::string>& fields, size_t index, unsigned long number) {
    return fields.size() > index && !fields[index].empty() &&
           std::strtoul(fields[index].c_str(), nullptr, 10) == number;
  };
  const auto recordsOf = [](const char* file) {
    std::vector<std::vector<std::string>> records;
    for (const std::string& line : partsOf(readFile(onDisk(file)).value_or(""), '\n'))
      records.push_back(partsOf(line, ':'));
    return records;
  };
  for (const auto& fields : recordsOf("/etc/passwd")) {
    if (isNumber(fields, 3, groupId) && !isNumber(fields, 2, user.userId)) return true;
  }
  for (const auto& fields : recordsOf("/etc/group")) {
    if (!isNumber(fields, 2, groupId) || fields.size() < 4) continue;
    for (const std::string& member : partsOf(fields[3], ',')) {
      if (!member.empty() && member != user.name) return true;
    }
  }
  return false;
}

/// The user that the process works for: the effective user, or the real user if the effective one is root.
uid_t workingUser() { return geteuid() != 0 ? geteuid() : getuid(); }

}  // namespace

// ----- Accounts -----

std::optional<Account> accountNamed(const std::string& name) {
  return account([&name](auto... rest) { return getpwnam_r(name.c_str(), rest...); });
}

std::optional<Account> accountWithId(uid_t userId) {
  return account([userId](auto... rest) { return getpwuid_r(userId, rest...); });
}

std::optional<uid_t> sudoCallerId() {
  const OptionalString number = environmentVariable("SUDO_UID");
  if (!number) return std::nullopt;
  const auto userId = static_cast<uid_t>(std::strtoul(number->c_str(), nullptr, 10));
  if (*number != std::to_string(userId)) return std::nullopt;  // not a number, or not in the form that sudo writes
  return userId;
}

std::optional<Account> sudoCaller() {
  const std::optional<uid_t> userId = sudoCallerId();
  return userId ? accountWithId(*userId) : std::nullopt;
}

std::string accountText(uid_t userId) { return accountName(userId).value_or(std::to_string(userId)); }

std::optional<gid_t> groupNamed(const std::string& name) {
  const std::optional<Group> found = group([&name](auto... rest) { return getgrnam_r(name.c_str(), rest...); });
  return found ? std::optional<gid_t>(found->groupId) : std::nullopt;
}

std::optional<uid_t> onlyMember(gid_t groupId) {
  const std::optional<Group> group = groupWithId(groupId);
  if (!group) return std::nullopt;
  // On macOS and the BSDs root's own group has another name than root.
  const std::optional<Account> owner = groupId == 0 ? accountWithId(0) : accountNamed(group->name);
  if (!owner || owner->groupId != groupId) return std::nullopt;
  const auto isOwner = [&owner](const std::string& member) { return member == owner->name; };
  if (!std::all_of(group->members.begin(), group->members.end(), isOwner)) return std::nullopt;
  if (isGroupOfOthers(groupId, *owner)) return std::nullopt;
  return owner->userId;
}

std::string groupText(gid_t groupId) { return groupName(groupId).value_or(std::to_string(groupId)); }

// ----- Users -----

OptionalString accountName(uid_t userId) {
  const std::optional<Account> account = accountWithId(userId);
  return account ? OptionalString(account->name) : std::nullopt;
}

OptionalString groupName(gid_t groupId) {
  const std::optional<Group> group = groupWithId(groupId);
  return group ? OptionalString(group->name) : std::nullopt;
}

OptionalString environmentVariable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

OptionalString loginName() {
  const std::optional<Account> account = accountWithId(workingUser());
  return account ? account->name : environmentVariable("USER");
}

OptionalString invokingUserName() {
  OptionalString name = environmentVariable("USER");
  return name ? name : loginName();
}

bool hasRootRights() { return geteuid() == 0; }

OptionalString callerHiddenBySudo() {
  const std::optional<Account> caller = sudoCaller();
  if (!caller || caller->userId == 0) return std::nullopt;
  const std::optional<Account> owner = accountNamed(invokingUserName().value_or(""));
  return owner && owner->userId == 0 ? OptionalString(caller->name) : std::nullopt;
}

OptionalString homeFolder() {
  const std::optional<Account> account = accountWithId(workingUser());
  return account ? account->home : environmentVariable("HOME");
}

std::string expandingTilde(const std::string& path) {
  if (path.empty() || path.front() != '~') return path;
  const size_t slash = path.find('/');
  const std::string name = path.substr(1, slash == std::string::npos ? slash : slash - 1);
  OptionalString home;
  if (name.empty()) {
    home = homeFolder();
  } else if (const std::optional<Account> account = accountNamed(name)) {
    home = account->home;
  }
  if (!home) return path;
  const std::string rest = slash == std::string::npos ? "" : path.substr(slash);
  return rest == "/" ? *home : *home + rest;
}

bool isTrustedOwner(uid_t owner) {
  if (owner == 0 || owner == workingUser()) return true;
  if (const OptionalString name = environmentVariable("USER")) {
    const std::optional<Account> account = accountNamed(*name);
    if (account && account->userId == owner) return true;
  }
  return sudoCallerId() == owner;
}

// ----- ScopedEffectiveUser -----

ScopedEffectiveUser::ScopedEffectiveUser(const OptionalString& name) : _before(geteuid()) {
  if (!name) return;
  const std::optional<Account> account = accountNamed(*name);
  if (account) (void)!seteuid(account->userId);  // without the permission to switch, the caller's own settings are read
}

ScopedEffectiveUser::~ScopedEffectiveUser() {
  if (geteuid() != _before) (void)!seteuid(_before);
}

}  // namespace hotfix::platform
