#include "Platform/posix/FileChanges.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <vector>

#include "Platform/UserIdentity.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/SystemHabits.h"
#include "Support/Path.h"

namespace hotfix::platform {

std::string folderOf(const std::string& path) {
  std::string folder = path::deletingLastComponent(path);
  return folder.empty() ? "." : folder;
}

// ----- Questions -----

bool exists(const std::string& path) {
  struct stat status;
  return examine(path, Links::Followed, &status) == 0;
}

std::optional<FileError> lookUpError(const std::string& path) {
  struct stat status;
  const int error = examine(path, Links::Followed, &status);
  if (error == 0) return std::nullopt;
  return readingError("Look up", path, error);
}

bool isKnownMissing(const std::string& path) {
  struct stat status;
  const int error = examine(path, Links::Followed, &status);
  return error == ENOENT || error == ENOTDIR;
}

bool isUnused(const std::string& path) {
  struct stat status;
  return examine(path, Links::Kept, &status) == ENOENT;
}

bool isFolder(const std::string& path) {
  struct stat status;
  return examine(path, Links::Followed, &status) == 0 && S_ISDIR(status.st_mode);
}

// ----- Errors -----

namespace {

/// Whether the path leads into an application bundle, by its names.
bool isInsideBundle(const std::string& path) {
  static const std::string kEnding = ".app";
  const std::vector<std::string> components = path::components(path);
  return std::any_of(components.begin(), components.end(), [](const std::string& name) {
    return name.size() > kEnding.size() && name.compare(name.size() - kEnding.size(), kEnding.size(), kEnding) == 0;
  });
}

FileError failure(int code, const std::string& operation, const std::string& path, int errorNumber) {
  const std::string reason = errorText(errorNumber);
  return {code, operation + " " + path + ": " + reason, reason, false};
}

}  // namespace

FileError writingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherWritingFailure;
  if (errorNumber == ENOENT) code = kNoSuchFileWhileWriting;
  if (errorNumber == EEXIST) code = kFileExists;
  if (errorNumber == EACCES || errorNumber == EPERM) code = kNoWritePermission;
  FileError error = failure(code, operation, path, errorNumber);
  error.isProtected = errorNumber == EPERM && isInsideBundle(path) && protectsBundles();
  return error;
}

FileError readingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherReadingFailure;
  if (errorNumber == ENOENT) code = kNoSuchFileWhileReading;
  if (errorNumber == EACCES || errorNumber == EPERM) code = kNoReadPermission;
  return failure(code, operation, path, errorNumber);
}

// ----- Judgements -----

bool isTrustedFile(const struct stat& status) {
  // A file with a second name may be an old one that a user has kept. An executable file may come from a tree with
  // repaired permissions, where another user wrote it: the repair sets that mode, and a writer of settings does not.
  constexpr mode_t kForbidden = S_IWOTH | S_IXUSR | S_IXGRP | S_IXOTH;
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && (status.st_mode & kForbidden) == 0 &&
         isTrustedOwner(status.st_uid);
}

bool isOwnTraceFile(const struct stat& status) { return S_ISREG(status.st_mode) && isTrustedOwner(status.st_uid); }

mode_t adoptedMode(const struct stat& status, bool isOwnerKept) {
  return status.st_mode & (isOwnerKept ? 07777U : 0777U);
}

// ----- Folders -----

namespace {

int makeWithAttributes(const std::string& path, const Attributes& attributes) {
  const int error = makeFolder(path);
  if (error != 0) return error == EISDIR ? EEXIST : error;  // the error of macOS for "/"
  (void)setAttributes(path, attributes);                    // not a fatal error: the folder exists
  return 0;
}

/// Creates a folder and its missing parents. \return 0 or the number of the error.
int makeFolderAndParents(const std::string& path, const Attributes& attributes) {
  const int error = makeWithAttributes(path, attributes);
  if (error == EEXIST) return isFolder(path) ? 0 : EEXIST;
  if (error != ENOENT) return error;
  const std::string parent = path::deletingLastComponent(path);
  if (parent.empty() || parent == path) return error;
  const int parentError = makeFolderAndParents(parent, attributes);
  if (parentError != 0) return parentError == EEXIST ? ENOTDIR : parentError;  // a file in the middle of the path
  const int secondError = makeWithAttributes(path, attributes);
  return secondError == EEXIST && isFolder(path) ? 0 : secondError;
}

}  // namespace

bool createFolder(const std::string& path, Parents parents, const Attributes& attributes, FileError* error) {
  const int errorNumber =
      parents == Parents::Created ? makeFolderAndParents(path, attributes) : makeWithAttributes(path, attributes);
  if (errorNumber != 0 && error != nullptr) *error = writingError("Create folder", path, errorNumber);
  return errorNumber == 0;
}

// ----- Whole files -----

bool createFile(const std::string& path, const std::string& contents, const Attributes& attributes) {
  if (!writeFileAtomically(path, contents)) return false;
  (void)setAttributes(path, attributes);  // an error here is not fatal: the file exists
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

// ----- Copies -----

namespace {

std::atomic<CopyPolicy> theCopyPolicy{nullptr};

bool copy(const std::string& source, const std::string& target, bool isTrustNeeded, bool* isDistrusted,
          FileError* error) {
  CopyOutcome outcome;
  // A slash at the end makes no difference.
  const bool isDone = copyFrom(path::appending(source, ""), path::appending(target, ""), isTrustNeeded, outcome);
  if (isDistrusted != nullptr) *isDistrusted = outcome.isDistrusted;
  if (!isDone && error != nullptr) *error = outcome.error;
  return isDone;
}

}  // namespace

bool CopyOutcome::continuesUnread(int number, const std::string& source, const std::string& target) {
  return policyAllows(readingError("Copy", source, number), source, target);
}

bool CopyOutcome::continuesUnwritten(int number, const std::string& source, const std::string& target) {
  return policyAllows(writingError("Copy to", target, number), source, target);
}

bool CopyOutcome::policyAllows(const FileError& failure, const std::string& source, const std::string& target) {
  const CopyPolicy policy = theCopyPolicy;
  if (policy != nullptr && policy(failure, source, target)) return true;
  error = failure;
  return false;
}

bool CopyOutcome::distrust(const std::string& source) {
  isDistrusted = true;
  error = readingError("Copy", source, EPERM);
  return false;
}

void setCopyPolicy(CopyPolicy policy) { theCopyPolicy = policy; }

bool copyItem(const std::string& source, const std::string& target, FileError* error) {
  return copy(source, target, /*isTrustNeeded=*/false, nullptr, error);
}

bool copyTrustedFolder(const std::string& source, const std::string& target, bool* isDistrusted, FileError* error) {
  return copy(source, target, /*isTrustNeeded=*/true, isDistrusted, error);
}

}  // namespace hotfix::platform
