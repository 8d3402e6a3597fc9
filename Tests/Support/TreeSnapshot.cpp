#include "Tests/Support/TreeSnapshot.h"

#include <dirent.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <sstream>

namespace hotfix {

namespace {

constexpr size_t kMostDifferences = 100;

void visitFolder(const std::string& top, const std::string& below, const VisitEntry& visit) {
  DIR* stream = opendir((top + "/" + below).c_str());
  if (stream == nullptr) return;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name, path = below.empty() ? name : below + "/" + name;
    struct stat status = {};
    if (name == "." || name == ".." || lstat((top + "/" + path).c_str(), &status) != 0) continue;
    if (visit(path, status) && S_ISDIR(status.st_mode)) visitFolder(top, path, visit);
  }
  closedir(stream);
}

}  // namespace

void visitTree(const std::string& folder, const VisitEntry& visit) { visitFolder(folder, "", visit); }

std::string describeEntry(const std::string& path, const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "folder";
  if (S_ISLNK(status.st_mode)) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return "link: " + std::string(target, length > 0 ? static_cast<size_t>(length) : 0);
  }
  if (!S_ISREG(status.st_mode)) return "other";
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return "file: " + contents.str();
}

Snapshot treeSnapshot(const std::string& folder) {
  Snapshot snapshot;
  visitTree(folder, [&](const std::string& path, const struct stat& status) {
    snapshot[path] = describeEntry(folder + "/" + path, status);
    return true;
  });
  return snapshot;
}

std::vector<std::string> differences(const Snapshot& before, const Snapshot& after) {
  Snapshot all = before;
  all.insert(after.begin(), after.end());
  std::vector<std::string> result;
  for (const auto& entry : all) {
    if (result.size() == kMostDifferences) {
      result.emplace_back("and more");
      break;
    }
    const std::string& path = entry.first;
    const auto old = before.find(path);
    const auto now = after.find(path);
    if (now == after.end()) {
      result.push_back("- " + path);
    } else if (old == before.end()) {
      result.push_back("+ " + path + ": " + now->second);
    } else if (old->second != now->second) {
      result.push_back("~ " + path + ": " + now->second);
    }
  }
  return result;
}

}  // namespace hotfix
