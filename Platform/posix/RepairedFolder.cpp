#include "Platform/posix/RepairedFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <set>
#include <vector>

#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/UserIdentity.h"
#include "Platform/posix/Accounts.h"
#include "Platform/posix/EntryAttributes.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

constexpr char kProtected[] = "it is a folder of the system or of a user";

/// Whether no folder that has been opened can lie at a path that gives this error: there is none, it is closed to us,
/// or its volume does not answer.
bool provesAbsence(int error) {
  constexpr int kErrors[] = {ENOENT, ENOTDIR, ELOOP, EACCES, ENOTCONN, ESTALE, ETIMEDOUT, EHOSTDOWN};
  return std::find(std::begin(kErrors), std::end(kErrors), error) != std::end(kErrors);
}

/// Also true for a path that cannot be looked at, when there is no telling what is there.
bool mayBeSameFolder(const struct stat& folder, const std::string& path) {
  if (path.empty()) return false;
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return status.st_dev == folder.st_dev && status.st_ino == folder.st_ino;
  return !provesAbsence(errno);
}

bool isHomeOf(const std::optional<Account>& account, const struct stat& folder) {
  return account && mayBeSameFolder(folder, account->home);
}

/// Whether a folder is the one around an account's home, which holds the homes of others too. A home that is a link
/// lies in two; one that is not there, or no path at all, as daemons have it, lies in none.
bool holdsHomeOf(const std::optional<Account>& account, const struct stat& folder) {
  if (!account || account->home.compare(0, 1, "/") != 0) return false;
  return mayBeSameFolder(folder, account->home + "/..") ||
         (exists(account->home) && mayBeSameFolder(folder, path::deletingLastComponent(account->home)));
}

/// Whether an open folder holds the home of an account that owns a folder in it: then homes lie here, whoever calls.
/// True also when it cannot be read.
bool containsHomes(const ScopedFd& openFolder, const struct stat& folder) {
  ScopedFolder read(openExisting(openFolder.get(), ".", O_RDONLY | O_DIRECTORY));
  std::set<uid_t> owners;
  const bool isRead = visitEntries(read, [&](const char* name, mode_t type) {
    struct stat status;
    const bool canBeFolder = type == 0 || S_ISDIR(type);
    if (canBeFolder && fstatat(read.get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode)) {
      owners.insert(status.st_uid);
    }
    return true;
  });
  return !isRead || std::any_of(owners.begin(), owners.end(),
                                [&folder](uid_t owner) { return holdsHomeOf(accountWithId(owner), folder); });
}

// hier(7) of Linux and of macOS, where /etc, /tmp and /var are links into /private, and where what is not the
// system's own lies on a volume of its own from 10.15 on.
constexpr char kDataVolume[] = "/System/Volumes/Data";
constexpr const char* kTops[] = {"/", "/private/", "/System/Volumes/Data/"};

template <size_t count>
bool isOneOf(const char* const (&names)[count], const struct stat& folder) {
  for (const std::string top : kTops) {
    if (std::any_of(std::begin(names), std::end(names),
                    [&](const char* name) { return mayBeSameFolder(folder, top + name); })) {
      return true;
    }
  }
  return false;
}

bool isSystemFolder(const struct stat& folder) {
  static constexpr const char* kSystemFolders[] = {
      "",      "Applications", "Developer", "Library", "Network", "System",     "Users", "Volumes", "bin",
      "boot",  "cores",        "dev",       "etc",     "home",    "lib",        "lib32", "lib64",   "libx32",
      "media", "mnt",          "net",       "opt",     "private", "lost+found", "proc",  "root",    "run",
      "sbin",  "snap",         "srv",       "sys",     "tmp",     "usr",        "var"};
  return isOneOf(kSystemFolders, folder);
}

/// Whether a folder lies in one where nothing is but the system, however deep. \a place of \a folder leads to it.
bool isInsideSystem(int folder, std::string place) {
  static constexpr const char* kSystemAlone[] = {"Library/Apple", "System", "bin",    "boot", "dev",  "etc", "lib",
                                                 "lib32",         "lib64",  "libx32", "proc", "sbin", "sys", "usr"};
  struct stat volume = {};
  const bool hasVolume = stat(kDataVolume, &volume) == 0;
  const auto isSame = [](const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
  };
  struct stat below = {};
  for (bool isFirst = true;; isFirst = false) {
    struct stat status;
    if (fstatat(folder, place.c_str(), &status, 0) != 0) return true;
    if (!isFirst && isSame(status, below)) return false;    // at the top
    if (hasVolume && isSame(status, volume)) return false;  // what is not the system's own, though it lies in /System
    if (isOneOf(kSystemAlone, status)) return true;
    below = status;
    place += "/..";
  }
}

/// \param path where the folder was found: homes that an account of that name has are homes whoever owns them.
bool isProtected(const struct stat& folder, const std::string& path) {
  if (isSystemFolder(folder)) return true;
  const std::string name = path::lastComponent(resolvedPath(path).value_or(path));
  if (isHomeOf(accountWithId(folder.st_uid), folder) || isHomeOf(accountNamed(name), folder)) return true;
  const OptionalString invokingUser = invokingUserName();
  for (const std::optional<Account>& account :
       {invokingUser ? accountNamed(*invokingUser) : std::nullopt, sudoCaller(), accountWithId(geteuid())}) {
    if (isHomeOf(account, folder) || holdsHomeOf(account, folder)) return true;
  }
  return false;
}

