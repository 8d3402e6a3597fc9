#ifndef TESTS_SUPPORT_TREE_SNAPSHOT_H_
#define TESTS_SUPPORT_TREE_SNAPSHOT_H_

#include <sys/stat.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace hotfix {

/// The entries of a tree: maps the path of each to a description.
using Snapshot = std::map<std::string, std::string>;

/// Calls \a visit for each entry below \a folder, with the path from there and the attributes: a folder before its
/// content. A folder is entered only if \a visit returns true.
using VisitEntry = std::function<bool(const std::string& path, const struct stat& status)>;
void visitTree(const std::string& folder, const VisitEntry& visit);

/// The kind and the content of an entry: "folder", "file: <contents>", "link: <target>" or "other".
std::string describeEntry(const std::string& path, const struct stat& status);

/// The entries below \a folder, described by kind and content. Tests compare whole trees with it before and after an
/// operation. It does not contain owners, groups, modes and times.
Snapshot treeSnapshot(const std::string& folder);

/// The differences between two snapshots, sorted by path: "- path", "+ path: entry" and "~ path: entry" for removed,
/// new and changed entries. The number of lines is limited; "and more" replaces the rest.
std::vector<std::string> differences(const Snapshot& before, const Snapshot& after);

}  // namespace hotfix

#endif
