#include "Platform/preview/Layer.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/SystemHabits.h"

namespace hotfix::platform::preview {

namespace {

constexpr int kMostLinks = 40;  // as the kernel

/// A device number that no file system has: of entries that only the layer has.
constexpr dev_t kLayerDevice = static_cast<dev_t>(-1);

std::string joined(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

bool isBelow(const std::string& path, const std::string& folder) {
  if (folder == "/") return true;
  return path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string workingFolder() {
  char path[PATH_MAX] = {};
  return getcwd(path, sizeof path) != nullptr ? path : "/";
}

/// The names of a path in order, without empty ones and ".".
void pushNames(const std::string& path, std::vector<std::string>& stack) {
  std::vector<std::string> names;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin && path.compare(begin, end - begin, ".") != 0) names.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  stack.insert(stack.end(), names.rbegin(), names.rend());
}

bool isOneOfOurGroups(gid_t group) {
  if (group == getegid()) return true;
  const int count = getgroups(0, nullptr);
  std::vector<gid_t> groups(count > 0 ? static_cast<size_t>(count) : 0);
  const int got = getgroups(static_cast<int>(groups.size()), groups.data());
  return got > 0 && std::find(groups.begin(), groups.begin() + got, group) != groups.begin() + got;
}

int accessError(const std::string& path, int mode) {
  if (faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0) return 0;
  const int error = errno;
  // Who writes is told of a read-only volume before the rights are looked at.
  struct statvfs volume;
  const bool isReadOnly = (mode & W_OK) != 0 && statvfs(path.c_str(), &volume) == 0 && (volume.f_flag & ST_RDONLY) != 0;
  return isReadOnly && error == EACCES ? EROFS : error;
}

}  // namespace

Layer& layer() {
  static auto* theLayer = new Layer;
  return *theLayer;
}

Layer::Layer() : _umask(umask(0)) { umask(_umask); }

// ----- Reading -----

int Layer::find(const std::string& path, Links links, Place* place) const {
  *place = Place();
  const std::string text = path.substr(0, path.find('\0'));  // as the system takes it
  if (text.empty()) return ENOENT;
  if (text.size() >= PATH_MAX) return ENAMETOOLONG;

  Entry root;
  root.path = root.machinePath = "/";
  if (lstat("/", &root.status) != 0) return errno;
  std::vector<Entry> way{root};
  std::vector<std::string> names;  // the next one last
  bool mustBeFolder = text.back() == '/' || (text.size() > 1 && text.compare(text.size() - 2, 2, "/.") == 0);
  pushNames(text, names);
  if (text.front() != '/') pushNames(workingFolder(), names);

  int countedLinks = 0;
  while (!names.empty()) {
    const std::string name = std::move(names.back());
    names.pop_back();
    const Entry folder = way.back();
    if (!folder.isFolder()) return ENOTDIR;
    if (name == "..") {
      if (way.size() > 1) way.pop_back();
      continue;
    }
    Entry entry;
    const int error = find(folder, name, &entry);
    if (error == 0 && entry.isLink() && (!names.empty() || mustBeFolder || links == Links::Followed)) {
      if (++countedLinks > kMostLinks) return ELOOP;
      const OptionalString target = linkText(entry);
      if (!target) return EACCES;
      if (target->empty()) return ENOENT;
      if (target->front() == '/') way.resize(1);
      if (names.empty() && target->back() == '/') mustBeFolder = true;
      pushNames(*target, names);
      continue;
    }
    if (names.empty()) {
      place->folder = folder;
      place->name = name;
    }
    if (error != 0) return error;
    way.push_back(std::move(entry));
  }
  if (mustBeFolder && !way.back().isFolder()) return ENOTDIR;
  place->entry = way.back();
  return 0;
}

int Layer::find(const Entry& folder, const std::string& name, Entry* found) const {
  if (name.empty()) return ENOENT;
  if (name.size() > NAME_MAX) return ENAMETOOLONG;
  const auto changed = _folders.find(id(folder.status));
  if (changed != _folders.end()) {
    const auto node = changed->second.names.find(name);
    if (node != changed->second.names.end()) {
      if (!node->second.entry) return ENOENT;
      *found = *node->second.entry;
      applyRepairsFrom(node->second.repairs, folder.path, &found->status);
      return 0;
    }
  }
  if (folder.machinePath.empty()) return ENOENT;
  Entry entry;
  entry.machinePath = joined(folder.machinePath, name);
  if (lstat(entry.machinePath.c_str(), &entry.status) != 0) return errno;
  entry.path = joined(folder.path, name);
  applyRepairsFrom(0, folder.path, &entry.status);
  *found = std::move(entry);
  return 0;
}

std::optional<std::vector<std::string>> Layer::names(const Entry& folder) const {
  std::vector<std::string> result;
  if (readError(folder) != 0) return std::nullopt;
  const auto changed = _folders.find(id(folder.status));
  const auto isChanged = [&](const std::string& name) {
    return changed != _folders.end() && changed->second.names.count(name) != 0;
  };
  if (!folder.machinePath.empty()) {
    ScopedFolder open(openExisting(AT_FDCWD, folder.machinePath.c_str(), O_RDONLY | O_DIRECTORY));
    const auto entries = entriesIn(open);
    if (!entries) return std::nullopt;
    for (const NamedEntry& entry : *entries) {
      if (!isChanged(entry.name)) result.push_back(entry.name);
    }
  }
  if (changed == _folders.end()) return result;
  for (const auto& [name, node] : changed->second.names) {
    if (node.entry) result.push_back(name);
  }
  return result;
}

std::vector<std::string> Layer::changedNames(const struct stat& folder) const {
  std::vector<std::string> result;
  const auto changed = _folders.find(id(folder));
  if (changed == _folders.end()) return result;
  for (const auto& change : changed->second.names) result.push_back(change.first);
  return result;
}

OptionalString Layer::contents(const Entry& file, std::uint64_t limit) const {
  if (file.content) return file.content->size() <= limit ? OptionalString(*file.content) : std::nullopt;
  if (file.machinePath.empty()) return std::string();
  const ScopedFd open = openExisting(AT_FDCWD, file.machinePath.c_str(), O_RDONLY);
  struct stat status;
  if (!open || fstat(open.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size < 0 || static_cast<std::uint64_t>(status.st_size) > limit) return std::nullopt;
  return readToEnd(open.get(), static_cast<size_t>(limit), static_cast<size_t>(status.st_size));
}

std::string Layer::beginning(const Entry& file, size_t size) const {
  if (file.content) return file.content->substr(0, size);
  std::string bytes(size, '\0');
  const ScopedFd open = openExisting(AT_FDCWD, file.machinePath.c_str(), O_RDONLY);
  const ssize_t count = open ? retried([&] { return read(open.get(), bytes.data(), size); }) : 0;
  bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
  return bytes;
}

OptionalString Layer::linkText(const Entry& link) const {
  if (link.content) return *link.content;
  char text[PATH_MAX] = {};
  if (readlink(link.machinePath.c_str(), text, sizeof text - 1) < 0) return std::nullopt;
  return text;
}

int Layer::readError(const Entry& entry) const {
  if (geteuid() == 0) return 0;
  const mode_t mode = entry.status.st_mode;
  if (entry.status.st_uid == geteuid()) return (mode & S_IRUSR) != 0 ? 0 : EACCES;
  if (entry.content || entry.machinePath.empty()) return 0;
  return accessError(entry.machinePath, R_OK);
}

int Layer::openError(const Entry& file) const {
  return file.machinePath.empty() ? 0 : accessError(file.machinePath, W_OK);
}

int Layer::writeError(const Entry& folder) const {
  return folder.machinePath.empty() ? 0 : accessError(folder.machinePath, W_OK | X_OK);
}

int Layer::removeError(const Entry& folder, const Entry& entry) const {
  if (const int error = writeError(folder)) return error;
  const uid_t we = geteuid();
  const bool isSticky = (folder.status.st_mode & S_ISVTX) != 0;
  return we != 0 && isSticky && entry.status.st_uid != we && folder.status.st_uid != we ? EPERM : 0;
}

bool Layer::mayChangeMode(const struct stat& file) { return geteuid() == 0 || file.st_uid == geteuid(); }

bool Layer::mayGive(const struct stat& file, uid_t owner, gid_t group) const {
  if (geteuid() == 0) return true;
  const bool isOwnerKept = owner == WantedAttributes::kUnchangedOwner || owner == file.st_uid;
  const bool isGroupKept = group == WantedAttributes::kUnchangedGroup || group == file.st_gid;
  return file.st_uid == geteuid() && isOwnerKept && (isGroupKept || isOneOfOurGroups(group));
}

// ----- Changing -----

struct stat Layer::newStatus(const Entry& folder, mode_t mode) {
  struct stat status = {};
  status.st_dev = kLayerDevice;
  status.st_ino = _nextNumber++;
  status.st_nlink = 1;
  status.st_uid = geteuid();
  status.st_gid = getegid();
  status.st_mode = S_ISLNK(mode) ? mode : mode & ~_umask;
  if (givesGroup(folder.status)) {
    status.st_gid = folder.status.st_gid;
    if (S_ISDIR(mode)) status.st_mode |= folder.status.st_mode & S_ISGID;
  }
  return status;
}

void Layer::put(const Entry& folder, const std::string& name, Entry entry) {
  entry.path = joined(folder.path, name);
  Folder& changed = _folders[id(folder.status)];
  changed.folder = folder;
  changed.names[name] = {std::make_shared<const Entry>(std::move(entry)), _repairs.size()};
}

void Layer::remove(const Entry& folder, const std::string& name) {
  Folder& changed = _folders[id(folder.status)];
  changed.folder = folder;
  changed.names[name] = {};
}

void Layer::addRepair(Repair repair) {
  std::sort(repair.failed.begin(), repair.failed.end());
  _repairs.push_back(std::move(repair));
}

void Layer::applyRepairsFrom(size_t first, const std::string& folder, struct stat* status) const {
  for (size_t number = first; number < _repairs.size(); ++number) {
    const Repair& repair = _repairs[number];
    if (!isBelow(folder, repair.folder)) continue;
    if (std::binary_search(repair.failed.begin(), repair.failed.end(), id(*status))) continue;
    const WantedAttributes& wanted = repair.attributes;
    if (wanted.needsMode(*status) && !mayChangeMode(*status)) continue;
    if (wanted.needsOwner(*status) && !mayGive(*status, wanted.owner(), wanted.group())) {
      wanted.applyModeTo(status);
    } else {
      wanted.applyTo(status);
    }
  }
}

// ----- All that was done -----

std::vector<Difference> Layer::differences() const {
  std::vector<Difference> result;
  for (const auto& [folderId, changed] : _folders) {
    for (const auto& [name, node] : changed.names) {
      Difference difference;
      difference.path = joined(changed.folder.path, name);
      if (!changed.folder.machinePath.empty()) {
        Entry before;
        before.path = difference.path;
        before.machinePath = joined(changed.folder.machinePath, name);
        if (lstat(before.machinePath.c_str(), &before.status) == 0) difference.before = before;
      }
      if (node.entry) {
        difference.after = *node.entry;
        applyRepairsFrom(node.repairs, changed.folder.path, &difference.after->status);
      }
      if (difference.before || difference.after) result.push_back(std::move(difference));
    }
  }
  std::sort(result.begin(), result.end(),
            [](const Difference& left, const Difference& right) { return left.path < right.path; });
  return result;
}

}  // namespace hotfix::platform::preview
