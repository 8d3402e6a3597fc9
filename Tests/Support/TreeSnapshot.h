#ifndef TESTS_SUPPORT_TREE_SNAPSHOT_H_
#define TESTS_SUPPORT_TREE_SNAPSHOT_H_

#include <map>
#include <string>

namespace hotfix {

/// What lies below a folder: relative path to "folder", "file: <contents>" or "link: <target>" or "other", for
/// comparing whole trees before and after an operation. Owner, group, mode and times are not part of it.
std::map<std::string, std::string> treeSnapshot(const std::string& folder);

}  // namespace hotfix

#endif
