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

// The store of a pasteboard is a property list: a dictionary with the declared type as its only key and an array as its
// value. The array has a random text of the process that declared the type, followed by the stored property list.

namespace hotfix::platform {

namespace {

/// Whether a folder belongs only to the user: not a link, and without access for others.
bool isPrivateFolder(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 077U) == 0;
}

/// File of a pasteboard, in a private folder; none when there is no such folder and it is not made.
OptionalString storeFile(const std::string& pasteboard, bool isFolderMade = false) {
  const std::string name = path::lastComponent(pasteboard) + ".plist";
  const std::string runtimeFolder = onDisk("/run/user/" + std::to_string(geteuid()));
  if (isPrivateFolder(runtimeFolder)) return path::appending(runtimeFolder, name);
  const OptionalString home = homeFolder();
  if (!home) return std::nullopt;
  const std::string folder = onDisk(*home + "/Library/Pasteboards");
  if (isFolderMade && !exists(folder)) {
    (void)createFolder(path::deletingLastComponent(folder), Parents::Created);
    (void)mkdir(folder.c_str(), 0700);
  }
  if (!isPrivateFolder(folder)) return std::nullopt;
  return path::appending(folder, name);
}

/// The stores for which this process has declared a type, and its random text in each.
struct OwnedStores {
  std::mutex mutex;
  std::map<std::string, std::string> ownersByFile;
};

OwnedStores& ownedStores() {
  static auto* stores = new OwnedStores;  // outlives threads that are still running
  return *stores;
}

/// The content of the store under a type; empty also if the file does not belong to the user.
PropertyListValue::Array contentOf(const OptionalString& file, const std::string& type) {
  struct stat status;
  if (!file || lstat(file->c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid()) return {};
  const auto store = readDictionary(*file);
  if (!store || store->count(type) == 0) return {};
  const PropertyListValue::Array* values = store->find(type)->second.asArray();
  return values != nullptr ? *values : PropertyListValue::Array();
}

void writeStore(const std::string& file, const std::string& type, PropertyListValue::Array content) {
  const OptionalString text = property_list::toXml(
      PropertyListValue(PropertyListValue::Dictionary{{type, PropertyListValue(std::move(content))}}));
  Attributes ownerOnly;
  ownerOnly.mode = 0600;
  if (text) (void)createFile(file, *text, ownerOnly);  // in a private folder, others never have access to it
}

}  // namespace

void declarePasteboardType(const std::string& pasteboard, const std::string& type) {
  const OptionalString file = storeFile(pasteboard, /*isFolderMade=*/true);
  if (!file) return;
  const std::lock_guard<std::mutex> lock(ownedStores().mutex);
  const std::string owner = ownedStores().ownersByFile[*file] = randomName("");
  writeStore(*file, type, {owner});
}

void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value) {
  const OptionalString file = storeFile(pasteboard);
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
  const PropertyListValue::Array content = contentOf(storeFile(pasteboard), type);
  if (content.size() < 2) return std::nullopt;
  return content[1];
}

}  // namespace hotfix::platform
