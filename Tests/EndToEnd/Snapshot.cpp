#include "Tests/EndToEnd/Snapshot.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>

#include "Tests/EndToEnd/ThrowAwayRoot.h"

namespace hotfix {

namespace {

constexpr size_t kLargestText = size_t{64} << 10U;
constexpr size_t kMostDifferences = 100;

std::string userName(uid_t user) {
  if (user == 0) return "root";
  if (user == ThrowAwayRoot::alice()) return "alice";
  if (user == ThrowAwayRoot::bob()) return "bob";
  return std::to_string(user);
}

std::string groupName(gid_t group) {
  if (group == ThrowAwayRoot::admin() && group != 0) return "admin";
  return userName(group);  // everybody's own group has the name and the number of the account
}

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  const std::string bytes = text.str();
  if (bytes.size() <= kLargestText) return bytes;
  return std::to_string(bytes.size()) + " bytes of hash " + std::to_string(std::hash<std::string>()(bytes));
}

std::string sortedLines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line + "\n");
  std::sort(lines.begin(), lines.end());
  std::string result;
  for (const std::string& line : lines) result += line;
  return result;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string describe(const std::string& path, const struct stat& status) {
  char mode[8];
  std::snprintf(mode, sizeof mode, "%04o", status.st_mode & 07777U);
  const std::string attributes = std::string(mode) + " " + userName(status.st_uid) + ":" + groupName(status.st_gid);
  if (S_ISDIR(status.st_mode)) return attributes + " folder";
  if (S_ISFIFO(status.st_mode)) return attributes + " fifo";
  if (S_ISLNK(status.st_mode)) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return attributes + " link: " + std::string(target, length > 0 ? static_cast<size_t>(length) : 0);
  }
  if (!S_ISREG(status.st_mode)) return attributes + " other";
  return attributes + " file: " + (endsWith(path, ".properties") ? sortedLines(contents(path)) : contents(path));
}

void addBelow(const std::string& folder, const std::string& prefix, dev_t device, Snapshot& snapshot) {
  DIR* stream = opendir(folder.c_str());
  if (stream == nullptr) return;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = folder + "/" + name;
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || (S_ISDIR(status.st_mode) && status.st_dev != device)) continue;
    snapshot[prefix + "/" + name] = describe(path, status);
    if (S_ISDIR(status.st_mode)) addBelow(path, prefix + "/" + name, device, snapshot);
  }
  closedir(stream);
}

}  // namespace

Snapshot takeSnapshot(const std::string& folder, const std::string& prefix) {
  Snapshot snapshot;
  struct stat status = {};
  if (lstat(folder.c_str(), &status) == 0) addBelow(folder, prefix, status.st_dev, snapshot);
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

std::string owners(const std::string& ownerAndGroup) {
  return ThrowAwayRoot::hasAccounts() ? ownerAndGroup : "root:root";
}

}  // namespace hotfix
