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
  return {code, operation + " " + path + ": " + errorText(errorNumber)};
}

FileError readingError(const std::string& operation, const std::string& path, int errorNumber) {
  int code = kOtherReadingFailure;
  if (errorNumber == ENOENT) code = kNoSuchFileWhileReading;
  if (errorNumber == EACCES || errorNumber == EPERM) code = kNoReadPermission;
  return {code, operation + " " + path + ": " + errorText(errorNumber)};
}

}  // namespace hotfix::platform
