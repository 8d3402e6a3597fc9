#include "Platform/preview/Layer.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/RepairedFolder.h"
#include "Platform/posix/SystemHabits.h"
#include "Support/Path.h"

namespace hotfix::platform::preview {

namespace {

constexpr int kMostLinks = 40;  // as in the kernel

/// The device number of entries that exist only in the layer. No file system has it. The numbers below it are used for
/// the entries of copied trees.
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

/// Visits the names in a folder of the machine until \a visit answers false. \return false when it cannot be read.
bool visitNamesOnMachine(const std::string& path, const Layer::NameVisitor& visit) {
  ScopedFolder open(openExisting(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY));
  return visitEntries(open, [&visit](const char* name, mode_t) { return visit(name); });
}

/// The entry of \a folder that \a path is or lies below; empty when \a path is not below \a folder.
std::string nameBelow(const std::string& path, const std::string& folder) {
  if (path.empty() || path == folder || !isBelow(path, folder)) return "";
  const size_t begin = folder == "/" ? 1 : folder.size() + 1;
  return path.substr(begin, path.find('/', begin) - begin);
}

/// Whether a copy that ended with the entry \a stop has copied an entry of a folder that it reached, completely or
/// partly. The order of the listing decides.
bool isCopiedBefore(const std::string& folder, const std::string& name, const std::string& stop) {
  const std::string last = nameBelow(stop, folder);
  if (last.empty()) return true;
  if (name == last) return joined(folder, name) != stop;
  bool isFirst = false;
  visitNamesOnMachine(folder, [&](const std::string& other) {
    isFirst = other == name;
    return !isFirst && other != last;
  });
  return isFirst;
}

std::optional<Entry> onMachine(const std::string& path, const std::string& machinePath) {
  Entry entry;
  if (lstat(machinePath.c_str(), &entry.status) != 0) return std::nullopt;
  entry.path = path;
  entry.machinePath = machinePath;
  return entry;
}

int accessError(const std::string& path, int mode) {
  if (faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0) return 0;
  const int error = errno;
  // A writer gets the error of a read-only volume before the rights are checked.
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
  const std::string text = path.substr(0, path.find('\0'));  // a path ends there for the system
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

int Layer::openFolder(const std::string& path, Entry* folder) const {
  Place place;
  if (const int error = find(path, Links::Followed, &place)) return error;
  if (!place.entry->isFolder()) return ENOTDIR;
  *folder = *place.entry;
  return readError(*folder);
}

const Layer::Node* Layer::nodeOf(const Entry& folder, const std::string& name) const {
  const auto changed = _folders.find(id(folder.status));
  if (changed == _folders.end()) return nullptr;
  const auto node = changed->second.names.find(name);
  return node != changed->second.names.end() ? &node->second : nullptr;
}

int Layer::find(const Entry& folder, const std::string& name, Entry* found) const {
  if (name.empty()) return ENOENT;
  if (name.size() > NAME_MAX) return ENAMETOOLONG;
  if (const Node* const node = nodeOf(folder, name)) {
    if (!node->entry) return ENOENT;
    *found = *node->entry;
    applyRepairsFrom(node->repairs, folder.path, &found->status);
    return 0;
  }
  const int error = findOnMachine(folder, name, found);
  if (error != ENOENT || !folder.tree) return error;
  const std::string& stop = folder.tree->stop;
  return isCopiedBefore(folder.copySource, name, stop) ? findCopied(folder, name, found) : ENOENT;
}

int Layer::findOnMachine(const Entry& folder, const std::string& name, Entry* found) const {
  if (folder.machinePath.empty()) return ENOENT;
  Entry entry;
  entry.machinePath = joined(folder.machinePath, name);
  if (lstat(entry.machinePath.c_str(), &entry.status) != 0) return errno;
  entry.path = joined(folder.path, name);
  applyRepairsFrom(0, folder.path, &entry.status);
  Entry source;
  source.machinePath = joined(folder.copySource, name);
  if (folder.tree && entry.isFolder() && isCopiedBefore(folder.copySource, name, folder.tree->stop) &&
      lstat(source.machinePath.c_str(), &source.status) == 0 && source.isFolder() && readError(source) == 0) {
    entry.tree = folder.tree;
    entry.copySource = source.machinePath;
    entry.whileCopied = entry.status;
    // A folder gets the attributes of its source after its content, so only if the copy has completed it.
    if (!isBelow(folder.tree->stop, source.machinePath)) copyAttributes(source.status, &entry);
  }
  *found = std::move(entry);
  return 0;
}

/// Finds the entry of a copied tree for a name that does not exist on the machine.
int Layer::findCopied(const Entry& folder, const std::string& name, Entry* found) const {
  Entry source;
  source.machinePath = joined(folder.copySource, name);
  if (lstat(source.machinePath.c_str(), &source.status) != 0) return ENOENT;
  Entry copy;
  Entry before = folder;
  before.status = folder.whileCopied;
  if (copyOf(source, before, &copy) != 0) return ENOENT;
  const auto device = _devices.try_emplace({folder.tree->number, source.status.st_dev},
                                           kLayerDevice - 1 - static_cast<dev_t>(_devices.size()));
  copy.status.st_dev = device.first->second;
  copy.status.st_ino = source.status.st_ino;
  copy.path = joined(folder.path, name);
  if (copy.isFolder()) {
    copy.whileCopied = copy.status;
    if (id(source.status) != folder.tree->target) {
      copy.tree = folder.tree;
      copy.copySource = source.machinePath;
      copyAttributes(source.status, &copy);
    }
  }
  *found = std::move(copy);
  return 0;
}

bool Layer::visitNames(const Entry& folder, const NameVisitor& visit) const {
  if (readError(folder) != 0) return false;
  bool goesOn = true;
  const auto visitUnlessKnown = [&](const std::string& name) {
    if (nodeOf(folder, name) == nullptr) goesOn = visit(name);
    return goesOn;
  };
  if (!folder.machinePath.empty() && !visitNamesOnMachine(folder.machinePath, visitUnlessKnown)) return false;
  if (goesOn && folder.tree) {
    const std::string stop = nameBelow(folder.tree->stop, folder.copySource);
    visitNamesOnMachine(folder.copySource, [&](const std::string& name) {
      const bool isLast = name == stop;
      Entry copy;
      if (nodeOf(folder, name) == nullptr && findOnMachine(folder, name, &copy) == ENOENT &&
          !(isLast && joined(folder.copySource, name) == folder.tree->stop) && findCopied(folder, name, &copy) == 0) {
        goesOn = visit(name);
      }
      return goesOn && !isLast;
    });
  }
  const auto changed = _folders.find(id(folder.status));
  if (changed == _folders.end()) return true;
  for (const auto& [name, node] : changed->second.names) {
    if (!goesOn) break;
    if (node.entry) goesOn = visit(name);
  }
  return true;
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

bool Layer::mayGive(const struct stat& file, uid_t owner, gid_t group, uid_t user) {
  if (user == 0) return true;
  const bool isOwnerKept = owner == WantedAttributes::kUnchangedOwner || owner == file.st_uid;
  const bool isGroupKept = group == WantedAttributes::kUnchangedGroup || group == file.st_gid;
  return file.st_uid == user && isOwnerKept && (isGroupKept || isOneOfOurGroups(group));
}

bool Layer::haveSameAttributes(const struct stat& one, const struct stat& other) {
  return one.st_uid == other.st_uid && one.st_gid == other.st_gid && one.st_mode == other.st_mode;
}

// ----- Changing -----

struct stat Layer::newStatus(const Entry& folder, mode_t mode) {
  struct stat status = statusOfNew(folder, mode);
  status.st_ino = _nextNumber++;
  return status;
}

struct stat Layer::statusOfNew(const Entry& folder, mode_t mode) const {
  struct stat status = {};
  status.st_dev = kLayerDevice;
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
  const std::string path = joined(folder.path, name);
  for (auto below = _folders.begin(); below != _folders.end();) {
    below = isBelow(below->second.folder.path, path) ? _folders.erase(below) : std::next(below);
  }
  Folder& changed = _folders[id(folder.status)];
  changed.folder = folder;
  changed.names[name] = {};
}

// ----- Copies -----

namespace {

/// Whether a file keeps its set-id bits in a copy: it has none, or only we can write to its folder. Somebody else could
/// put a second name of a program into any other folder.
bool keepsSetIdBits(const Entry& source) {
  if ((source.status.st_mode & (S_ISUID | S_ISGID)) == 0 || source.machinePath.empty()) return true;
  const ScopedFd folder =
      openExisting(AT_FDCWD, path::deletingLastComponent(source.machinePath).c_str(), O_RDONLY | O_DIRECTORY);
  struct stat status;
  return folder && fstat(folder.get(), &status) == 0 && onlyWeCanWrite(folder.get(), status);
}

}  // namespace

int Layer::copyOf(const Entry& source, const Entry& folder, Entry* copy) const {
  *copy = Entry();
  if (source.isLink()) {
    const OptionalString text = linkText(source);
    if (!text) return EACCES;
    copy->content = std::make_shared<const std::string>(*text);
    copy->status = statusOfNew(folder, S_IFLNK | 0777);
  } else if (!source.isFile() && !source.isFolder()) {
    return ENOTSUP;
  } else if (const int error = readError(source)) {
    return error;
  } else if (source.isFolder()) {
    copy->status = statusOfNew(folder, S_IFDIR | 0700);
  } else {
    copy->status = statusOfNew(folder, S_IFREG | 0600);
    copy->status.st_size = source.status.st_size;
    copy->machinePath = source.machinePath;  // the content is not copied
    copy->content = source.content;
  }
  if (const int error = writeError(folder)) return error;
  if (source.isFolder()) return 0;  // it gets its attributes after its content
  struct stat given = source.status;
  if (source.isFile() && !keepsSetIdBits(source)) given.st_mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
  copyAttributes(given, copy);
  return 0;
}

void Layer::copyAttributes(const struct stat& source, Entry* copy) const {
  const bool isOwnerKept = mayGive(copy->status, source.st_uid, source.st_gid);
  if (isOwnerKept) copy->status.st_uid = source.st_uid;
  if (mayGive(copy->status, copy->status.st_uid, source.st_gid)) copy->status.st_gid = source.st_gid;
  if (!copy->isLink()) copy->status.st_mode = (copy->status.st_mode & S_IFMT) | adoptedMode(source, isOwnerKept);
}

std::shared_ptr<const CopiedTree> Layer::newTree(const Id& target, const std::string& stop) {
  return std::make_shared<const CopiedTree>(CopiedTree{_nextNumber++, target, stop});
}

bool Layer::isUntouched(const std::string& path) const {
  return std::none_of(_folders.begin(), _folders.end(),
                      [&](const auto& folder) { return isBelow(folder.second.folder.path, path); }) &&
         std::none_of(_repairs.begin(), _repairs.end(), [&](const Repair& repair) {
           return isBelow(path, repair.folder) || isBelow(repair.folder, path);
         });
}

/// Visits the entries that a copied tree has made or changed below a folder, each folder before its content.
void Layer::visitCopies(const Entry& folder, const CopyVisitor& visit) const {
  if (!folder.tree) return;
  const std::string stop = nameBelow(folder.tree->stop, folder.copySource);
  visitNamesOnMachine(folder.copySource, [&](const std::string& name) {
    const bool isLast = name == stop;
    if (isLast && joined(folder.copySource, name) == folder.tree->stop) return false;
    Entry entry;
    if (nodeOf(folder, name) != nullptr) return !isLast;
    const int error = findOnMachine(folder, name, &entry);
    const bool isMerged = error == 0 && entry.tree && !haveSameAttributes(entry.status, entry.whileCopied);
    if (isMerged || (error == ENOENT && findCopied(folder, name, &entry) == 0)) visit(folder, name, entry);
    if (entry.isFolder()) visitCopies(entry, visit);
    return !isLast;
  });
}

void Layer::unfoldCopies(const std::string& folder) {
  std::vector<std::pair<Entry, std::string>> tops;
  for (const auto& [folderId, changed] : _folders) {
    for (const auto& [name, node] : changed.names) {
      const std::string path = joined(changed.folder.path, name);
      if (node.entry && node.entry->tree && (isBelow(path, folder) || isBelow(folder, path))) {
        tops.emplace_back(changed.folder, name);
      }
    }
  }
  for (const auto& [holder, name] : tops) {
    Node& top = _folders[id(holder.status)].names[name];
    Entry plain = *top.entry;
    visitCopies(plain, [this](Entry in, const std::string& copyName, Entry copy) {
      in.tree = copy.tree = nullptr;
      put(in, copyName, std::move(copy));
    });
    plain.tree = nullptr;
    top.entry = std::make_shared<const Entry>(std::move(plain));
  }
}

// ----- Repairs -----

void Layer::addRepair(Repair repair) {
  std::sort(repair.failed.begin(), repair.failed.end());
  _repairs.push_back(std::move(repair));
}

void Layer::applyRepairsFrom(size_t first, const std::string& folder, struct stat* status) const {
  for (size_t number = first; number < _repairs.size(); ++number) {
    const Repair& repair = _repairs[number];
    const WantedAttributes& wanted = repair.attributes;
    if (wanted.isRight(*status) || !isBelow(folder, repair.folder) || isReadOnly(folder)) continue;
    if (std::binary_search(repair.failed.begin(), repair.failed.end(), id(*status))) continue;
    if (wanted.needsMode(*status) && !mayChangeMode(*status, repair.user)) continue;
    if (wanted.needsOwner(*status) && !mayGive(*status, wanted.owner(), wanted.group(), repair.user)) {
      wanted.applyModeTo(status);
    } else {
      wanted.applyTo(status);
    }
  }
}

bool Layer::isReadOnly(const std::string& folder) const {
  if (_askedFolder.first != folder) {
    _askedFolder = {folder, faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) != 0 && errno == EROFS};
  }
  return _askedFolder.second;
}

// ----- All changes -----

void Layer::visitDifferences(const DifferenceVisitor& visit) const {
  const auto visitCopy = [&visit](const Entry&, const std::string&, const Entry& entry) {
    const bool isMerged = entry.isFolder() && !entry.machinePath.empty();
    visit({entry.path, isMerged ? onMachine(entry.path, entry.machinePath) : std::nullopt, entry});
  };
  for (const auto& [folderId, changed] : _folders) {
    for (const auto& [name, node] : changed.names) {
      Difference difference;
      difference.path = joined(changed.folder.path, name);
      if (!changed.folder.machinePath.empty()) {
        difference.before = onMachine(difference.path, joined(changed.folder.machinePath, name));
      }
      if (node.entry) {
        difference.after = *node.entry;
        applyRepairsFrom(node.repairs, changed.folder.path, &difference.after->status);
      }
      if (difference.before || difference.after) visit(std::move(difference));
      if (node.entry) visitCopies(*node.entry, visitCopy);
    }
  }
}

std::set<std::string> Layer::removedPaths() const {
  std::set<std::string> paths;
  for (const auto& [folderId, changed] : _folders) {
    for (const auto& [name, node] : changed.names) {
      if (!node.entry) paths.insert(joined(changed.folder.path, name));
    }
  }
  return paths;
}

size_t Layer::size() const {
  size_t sum = 0;
  for (const auto& [folderId, changed] : _folders) sum += changed.names.size();
  return sum;
}

}  // namespace hotfix::platform::preview
