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
#include "Platform/posix/Descriptors.h"
#include "Support/Path.h"
#include "Support/PropertyListWriter.h"

// The store of a pasteboard is a property list: a dictionary whose one key is the declared type and whose value is an
// array. It holds a random text of the process that declared the type, and behind it the one property list that was
// stored.

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

/// The stores for which this process has declared a type, and the text that it has put into each.
struct OwnedStores {
  std::mutex mutex;
  std::map<std::string, std::string> ownersByFile;
};

OwnedStores& ownedStores() {
  static auto* stores = new OwnedStores;  // outlives threads that are still running
  return *stores;
}

/// What the store has under a type.
PropertyListValue::Array contentOf(const OptionalString& file, const std::string& type) {
  const auto store = readStore(file);
  if (!store) return {};
  const auto content = store->find(type);
  const PropertyListValue::Array* values = content != store->end() ? content->second.asArray() : nullptr;
  return values != nullptr ? *values : PropertyListValue::Array();
}

void writeStore(const std::string& file, const std::string& type, PropertyListValue::Array content) {
  const OptionalString text = property_list::toXml(
      PropertyListValue(PropertyListValue::Dictionary{{type, PropertyListValue(std::move(content))}}));
  Attributes ownerOnly;
  ownerOnly.mode = 0600;
  if (text) (void)createFile(file, *text, ownerOnly);  // in a private folder it is never open to others
}

}  // namespace

void declarePasteboardType(const std::string& pasteboard, const std::string& type) {
  const OptionalString file = storeFile(pasteboard, IfMissing::MakeFolder);
  if (!file) return;
  const std::lock_guard<std::mutex> lock(ownedStores().mutex);
  const std::string owner = ownedStores().ownersByFile[*file] = randomName("");
  writeStore(*file, type, {owner});
}

void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value) {
  const OptionalString file = storeFile(pasteboard, IfMissing::Leave);
  if (!file) return;
  const std::lock_guard<std::mutex> lock(ownedStores().mutex);
  const auto owned = ownedStores().ownersByFile.find(*file);
  const PropertyListValue::Array content = contentOf(file, type);
  if (owned == ownedStores().ownersByFile.end() || content.empty() ||
      content.front() != PropertyListValue(owned->second)) {
    return;
  }
  writeStore(*file, type, {owned->second, value});
}

std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type) {
  const PropertyListValue::Array content = contentOf(storeFile(pasteboard, IfMissing::Leave), type);
  if (content.size() < 2) return std::nullopt;
  return content[1];
}

}  // namespace hotfix::platform
