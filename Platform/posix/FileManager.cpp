#include "Platform/FileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <memory>

#include "Platform/posix/Descriptors.h"
#include "Platform/posix/FileErrors.h"
#include "Platform/posix/FileJudgements.h"
#include "Platform/posix/MakeFolder.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

constexpr int kNameAttempts = 8;

bool isRegular(int descriptor, struct stat& status) {
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Contents of an open file; none unless it is a regular one of a size that we read.
OptionalString contentsOf(const ScopedFd& file, const struct stat& status) {
  if (status.st_size < 0 || static_cast<unsigned long long>(status.st_size) > kLargestFile) return std::nullopt;
  return readToEnd(file.get(), kLargestFile, static_cast<size_t>(status.st_size));
}

/// Gives a temporary file the owner, group and mode of the file that it will replace, as far as permitted.
void adoptAttributes(int descriptor, const struct stat& replaced, bool isBehindLink) {
  const bool isOwnerKept = fchown(descriptor, replaced.st_uid, replaced.st_gid) == 0;
  if (!isOwnerKept) (void)!fchown(descriptor, static_cast<uid_t>(-1), replaced.st_gid);
  (void)fchmod(descriptor, adoptedMode(replaced, isOwnerKept && !isBehindLink));
}

enum class Adopted { FromAnyFile, FromTrustedFile };

/// \param adopted which files hand their owner, group and mode on to the one that replaces them.
bool writeAtomically(const std::string& path, Adopted adopted,
                     const std::function<bool(const PartWriter& write)>& produce) {
  // The folder stays open, so that all steps happen in the same one, whatever becomes of its path.
  const std::string parent = path::deletingLastComponent(path);
  const std::string name = path::lastComponent(path);
  const ScopedFd folder = openExisting(AT_FDCWD, parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder || name.empty()) return false;

  // Until it has its final attributes the new file is for its maker alone: what it replaces may have been secret.
  struct stat replaced;
  const bool isTrustNeeded = adopted == Adopted::FromTrustedFile;
  const bool isThere = fstatat(folder.get(), name.c_str(), &replaced, isTrustNeeded ? AT_SYMLINK_NOFOLLOW : 0) == 0;
  if (!isThere && errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
    return false;  // whose is it, and who may read it?
  const bool isReplacing = isThere && (isTrustNeeded ? isTrustedFile(replaced) : S_ISREG(replaced.st_mode));
  const mode_t newMode = isTrustNeeded ? 0664 : 0666;
  std::string temporaryName;
  ScopedFd file;
  for (int attempt = 0; !file && attempt < kNameAttempts && (attempt == 0 || errno == EEXIST); ++attempt) {
    temporaryName = randomName(".tmp.");
    file = ScopedFd(retried([&] {
      return openat(folder.get(), temporaryName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    isReplacing ? 0600 : newMode);
    }));
  }
  if (!file) return false;

  bool isDone = false;
  try {
    isDone = produce([&file](std::string_view part) { return writeAll(file.get(), part); });
  } catch (const std::exception&) {  // out of memory: the temporary file is to go all the same
    isDone = false;
  }
  struct stat link;
  const bool isBehindLink =
      fstatat(folder.get(), name.c_str(), &link, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(link.st_mode);
  if (isReplacing) adoptAttributes(file.get(), replaced, isBehindLink);
  isDone = isDone && fsync(file.get()) == 0;
  isDone = isDone && renameat(folder.get(), temporaryName.c_str(), folder.get(), name.c_str()) == 0;
  if (!isDone) {
    (void)unlinkat(folder.get(), temporaryName.c_str(), 0);
    return false;
  }
  (void)fsync(folder.get());  // the new file is whole and in place; a folder that cannot be synced does not change that
  return true;
}

}  // namespace

// ----- Questions -----

bool exists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

bool isMissing(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

bool isNameFree(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

bool isFolder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
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

OptionalString readFile(const std::string& path) {
  const ScopedFd file = openExisting(AT_FDCWD, path.c_str(), O_RDONLY);
  struct stat status;
  if (!file || !isRegular(file.get(), status)) return std::nullopt;
  return contentsOf(file, status);
}

OptionalString readTrustedFile(const std::string& path, bool* isDistrusted) {
  *isDistrusted = false;
  const ScopedFd file = openExisting(AT_FDCWD, path.c_str(), O_RDONLY | O_NOFOLLOW);
  struct stat status;
  if (!file) {
    *isDistrusted = lstat(path.c_str(), &status) == 0;  // a link, or closed to us
    return std::nullopt;
  }
  if (fstat(file.get(), &status) != 0 || !isTrustedFile(status)) {
    *isDistrusted = true;
    return std::nullopt;
  }
  return contentsOf(file, status);
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
