#include "Platform/FileManager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <exception>

#include "Platform/posix/FileChanges.h"
#include "Platform/preview/Layer.h"
#include "Support/Path.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Place;

namespace {

/// Puts a new file into a folder, see Platform/posix/FileManager.cpp.
///
/// \param replaced the file whose owner, group and mode the new one gets; null when it gets \a newMode.
bool writeAtomically(const Entry& folder, const std::string& name, const Entry* replaced, mode_t newMode,
                     const std::function<bool(const PartWriter& write)>& produce) {
  if (layer().writeError(folder) != 0) return false;
  auto bytes = std::make_shared<std::string>();
  try {
    if (!produce([&bytes](std::string_view part) {
          bytes->append(part);
          return true;
        })) {
      return false;
    }
  } catch (const std::exception&) {  // out of memory
    return false;
  }
  Entry inTheWay;
  const int error = layer().find(folder, name, &inTheWay);
  if (error != 0 && error != ENOENT) return false;
  const bool isThere = error == 0;
  if (isThere && (inTheWay.isFolder() || layer().removeError(folder, inTheWay) != 0)) return false;  // the rename

  Entry file;
  file.status = layer().newStatus(folder, S_IFREG | newMode);
  if (replaced != nullptr) {
    struct stat old = replaced->status;
    if (isThere && inTheWay.isLink()) old.st_mode &= 0777U;
    layer().copyAttributes(old, &file);
  }
  file.status.st_size = static_cast<off_t>(bytes->size());
  file.content = std::move(bytes);
  layer().put(folder, name, std::move(file));
  return true;
}

}  // namespace

bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce) {
  const std::string name = path::lastComponent(path);
  Entry folder;
  if (name.empty() || layer().openFolder(folderOf(path), &folder) != 0) return false;
  Entry old;
  int error = layer().find(folder, name, &old);
  const bool isTrustNeeded = adopted == Adopted::FromTrustedFile;
  if (error == 0 && old.isLink() && !isTrustNeeded) {
    Place target;
    error = layer().find(folder.path + "/" + name, Links::Followed, &target);
    if (error == 0) old = *target.entry;
  }
  if (error != 0 && error != ENOENT && error != ENOTDIR && error != ELOOP) return false;
  const bool isReplacing = error == 0 && (isTrustNeeded ? isTrustedFile(old.status) : old.isFile());
  return writeAtomically(folder, name, isReplacing ? &old : nullptr, isTrustNeeded ? 0664 : 0666, produce);
}

// ----- Questions -----

int examine(const std::string& path, Links links, struct stat* status) {
  if (layer().isUntouched()) {
    const int result = links == Links::Followed ? stat(path.c_str(), status) : lstat(path.c_str(), status);
    return result == 0 ? 0 : errno;
  }
  Place place;
  const int error = layer().find(path, links, &place);
  if (error == 0) *status = place.entry->status;
  return error;
}

OptionalString resolvedPath(const std::string& path) {
  Place place;
  if (layer().find(path, Links::Followed, &place) != 0) return std::nullopt;
  return place.entry->path;
}

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
  std::vector<std::string> names;
  Entry folder;
  const bool isRead =
      layer().openFolder(path, &folder) == 0 && layer().visitNames(folder, [&](const std::string& name) {
        names.push_back(name);
        return true;
      });
  return isRead ? std::optional<std::vector<std::string>>(std::move(names)) : std::nullopt;
}

// ----- Folders -----

int makeFolder(const std::string& path) {
  Place place;
  const std::string item = path::appending(path, "");  // a slash at the end makes no difference
  const int error = layer().find(item, Links::Kept, &place);
  if (error == 0) return EEXIST;
  if (error != ENOENT || !place.folder) return error;
  if (const int writeError = layer().writeError(*place.folder)) return writeError;
  Entry folder;
  folder.status = layer().newStatus(*place.folder, S_IFDIR | 0777);
  layer().put(*place.folder, place.name, std::move(folder));
  return 0;
}

bool removeItem(const std::string& path, FileError* error) {
  const std::string item = path::appending(path, "");  // with a slash at its end a link would be followed
  Place place;
  int errorNumber = item.empty() ? ENOENT : layer().find(item, Links::Kept, &place);
  if (errorNumber == 0 && !place.folder) errorNumber = EBUSY;
  if (errorNumber == 0) errorNumber = layer().removeError(*place.folder, *place.entry);
  if (errorNumber == 0) {
    layer().remove(*place.folder, place.name);
  } else if (error != nullptr) {
    *error = writingError("Remove", path, errorNumber);
  }
  return errorNumber == 0;
}

// ----- Whole files -----

OptionalString readFile(const std::string& path, std::uint64_t mostBytes) {
  Place place;
  if (layer().find(path, Links::Followed, &place) != 0 || !place.entry->isFile()) return std::nullopt;
  if (layer().readError(*place.entry) != 0) return std::nullopt;
  return layer().contents(*place.entry, mostBytes);
}

OptionalString readTrustedFile(const std::string& path, bool* isDistrusted) {
  *isDistrusted = false;
  Place place;
  if (layer().find(path, Links::Kept, &place) != 0) return std::nullopt;
  if (place.entry->isLink() || layer().readError(*place.entry) != 0 || !isTrustedFile(place.entry->status)) {
    *isDistrusted = true;
    return std::nullopt;
  }
  return layer().contents(*place.entry, kLargestFile);
}

// ----- Files in folders that others can write to -----

struct FileBelow::Place {
  std::string path;
  Entry folder;
  std::string name;
  std::optional<Entry> file;
};

FileBelow::FileBelow(const std::string& folder, const std::string& relativePath) : _place(std::make_unique<Place>()) {
  _place->path = path::appending(folder, relativePath);
  if (layer().openFolder(folder, &_place->folder) != 0) return;
  std::string rest = relativePath;
  for (size_t slash = rest.find('/'); slash != std::string::npos; slash = rest.find('/')) {
    Entry below;
    if (layer().find(_place->folder, rest.substr(0, slash), &below) != 0 || !below.isFolder()) return;
    if (layer().readError(below) != 0) return;
    _place->folder = below;
    rest.erase(0, slash + 1);
  }
  _place->name = rest;
  Entry file;
  const bool isFound = layer().find(_place->folder, rest, &file) == 0 && layer().readError(file) == 0;
  if (isFound && file.isFile() && file.status.st_nlink == 1) _place->file = std::move(file);
}

FileBelow::FileBelow(FileBelow&& other) noexcept = default;

FileBelow::~FileBelow() = default;

bool FileBelow::isThere() const { return _place->file.has_value(); }

const std::string& FileBelow::path() const { return _place->path; }

OptionalString FileBelow::read() const {
  return isThere() ? layer().contents(*_place->file, kLargestFileBelow) : std::nullopt;
}

bool FileBelow::replace(const std::function<bool(const PartWriter& write)>& produce) const {
  return isThere() && writeAtomically(_place->folder, _place->name, &*_place->file, 0600, produce);
}

}  // namespace hotfix::platform
