#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/FileManager.h"
#include "Platform/posix/FileChanges.h"
#include "Platform/posix/FolderWalk.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// Removes the entries of a walk. The first failure ends the walk.
class Remover : public FolderVisitor {
 public:
  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    return unlinkat(folder.descriptor, name, 0) == 0;
  }

  bool leaveFolder(const WalkedFolder&, const WalkedFolder& parent, const char* name) override {
    // A folder that is not empty is left for the next round.
    return unlinkat(parent.descriptor, name, AT_REMOVEDIR) == 0 || isOneOf(errno, {ENOTEMPTY, EEXIST});
  }

  bool visitUnreadableFolder(const WalkedFolder& parent, const char* name, bool*) override {
    return unlinkat(parent.descriptor, name, AT_REMOVEDIR) == 0;  // an empty folder does not have to be read
  }

  bool onIncomplete(const std::string&) override { return false; }
};

/// Removes the entry at a path. \return 0, or the number of the error.
int errorOfRemoval(const std::string& path) {
  const std::string item = path::appending(path, "");  // with a slash at its end a link would be followed
  if (item.empty()) return ENOENT;
  if (unlink(item.c_str()) == 0) return 0;
  const int error = errno;
  ScopedFd folder = openExisting(AT_FDCWD, item.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!folder) {
    if (rmdir(item.c_str()) == 0) return 0;
    return errno == ENOTDIR ? error : errno;
  }
  Remover remover;
  // Some file systems skip entries of a folder that changes while it is read. So read it again, but not endlessly.
  constexpr int kRounds = 8;
  for (int round = 0; round < kRounds; ++round) {
    ScopedFd again = openExisting(folder.get(), ".", O_RDONLY | O_DIRECTORY);
    if (!again || !walkBelow(std::move(again), remover)) break;
    if (rmdir(item.c_str()) == 0) return 0;
    if (!isOneOf(errno, {ENOTEMPTY, EEXIST})) break;
  }
  return errno;
}

}  // namespace

bool removeItem(const std::string& path, FileError* error) {
  const int number = errorOfRemoval(path);
  if (number != 0 && error != nullptr) *error = writingError("Remove", path, number);
  return number == 0;
}

}  // namespace hotfix::platform
