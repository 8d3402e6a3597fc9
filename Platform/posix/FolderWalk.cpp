#include "Platform/posix/FolderWalk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace hotfix::platform {

namespace {

/// The number of folders nearest to the top that stay open. A deeper folder is closed while the walk is below it, and
/// opened again as the ".." of the folder below.
constexpr size_t kOpenLevels = 32;

struct Level {
  ScopedFolder open;
  struct stat status = {};
  std::string name;          // in the parent
  std::string subfolders;    // remaining names, each with its NUL
  size_t nextSubfolder = 0;  // where the next of them begins
  size_t pathLength = 0;
};

class Walk {
 public:
  explicit Walk(FolderVisitor& visitor) : _visitor(visitor) {}

  bool run(ScopedFd top) {
    if (!enter(std::move(top), "")) return false;
    while (!_levels.empty()) {
      Level& level = _levels.back();
      if (level.nextSubfolder < level.subfolders.size()) {
        const std::string name = level.subfolders.c_str() + level.nextSubfolder;
        level.nextSubfolder += name.size() + 1;
        if (!descend(level, name)) return false;
      } else if (!ascend()) {
        return false;
      }
    }
    return true;
  }

 private:
  /// Visits the entries of a folder that are not folders, and records the folders.
  bool enter(ScopedFd descriptor, const std::string& name) {
    Level level;
    level.open = ScopedFolder(std::move(descriptor));
    level.name = name;
    level.pathLength = _path.size();
    if (fstat(level.open.get(), &level.status) != 0) return _visitor.onIncomplete(_path);
    const WalkedFolder folder = asWalked(level);
    bool continues = true;
    const bool isRead = visitEntries(level.open, [&](const char* entry, mode_t type) {
      if (isFolder(folder, entry, type)) {
        level.subfolders.append(entry, std::strlen(entry) + 1);
      } else {
        continues = _visitor.visitEntry(folder, entry);
      }
      return continues;
    });
    if (!continues || (!isRead && !_visitor.onIncomplete(_path))) return false;
    _levels.push_back(std::move(level));
    return true;
  }

  static bool isFolder(const WalkedFolder& folder, const char* name, mode_t type) {
    if (type != 0) return S_ISDIR(type);
    struct stat status;
    return fstatat(folder.descriptor, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  }

  bool descend(Level& level, const std::string& name) {
    const auto open = [&] { return openExisting(level.open.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW); };
    ScopedFd below = open();
    if (!below) {
      bool retry = false;
      if (!_visitor.visitUnreadableFolder(asWalked(level), name.c_str(), &retry)) return false;
      if (!retry) return true;
      below = open();
      if (!below) return _visitor.onIncomplete(_path + "/" + name);
    }
    const size_t depth = _levels.size();
    _path += "/" + name;
    if (!enter(std::move(below), name)) return false;
    _path.resize(_levels.back().pathLength);
    if (_levels.size() > depth && depth > kOpenLevels) _levels[depth - 1].open = ScopedFolder();
    return true;
  }

  bool ascend() {
    const Level below = std::move(_levels.back());
    _levels.pop_back();
    if (_levels.empty()) return true;  // the top itself is not part of the walk
    const bool isOpen = _levels.back().open || openAgain(below);
    const bool continues = isOpen ? _visitor.leaveFolder(asWalked(below), asWalked(_levels.back()), below.name.c_str())
                                  : _visitor.onIncomplete(_path.substr(0, _levels.back().pathLength));
    _path.resize(_levels.back().pathLength);
    return continues;
  }

  /// Opens the innermost level as the parent of the folder that was left. If that folder was moved elsewhere, the walk
  /// continues at the nearest level that stayed open.
  bool openAgain(const Level& below) {
    Level& level = _levels.back();
    ScopedFd parent = openExisting(below.open.get(), "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    struct stat status;
    if (parent && fstat(parent.get(), &status) == 0 && areSame(status, level.status)) {
      level.open = ScopedFolder(std::move(parent));
      return true;
    }
    while (!_levels.back().open) _levels.pop_back();
    return false;
  }

  WalkedFolder asWalked(const Level& level) const {
    return {level.open.get(), level.status, std::string_view(_path).substr(0, level.pathLength)};
  }

  FolderVisitor& _visitor;
  std::vector<Level> _levels;
  std::string _path;  // of the innermost level, below the top
};

}  // namespace

bool walkBelow(ScopedFd top, FolderVisitor& visitor) { return Walk(visitor).run(std::move(top)); }

}  // namespace hotfix::platform
