#include "Platform/posix/RepairedFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
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

/// Whether a path with this error cannot be the path of an opened folder: there is no folder, there is no access to it,
/// or its volume does not respond.
bool provesAbsence(int error) {
  return isOneOf(error, {ENOENT, ENOTDIR, ELOOP, EACCES, ENOTCONN, ESTALE, ETIMEDOUT, EHOSTDOWN});
}

/// Also true for a path that cannot be examined, unless the error proves that the folder is not there.
bool mayBeSameFolder(const struct stat& folder, const std::string& path) {
  if (path.empty()) return false;
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return areSame(status, folder);
  return !provesAbsence(errno);
}

bool isHomeOf(const std::optional<Account>& account, const struct stat& folder) {
  return account && mayBeSameFolder(folder, account->home);
}

/// Whether a folder is the parent folder of an account's home, which contains other users' homes too. A home that is a
/// link has two parent folders. A home that is missing or not a path, like those of daemons, has none.
bool holdsHomeOf(const std::optional<Account>& account, const struct stat& folder) {
  if (!account || account->home.compare(0, 1, "/") != 0) return false;
  return mayBeSameFolder(folder, account->home + "/..") ||
         (exists(account->home) && mayBeSameFolder(folder, path::deletingLastComponent(account->home)));
}

/// Whether an open folder contains the home of an account that owns a folder in it: then it is a folder of homes,
/// whoever the caller is. Also true if it cannot be read.
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

// The names of hier(7) on Linux and on macOS, all of them on every system. A name that does not exist costs nothing. A
// list for each system would protect less: a system that is not known here would begin without one. On macOS, /etc,
// /tmp and /var are links into /private, and since 10.15 everything that is not part of the system is on a separate
// volume.
constexpr char kDataVolume[] = "/System/Volumes/Data";
constexpr const char* kTops[] = {"/", "/private/", "/System/Volumes/Data/"};

constexpr std::initializer_list<const char*> kSystemFolders = {
    "",      "Applications", "Developer", "Library", "Network", "System",     "Users", "Volumes", "bin",
    "boot",  "cores",        "dev",       "etc",     "home",    "lib",        "lib32", "lib64",   "libx32",
    "media", "mnt",          "net",       "opt",     "private", "lost+found", "proc",  "root",    "run",
    "sbin",  "snap",         "srv",       "sys",     "tmp",     "usr",        "var"};

/// Folders that contain only the system.
constexpr std::initializer_list<const char*> kSystemAlone = {"Library/Apple", "System", "bin",   "boot",  "dev",
                                                             "etc",           "lib",    "lib32", "lib64", "libx32",
                                                             "proc",          "sbin",   "sys",   "usr"};

bool isAnyOf(std::initializer_list<const char*> names, const struct stat& folder) {
  return std::any_of(std::begin(kTops), std::end(kTops), [&](const std::string& top) {
    return std::any_of(names.begin(), names.end(),
                       [&](const char* name) { return mayBeSameFolder(folder, top + name); });
  });
}

/// Whether a folder is, at any depth, inside a folder that contains only the system. Its path is \a place relative to
/// \a folder.
bool isInsideSystem(int folder, std::string place) {
  struct stat volume = {};
  const bool hasVolume = stat(kDataVolume, &volume) == 0;
  struct stat below = {};
  for (bool isFirst = true;; isFirst = false) {
    struct stat status;
    if (fstatat(folder, place.c_str(), &status, 0) != 0) return true;
    if (!isFirst && areSame(status, below)) return false;    // at the top
    if (hasVolume && areSame(status, volume)) return false;  // not part of the system, although inside /System
    if (isAnyOf(kSystemAlone, status)) return true;
    below = status;
    place += "/..";
  }
}

/// \param path the path of the folder: the home of an account with its last name is protected, whoever owns it.
bool isProtected(const struct stat& folder, const std::string& path) {
  if (isAnyOf(kSystemFolders, folder)) return true;
  const std::string name = path::lastComponent(resolvedPath(path).value_or(path));
  if (isHomeOf(accountWithId(folder.st_uid), folder) || isHomeOf(accountNamed(name), folder)) return true;
  const OptionalString invokingUser = invokingUserName();
  for (const std::optional<Account>& account :
       {invokingUser ? accountNamed(*invokingUser) : std::nullopt, sudoCaller(), accountWithId(geteuid())}) {
    if (isHomeOf(account, folder) || holdsHomeOf(account, folder)) return true;
  }
  return false;
}

/// The folder at the end of a path, and the users who control the links in the path.
struct Destination {
  ScopedFd folder;             // a handle, not open for reading
  std::vector<uid_t> leaders;  // users, except root, who can have chosen the target of a link in the path
  std::optional<gid_t> group;  // a group that can
  bool isAnybodys = false;     // whether everybody can
};

/// Records who can have chosen the target of a link in a folder that others than root can write to: the maker of the
/// link, and everybody who can write to the folder. They can move any link there, even one of root, which then leads
/// elsewhere.
void noteLeaders(const struct stat& link, const struct stat& holder, std::optional<gid_t> trustedGroup,
                 Destination& at) {
  for (const uid_t leader : {link.st_uid, holder.st_uid}) {
    if (leader != 0) at.leaders.push_back(leader);
  }
  // Everybody can do so if everybody can write to the folder and the sticky bit does not prevent moving others'
  // entries. With the sticky bit, everybody can do so if the link has a second name.
  const bool isMovable = (holder.st_mode & S_ISVTX) == 0 || link.st_nlink > 1;
  if ((holder.st_mode & S_IWOTH) != 0 && isMovable) at.isAnybodys = true;
  if ((holder.st_mode & S_IWGRP) == 0 || !isMovable || holder.st_gid == trustedGroup) return;
  const std::optional<uid_t> member = onlyMember(holder.st_gid);
  if (!member) at.group = holder.st_gid;
  if (member.value_or(0) != 0) at.leaders.push_back(*member);
}

/// Follows the path component by component, to examine each link. \return none if no folder is reached.
std::optional<Destination> follow(const std::string& path, std::optional<gid_t> trustedGroup) {
  constexpr int kMostLinks = 40;  // like the kernel
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

/// Why the links in the path of a folder are not trusted; empty if they are.
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

}  // namespace hotfix::platform
