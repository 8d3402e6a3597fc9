#include <fcntl.h>
#include <unistd.h>

#include "Platform/FileManager.h"
#include "Platform/posix/FolderWalk.h"
#include "Support/Path.h"

namespace hotfix::platform {

namespace {

/// Removes what a walk meets; the first failure ends the walk.
class Remover : public FolderVisitor {
 public:
  bool visitEntry(const WalkedFolder& folder, const char* name) override {
    return unlinkat(folder.descriptor, name, 0) == 0;
  }

  bool leaveFolder(const WalkedFolder&, const WalkedFolder& parent, const char* name) override {
    // One that still holds something is left for the next round.
    return unlinkat(parent.descriptor, name, AT_REMOVEDIR) == 0 || isNotEmpty(errno);
  }

  bool visitClosedFolder(const WalkedFolder& parent, const char* name, bool*) override {
    return unlinkat(parent.descriptor, name, AT_REMOVEDIR) == 0;  // an empty one need not be read
  }

  bool missedEntries(const std::string&) override { return false; }

  static bool isNotEmpty(int error) { return error == ENOTEMPTY || error == EEXIST; }
};

}  // namespace

bool removeItem(const std::string& path) {
  const std::string item = path::appending(path, "");  // with a slash at its end a link would be followed
  if (item.empty()) return false;
  if (unlink(item.c_str()) == 0) return true;
  ScopedFd folder = openExisting(AT_FDCWD, item.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (folder) {
    Remover remover;
    // Some file systems skip entries of a folder that is changed while it is read: look again, but not for ever.
    constexpr int kRounds = 8;
    for (int round = 0; round < kRounds; ++round) {
      ScopedFd again = openExisting(folder.get(), ".", O_RDONLY | O_DIRECTORY);
      if (!again || !walkBelow(std::move(again), remover)) return false;
      if (rmdir(item.c_str()) == 0) return true;
      if (!Remover::isNotEmpty(errno)) return false;
    }
    return false;
  }
  return rmdir(item.c_str()) == 0;
}

}  // namespace hotfix::platform
