#ifndef TESTS_SUPPORT_TREE_SNAPSHOT_H_
#define TESTS_SUPPORT_TREE_SNAPSHOT_H_

#include <map>
#include <string>

namespace hotfix {

/// The entries below a folder: maps each relative path to "folder", "file: <contents>", "link: <target>" or "other".
/// Tests compare whole trees with it before and after an operation. It does not contain owners, groups, modes and
/// times.
std::map<std::string, std::string> treeSnapshot(const std::string& folder);

}  // namespace hotfix

#endif
