#include "Platform/posix/FileErrors.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "Platform/posix/BundleProtection.h"
#include "Platform/posix/Descriptors.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// Whether a folder in the path, or in its resolved form, has the name of an application bundle.
bool isInsideBundle(const std::string& path) {
  static const std::string kEnding = ".app";
  const std::vector<std::string> components = path::components(path);
  return std::any_of(components.begin(), components.end(), [](const std::string& name) {
    return name.size() > kEnding.size() && name.compare(name.size() - kEnding.size(), kEnding.size(), kEnding) == 0;
  });
}

}  // namespace

FileError writingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherWritingFailure;
  switch (errorNumber) {
    case ENOENT:
      code = kNoSuchFileWhileWriting;
      break;
    case EEXIST:
      code = kFileExists;
      break;
    case EACCES:
    case EPERM:
      code = kNoWritePermission;
      break;
    case ENAMETOOLONG:
      code = kInvalidNameWhileWriting;
      break;
    case ENOSPC:
    case EDQUOT:
      code = kOutOfSpace;
      break;
    case EROFS:
      code = kReadOnlyVolume;
      break;
    default:
      break;
  }
  const std::string reason = errorText(errorNumber);
  const bool isProtected = errorNumber == EPERM && isInsideBundle(path) && protectsBundles();
  return {code, operation + " " + path + ": " + reason, reason, isProtected};
}

FileError readingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherReadingFailure;
  if (errorNumber == ENOENT) code = kNoSuchFileWhileReading;
  if (errorNumber == EACCES || errorNumber == EPERM) code = kNoReadPermission;
  const std::string reason = errorText(errorNumber);
  return {code, operation + " " + path + ": " + reason, reason, false};
}

}  // namespace hotfix::platform
