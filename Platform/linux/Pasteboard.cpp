#include "Platform/Pasteboard.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <mutex>

#include "Platform/FileManager.h"
#include "Platform/PropertyList.h"
#include "Platform/SystemPaths.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/PropertyListWriter.h"

// The store of a pasteboard is a property list: a dictionary whose one key is the declared type and whose value is an
// array, empty or holding the one property list that was stored.

namespace hotfix::platform {

namespace {

/// Whether a folder is the user's own and nobody else's: not a link, closed to others.
bool isPrivateFolder(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 077U) == 0;
}

enum class IfMissing { MakeFolder, Leave };

/// File of a pasteboard, in a private folder; none when there is no such folder.
OptionalString storeFile(const std::string& pasteboard, IfMissing ifMissing) {
  const std::string name = path::lastComponent(pasteboard) + ".plist";
  const std::string runtimeFolder = onDisk("/run/user/" + std::to_string(geteuid()));
  if (isPrivateFolder(runtimeFolder)) return path::appending(runtimeFolder, name);
  const OptionalString home = homeFolder();
  if (!home) return std::nullopt;
  const std::string folder = onDisk(*home + "/Library/Pasteboards");
  if (ifMissing == IfMissing::MakeFolder && !exists(folder)) {
    (void)createFolder(path::deletingLastComponent(folder), Parents::Created);
    (void)mkdir(folder.c_str(), 0700);
  }
  if (!isPrivateFolder(folder)) return std::nullopt;
  return path::appending(folder, name);
}

/// The stored dictionary; none when there is none, or when the file is not the user's own.
std::optional<PropertyListValue::Dictionary> readStore(const OptionalString& file) {
  if (!file) return std::nullopt;
  struct stat status;
  if (lstat(file->c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid()) return std::nullopt;
  return readDictionary(*file);
}

/// Which file a store is. Every write makes another one.
struct Identity {
  dev_t device;
  ino_t number;
  struct timespec changed;
};

std::optional<Identity> identityOf(const std::string& file) {
  struct stat status;
  if (lstat(file.c_str(), &status) != 0) return std::nullopt;
  return Identity{status.st_dev, status.st_ino, status.st_ctim};
}

bool operator==(const Identity& left, const Identity& right) {
  return left.device == right.device && left.number == right.number && left.changed.tv_sec == right.changed.tv_sec &&
         left.changed.tv_nsec == right.changed.tv_nsec;
}

/// The stores that this process was the last to write, as far as it knows.
struct OwnedStores {
  std::mutex mutex;
  std::map<std::string, Identity> byFile;
};

OwnedStores& ownedStores() {
  static auto* stores = new OwnedStores;  // outlives threads that are still running
  return *stores;
}

void writeStore(const OptionalString& file, const std::string& type, PropertyListValue::Array content) {
  if (!file) return;
  const OptionalString text = property_list::toXml(
      PropertyListValue(PropertyListValue::Dictionary{{type, PropertyListValue(std::move(content))}}));
  Attributes ownerOnly;
  ownerOnly.mode = 0600;
  const bool isWritten = text && createFile(*file, *text, ownerOnly);  // in a private folder it is never open to others
  const std::optional<Identity> identity = isWritten ? identityOf(*file) : std::nullopt;
  if (identity) ownedStores().byFile[*file] = *identity;
}

}  // namespace

void declarePasteboardType(const std::string& pasteboard, const std::string& type) {
  const std::lock_guard<std::mutex> lock(ownedStores().mutex);
  writeStore(storeFile(pasteboard, IfMissing::MakeFolder), type, {});
}

void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value) {
  const std::lock_guard<std::mutex> lock(ownedStores().mutex);
  const OptionalString file = storeFile(pasteboard, IfMissing::Leave);
  if (!file) return;
  const auto owned = ownedStores().byFile.find(*file);
  if (owned == ownedStores().byFile.end() || !(identityOf(*file) == owned->second)) return;
  const auto store = readStore(file);
  if (store && store->count(type) != 0) writeStore(file, type, {value});
}

std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type) {
  const auto store = readStore(storeFile(pasteboard, IfMissing::Leave));
  if (!store) return std::nullopt;
  const auto content = store->find(type);
  if (content == store->end()) return std::nullopt;
  const PropertyListValue::Array* values = content->second.asArray();
  if (values == nullptr || values->empty()) return std::nullopt;
  return values->front();
}

}  // namespace hotfix::platform
