#include "Tests/EndToEnd/Snapshot.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <sstream>
#include <vector>

#include "Tests/EndToEnd/ThrowAwayRoot.h"

namespace hotfix {

namespace {

constexpr size_t kLargestText = size_t{64} << 10U;
constexpr char kFile[] = "file: ";

std::string userName(uid_t user) {
  if (user == 0) return "root";
  if (user == ThrowAwayRoot::alice()) return "alice";
  if (user == ThrowAwayRoot::bob()) return "bob";
  return std::to_string(user);
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

}  // namespace

Snapshot takeSnapshot(const std::string& folder, const std::string& prefix) {
  Snapshot snapshot;
  struct stat top = {};
  if (lstat(folder.c_str(), &top) != 0) return snapshot;
  visitTree(folder, [&](const std::string& path, const struct stat& status) {
    if (S_ISDIR(status.st_mode) && status.st_dev != top.st_dev) return false;
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o ", status.st_mode & 07777U);
    std::string description = describeEntry(folder + "/" + path, status);
    if (S_ISREG(status.st_mode)) description = kFile + shownContent(path, description.substr(sizeof kFile - 1));
    snapshot[prefix + "/" + path] = mode + owners(status.st_uid, status.st_gid) + " " + description;
    return true;
  });
  return snapshot;
}

std::string shownContent(const std::string& path, const std::string& content) {
  if (content.size() > kLargestText) {
    return std::to_string(content.size()) + " bytes of hash " + std::to_string(std::hash<std::string>()(content));
  }
  return endsWith(path, ".properties") ? sortedLines(content) : content;
}

std::string owners(const std::string& ownerAndGroup) {
  return ThrowAwayRoot::hasAccounts() ? ownerAndGroup : "root:root";
}

std::string owners(uid_t user, gid_t group) {
  const bool isAdmin = group == ThrowAwayRoot::admin() && group != 0;
  // Everybody's own group has the name and the number of the account.
  return userName(user) + ":" + (isAdmin ? "admin" : userName(group));
}

}  // namespace hotfix
