#include "Platform/FileManager.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <exception>

#include "Platform/posix/FileErrors.h"
#include "Platform/posix/FileJudgements.h"
#include "Platform/posix/MakeFolder.h"
#include "Platform/preview/Layer.h"
#include "Support/Path.h"

namespace hotfix::platform {

using preview::Entry;
using preview::layer;
using preview::Layer;
using preview::Place;

namespace {

constexpr Layer::Links kFollowed = Layer::Links::Followed;
constexpr Layer::Links kKept = Layer::Links::Kept;

/// Finds the folder that a new name comes into, as one that is opened.
int findFolder(const std::string& path, Entry* folder) {
  Place place;
  const std::string text = path.empty() ? "." : path;
  if (const int error = layer().find(text, kFollowed, &place)) return error;
  if (!place.entry->isFolder()) return ENOTDIR;
  *folder = *place.entry;
  return layer().readError(*folder);
}

enum class Adopted { FromAnyFile, FromTrustedFile };

bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce) {
  const std::string name = path::lastComponent(path);
  Entry folder;
  if (name.empty() || findFolder(path::deletingLastComponent(path), &folder) != 0) return false;
  Entry old;
  const int error = layer().find(folder, name, &old);
  if (error != 0 && error != ENOENT) return false;
  const bool isLink = error == 0 && old.isLink();
  const bool isTrustNeeded = adopted == Adopted::FromTrustedFile;
  Place target;
  bool isThere = error == 0;
  if (isLink && !isTrustNeeded) {
    const int targetError = layer().find(folder.path + "/" + name, kFollowed, &target);
    if (targetError != 0 && targetError != ENOENT && targetError != ENOTDIR && targetError != ELOOP) return false;
    isThere = targetError == 0;
    if (isThere) old = *target.entry;
  }
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
  if (error == 0) {  // the rename
    Entry inTheWay;
    if (layer().find(folder, name, &inTheWay) != 0 || inTheWay.isFolder()) return false;
    if (layer().removeError(folder, inTheWay) != 0) return false;
  }

  Entry file;
  file.status = layer().newStatus(folder, S_IFREG | (isTrustNeeded ? 0664 : 0666));
  const bool isReplacing = isThere && (isTrustNeeded ? isTrustedFile(old.status) : old.isFile());
  if (isReplacing) {
    const bool isOwnerKept = layer().mayGive(file.status, old.status.st_uid, old.status.st_gid);
    if (isOwnerKept) file.status.st_uid = old.status.st_uid;
    if (layer().mayGive(file.status, file.status.st_uid, old.status.st_gid)) file.status.st_gid = old.status.st_gid;
    file.status.st_mode = S_IFREG | adoptedMode(old.status, isOwnerKept && !isLink);
  }
  file.status.st_size = static_cast<off_t>(bytes->size());
  file.content = std::move(bytes);
  layer().put(folder, name, std::move(file));
  return true;
}

}  // namespace

// ----- Questions -----

bool exists(const std::string& path) {
  Place place;
  return layer().find(path, kFollowed, &place) == 0;
}

bool isMissing(const std::string& path) {
  Place place;
  const int error = layer().find(path, kFollowed, &place);
  return error == ENOENT || error == ENOTDIR;
}

bool isNameFree(const std::string& path) {
  Place place;
  return layer().find(path, kKept, &place) == ENOENT;
}

bool isFolder(const std::string& path) {
  Place place;
  return layer().find(path, kFollowed, &place) == 0 && place.entry->isFolder();
}

OptionalString resolvedPath(const std::string& path) {
  Place place;
  if (layer().find(path, kFollowed, &place) != 0) return std::nullopt;
  return place.entry->path;
}

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
  Place place;
  if (layer().find(path, kFollowed, &place) != 0 || !place.entry->isFolder()) return std::nullopt;
  return layer().names(*place.entry);
}

// ----- Folders -----

int makeFolder(const std::string& path) {
  Place place;
  const std::string item = path::appending(path, "");  // a slash at the end makes no difference
  const int error = layer().find(item, kKept, &place);
  if (error == 0) return EEXIST;
  if (error != ENOENT || !place.folder) return error;
  if (const int writeError = layer().writeError(*place.folder)) return writeError;
  Entry folder;
  folder.status = layer().newStatus(*place.folder, S_IFDIR | 0777);
  layer().put(*place.folder, place.name, std::move(folder));
  return 0;
}

bool removeItem(const std::string& path) {
  const std::string item = path::appending(path, "");  // with a slash at its end a link would be followed
  Place place;
  if (item.empty() || layer().find(item, kKept, &place) != 0 || !place.folder) return false;
  if (layer().removeError(*place.folder, *place.entry) != 0) return false;
  layer().remove(*place.folder, place.name);
  return true;
}

// ----- Whole files -----

OptionalString readFile(const std::string& path) {
  Place place;
  if (layer().find(path, kFollowed, &place) != 0 || !place.entry->isFile()) return std::nullopt;
  if (layer().readError(*place.entry) != 0) return std::nullopt;
  return layer().contents(*place.entry, kLargestFile);
}

OptionalString readTrustedFile(const std::string& path, bool* isDistrusted) {
  *isDistrusted = false;
  Place place;
  if (layer().find(path, kKept, &place) != 0) return std::nullopt;
  if (place.entry->isLink() || layer().readError(*place.entry) != 0 || !isTrustedFile(place.entry->status)) {
    *isDistrusted = true;
    return std::nullopt;
  }
  return layer().contents(*place.entry, kLargestFile);
}

bool createFile(const std::string& path, const std::string& contents, const Attributes& attributes) {
  if (!writeFileAtomically(path, contents)) return false;
  (void)setAttributes(path, attributes);  // not a fatal error: the file is there
  return true;
}

bool writeFileAtomically(const std::string& path, const std::string& contents) {
  return writeFileAtomically(path, [&contents](const PartWriter& write) { return write(contents); });
}

bool writeFileAtomically(const std::string& path, const std::function<bool(const PartWriter& write)>& produce) {
  return writeAtomically(path, Adopted::FromAnyFile, produce);
}

bool writeTrustedFile(const std::string& path, const std::string& contents) {
  return writeAtomically(path, Adopted::FromTrustedFile,
                         [&contents](const PartWriter& write) { return write(contents); });
}

}  // namespace hotfix::platform