/// What a path leads to.
struct Destination {
  ScopedFd folder;             // held, not open for reading
  std::vector<uid_t> leaders;  // who, besides root, can have chosen where a link on the way leads
  std::optional<gid_t> group;  // or the members of a group
  bool isAnybodys = false;     // or everybody
};

/// Notes who can have chosen where a link leads that lies in a folder which is not root's alone: who made it, and who
/// can write to the folder. He can put any link there that he can move, root's too; it leads elsewhere then.
void noteLeaders(const struct stat& link, const struct stat& holder, std::optional<gid_t> trustedGroup,
                 Destination& at) {
  for (const uid_t leader : {link.st_uid, holder.st_uid}) {
    if (leader != 0) at.leaders.push_back(leader);
  }
  // Where everybody can write, and the sticky bit does not keep others' entries in place, so can everybody; and with it
  // as well where links of others can get a second name.
  const bool isMovable = (holder.st_mode & S_ISVTX) == 0 || link.st_nlink > 1;
  if ((holder.st_mode & S_IWOTH) != 0 && isMovable) at.isAnybodys = true;
  if ((holder.st_mode & S_IWGRP) == 0 || !isMovable || holder.st_gid == trustedGroup) return;
  const std::optional<uid_t> member = onlyMember(holder.st_gid);
  if (!member) at.group = holder.st_gid;
  if (member.value_or(0) != 0) at.leaders.push_back(*member);
}

/// Goes from component to component, so that each link on the way is seen. \return none when no folder is reached.
std::optional<Destination> follow(const std::string& path, std::optional<gid_t> trustedGroup) {
  constexpr int kMostLinks = 40;  // as the kernel
  Destination at;
  at.folder = openExisting(AT_FDCWD, path.compare(0, 1, "/") == 0 ? "/" : ".", O_RDONLY | O_DIRECTORY);
  std::string rest = path;
  for (int links = 0; at.folder && !rest.empty();) {
    const size_t slash = rest.find('/');
    const std::string name = rest.substr(0, slash);
    rest.erase(0, slash == std::string::npos ? slash : slash + 1);
    if (name.empty() || name == ".") continue;
    ScopedFd next = openHandle(at.folder.get(), name.c_str());
    struct stat status;
    if (!next || fstat(next.get(), &status) != 0) return std::nullopt;
    if (!S_ISLNK(status.st_mode)) {
      at.folder = std::move(next);
      continue;
    }
    const OptionalString text = heldLinkText(next.get(), at.folder.get(), name.c_str());
    struct stat holder;
    if (!text || text->empty() || ++links > kMostLinks || fstat(at.folder.get(), &holder) != 0) return std::nullopt;
    if (!onlyWeCanWrite(at.folder.get(), holder)) noteLeaders(status, holder, trustedGroup, at);
    if (text->front() == '/') at.folder = openExisting(AT_FDCWD, "/", O_RDONLY | O_DIRECTORY);
    rest = *text + "/" + rest;
  }
  if (!at.folder) return std::nullopt;
  return at;
}

/// Why the links on the way to a folder are not trusted; empty when they are.
std::string refusalOfLinks(const Destination& destination, const struct stat& folder) {
  const auto refusal = [](const std::string& leader) {
    return "a link that leads there is in the hands of " + leader + ", not of root, its owner or the caller of sudo";
  };
  if (destination.isAnybodys) return refusal("everybody");
  if (destination.group) return refusal("the group " + groupText(*destination.group));
  const std::optional<uid_t> caller = sudoCallerId();
  for (const uid_t leader : destination.leaders) {
    if (leader != folder.st_uid && leader != caller) return refusal(accountText(leader));
  }
  return "";
}

}  // namespace

bool onlyWeCanWrite(int folder, const struct stat& status) {
  return (status.st_uid == 0 || status.st_uid == geteuid()) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
         !hasHiddenAccessList(folder, status.st_mode);
}

ScopedFd openForRepair(const std::string& path, std::optional<gid_t> trustedGroup, std::string* refusal) {
  refusal->clear();
  if (path.empty()) return ScopedFd();
  const std::optional<Destination> destination = follow(path, trustedGroup);
  struct stat status;
  if (!destination || fstat(destination->folder.get(), &status) != 0 || !S_ISDIR(status.st_mode)) return ScopedFd();
  ScopedFd folder = openExisting(destination->folder.get(), ".", O_RDONLY | O_DIRECTORY);
  if (isProtected(status, path) || isInsideSystem(destination->folder.get(), ".") ||
      (folder && containsHomes(folder, status))) {
    *refusal = kProtected;
  } else {
    *refusal = refusalOfLinks(*destination, status);
  }
  return refusal->empty() ? std::move(folder) : ScopedFd();
}

bool isProtectedFolder(const std::string& folder) {
  struct stat status;
  if (stat(folder.c_str(), &status) != 0) return errno != ENOENT && errno != ENOTDIR;
  if (!S_ISDIR(status.st_mode)) return false;
  const ScopedFd open = openExisting(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  return isProtected(status, folder) || isInsideSystem(AT_FDCWD, folder) || (open && containsHomes(open, status));
}

}  // namespace hotfix::platform
