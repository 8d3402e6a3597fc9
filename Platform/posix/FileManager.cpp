#include "Platform/FileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <memory>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/EntryChanges.h"
#include "Platform/posix/FileChanges.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// Contents of an open file; none unless it is a regular file within the size limit.
OptionalString contentsOf(const ScopedFd& file, const struct stat& status, std::uint64_t mostBytes = kLargestFile) {
  if (status.st_size < 0 || static_cast<std::uint64_t>(status.st_size) > mostBytes) return std::nullopt;
  return readToEnd(file.get(), static_cast<size_t>(mostBytes), static_cast<size_t>(status.st_size));
}

/// Creates a new file in an open folder.
///
/// \param replaced the file with the owner, group and mode to copy; null to set \a newMode.
bool writeAtomically(const ScopedFd& folder, const std::string& name, const struct stat* replaced, mode_t newMode,
                     const std::function<bool(const PartWriter& write)>& produce) {
  // Until it has its final attributes, only the process's user can read the new file: the old file may be secret.
  std::string temporaryName;
  const ScopedFd file = createTemporary(folder.get(), replaced != nullptr ? 0600 : newMode, temporaryName);
  if (!file) return false;

  bool isDone = false;
  try {
    isDone = produce([&file](std::string_view part) { return writeAll(file.get(), part); });
  } catch (const std::exception&) {  // not enough memory: the temporary file must still be removed
  }
  struct stat link;
  const bool isBehindLink =
      fstatat(folder.get(), name.c_str(), &link, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(link.st_mode);
  if (replaced != nullptr) {
    const bool isOwnerKept = adoptOwner(file.get(), *replaced);
    (void)fchmod(file.get(), adoptedMode(*replaced, isOwnerKept && !isBehindLink));
  }
  isDone = isDone && fsync(file.get()) == 0;
  isDone = isDone && renameat(folder.get(), temporaryName.c_str(), folder.get(), name.c_str()) == 0;
  if (!isDone) {
    (void)unlinkat(folder.get(), temporaryName.c_str(), 0);
    return false;
  }
  (void)fsync(folder.get());  // the new file is complete and in place, even if the folder cannot be synced
  return true;
}

}  // namespace

bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce) {
  const std::string name = path::lastComponent(path);
  // The folder stays open, so that all steps happen in the same folder even if its path changes.
  const ScopedFd folder = openExisting(AT_FDCWD, folderOf(path).c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder || name.empty()) return false;

  struct stat replaced;
  const bool isTrustNeeded = adopted == Adopted::FromTrustedFile;
  const bool isThere = fstatat(folder.get(), name.c_str(), &replaced, isTrustNeeded ? AT_SYMLINK_NOFOLLOW : 0) == 0;
  if (!isThere && errno != ENOENT && errno != ENOTDIR && errno != ELOOP) return false;  // owner and mode are unknown
  const bool isReplacing = isThere && (isTrustNeeded ? isTrustedFile(replaced) : S_ISREG(replaced.st_mode));
  return writeAtomically(folder, name, isReplacing ? &replaced : nullptr, isTrustNeeded ? 0664 : 0666, produce);
}

// ----- Questions -----

int examine(const std::string& path, Links links, struct stat* status) {
  const int result = links == Links::Followed ? stat(path.c_str(), status) : lstat(path.c_str(), status);
  return result == 0 ? 0 : errno;
}

OptionalString resolvedPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), std::free);
  if (!resolved) return std::nullopt;
  return std::string(resolved.get());
}

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
  ScopedFolder folder(openExisting(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY));
  const auto entries = entriesIn(folder);
  if (!entries) return std::nullopt;
  std::vector<std::string> names;
  names.reserve(entries->size());
  for (const NamedEntry& entry : *entries) names.push_back(entry.name);
  return names;
}

// ----- Folders -----

int makeFolder(const std::string& path) { return mkdir(path.c_str(), 0777) == 0 ? 0 : errno; }

// ----- Whole files -----

OptionalString readFile(const std::string& path, std::uint64_t mostBytes) {
  struct stat status;
  // Opening a device can have an effect.
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const ScopedFd file = openExisting(AT_FDCWD, path.c_str(), O_RDONLY);
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return contentsOf(file, status, mostBytes);
}

OptionalString readTrustedFile(const std::string& path, bool* isDistrusted) {
  const ScopedFd file = openRegular(AT_FDCWD, path.c_str(), O_RDONLY);
  struct stat status;
  *isDistrusted = file ? !isUnderThisNameOnly(file, AT_FDCWD, path.c_str(), status) || !isTrustedFile(status)
                       : lstat(path.c_str(), &status) == 0;  // not a file, or no access
  if (!file || *isDistrusted) return std::nullopt;
  return contentsOf(file, status);
}

// ----- Files where others can put anything -----

struct FileBelow::Place {
  std::string path;
  ScopedFd folder;
  std::string name;
  ScopedFd file;
  struct stat status;
};

FileBelow::FileBelow(const std::string& folder, const std::string& relativePath) : _place(std::make_unique<Place>()) {
  _place->path = path::appending(folder, relativePath);
  _place->folder = openExisting(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  std::string rest = relativePath;
  for (size_t slash = rest.find('/'); _place->folder && slash != std::string::npos; slash = rest.find('/')) {
    _place->folder =
        openExisting(_place->folder.get(), rest.substr(0, slash).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    rest.erase(0, slash + 1);
  }
  if (!_place->folder) return;
  _place->name = rest;
  _place->file = openRegular(_place->folder.get(), rest.c_str(), O_RDONLY);
  if (!isUnderThisNameOnly(_place->file, _place->folder.get(), rest.c_str(), _place->status) ||
      !S_ISREG(_place->status.st_mode)) {
    _place->file = ScopedFd();
  }
}

FileBelow::FileBelow(FileBelow&& other) noexcept = default;

FileBelow::~FileBelow() = default;

bool FileBelow::isThere() const { return static_cast<bool>(_place->file); }

const std::string& FileBelow::path() const { return _place->path; }

OptionalString FileBelow::read() const {
  if (!isThere() || lseek(_place->file.get(), 0, SEEK_SET) != 0) return std::nullopt;
  return contentsOf(_place->file, _place->status, kLargestFileBelow);
}

bool FileBelow::replace(const std::function<bool(const PartWriter& write)>& produce) const {
  return isThere() && writeAtomically(_place->folder, _place->name, &_place->status, 0600, produce);
}

}  // namespace hotfix::platform
