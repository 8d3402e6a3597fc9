#ifndef PLATFORM_POSIX_FOLDER_WALK_H_
#define PLATFORM_POSIX_FOLDER_WALK_H_

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "Platform/posix/Descriptors.h"

namespace hotfix::platform {

/// A folder that a walk has open.
struct WalkedFolder {
  int descriptor;
  struct stat status;     ///< as it was when the walk came to it
  std::string_view path;  ///< below the top, each name after a "/"; empty for the top itself
};

/// What is done with the entries that a walk meets. An answer of false ends the walk.
class FolderVisitor {
 public:
  virtual ~FolderVisitor() = default;

  /// An entry of \a folder that is no folder: a file, a link, a device …
  virtual bool visitEntry(const WalkedFolder& folder, const char* name) = 0;

  /// A folder whose content has been walked, and its name in its parent.
  virtual bool leaveFolder(const WalkedFolder& folder, const WalkedFolder& parent, const char* name) = 0;

  /// A folder that could not be opened; \a retry may be set when that makes sense now.
  virtual bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool* retry) = 0;

  /// Something that the walk could not reach, at or below this path: a folder was moved away meanwhile, or a listing
  /// failed.
  virtual bool onIncomplete(const std::string& path) = 0;
};

/// Walks everything below an open folder, each folder after its content.
///
/// Goes through descriptors: no link is followed, whatever is exchanged meanwhile. Of any depth with few descriptors,
/// and in little memory: only the names of the sub-folders still to do are kept. \return false when the visitor ended
/// it.
bool walkBelow(ScopedFd top, FolderVisitor& visitor);

}  // namespace hotfix::platform

#endif
