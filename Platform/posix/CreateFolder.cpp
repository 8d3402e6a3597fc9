#include <cerrno>

#include "Platform/FileManager.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/FileErrors.h"
#include "Support/Path.h"

namespace hotfix::platform {

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

}  // namespace hotfix::platform
