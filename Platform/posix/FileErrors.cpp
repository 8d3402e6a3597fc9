#include "Platform/posix/FileErrors.h"

#include <cerrno>

#include "Platform/posix/Descriptors.h"

namespace hotfix::platform {

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
  return {code, operation + " " + path + ": " + reason, reason};
}

FileError readingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherReadingFailure;
  if (errorNumber == ENOENT) code = kNoSuchFileWhileReading;
  if (errorNumber == EACCES || errorNumber == EPERM) code = kNoReadPermission;
  const std::string reason = errorText(errorNumber);
  return {code, operation + " " + path + ": " + reason, reason};
}

}  // namespace hotfix::platform
