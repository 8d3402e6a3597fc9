#ifndef PLATFORM_POSIX_FOLDER_WALK_H_
#define PLATFORM_POSIX_FOLDER_WALK_H_

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "Platform/posix/Descriptors.h"

namespace hotfix::platform {

/// An open folder of a walk.
struct WalkedFolder {
  int descriptor;
  struct stat status;     ///< at the time when the walk reached it
  std::string_view path;  ///< below the top, each name after a "/"; empty for the top itself
};

/// Gets the entries of a walk. Returning false ends the walk.
class FolderVisitor {
 public:
  virtual ~FolderVisitor() = default;

  /// An entry of \a folder that is not a folder: a file, a link, a device …
  virtual bool visitEntry(const WalkedFolder& folder, const char* name) = 0;

  /// A folder, after its content, with its name in its parent.
  virtual bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) = 0;

  /// A folder that could not be opened. \a retry may be set to try again.
  virtual bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool* retry) = 0;

  /// An entry at or below this path that the walk could not reach: a folder was moved elsewhere during the walk, or a
  /// listing failed.
  virtual bool onIncomplete(const std::string& path) = 0;
};

/// Walks everything below an open folder, each folder after its content.
///
/// Uses descriptors: no link is followed, even if entries are replaced during the walk. Walks any depth with few
/// descriptors and little memory: it keeps only the names of the remaining sub-folders. \return false when the visitor
/// has ended it.
bool walkBelow(ScopedFd top, FolderVisitor& visitor);

}  // namespace hotfix::platform

#endif
