#ifndef PLATFORM_POSIX_FILE_ERRORS_H_
#define PLATFORM_POSIX_FILE_ERRORS_H_

#include <string>

#include "Platform/FileManager.h"

namespace hotfix::platform {

/// The error of a failed writing operation on \a path, with the platform's number for \a errorNumber.
FileError writingError(const std::string& operation, const std::string& path, int errorNumber);

/// The same for a reading operation, which has different numbers.
FileError readingError(const std::string& operation, const std::string& path, int errorNumber);

}  // namespace hotfix::platform

#endif
