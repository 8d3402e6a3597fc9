#include "Tests/Support/TreeSnapshot.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <sstream>

namespace hotfix {

namespace {

void addTree(const std::string& top, const std::string& relative, std::map<std::string, std::string>& snapshot) {
  DIR* stream = opendir((top + "/" + relative).c_str());
  if (stream == nullptr) return;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = relative.empty() ? name : relative + "/" + name;
    const std::string absolute = top + "/" + path;
    struct stat status = {};
    lstat(absolute.c_str(), &status);
    if (S_ISDIR(status.st_mode)) {
      snapshot[path] = "folder";
      addTree(top, path, snapshot);
    } else if (S_ISREG(status.st_mode)) {
      std::ostringstream contents;
      contents << std::ifstream(absolute, std::ios::binary).rdbuf();
      snapshot[path] = "file: " + contents.str();
    } else if (S_ISLNK(status.st_mode)) {
      char target[PATH_MAX] = {};
      const ssize_t length = readlink(absolute.c_str(), target, sizeof target - 1);
      snapshot[path] = "link: " + std::string(target, length > 0 ? static_cast<size_t>(length) : 0);
    } else {
      snapshot[path] = "other";
    }
  }
  closedir(stream);
}

}  // namespace

std::map<std::string, std::string> treeSnapshot(const std::string& folder) {
  std::map<std::string, std::string> snapshot;
  addTree(folder, "", snapshot);
  return snapshot;
}

}  // namespace hotfix
