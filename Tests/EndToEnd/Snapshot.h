#ifndef TESTS_END_TO_END_SNAPSHOT_H_
#define TESTS_END_TO_END_SNAPSHOT_H_

#include <map>
#include <string>
#include <vector>

namespace hotfix {

/// Every entry below a folder, other file systems mounted there left out: its path, after a prefix, to its mode, owner,
/// group, kind and contents: "0644 root:root file: text", "0755 alice:admin folder", "0777 root:root link: target",
/// "0644 root:root fifo". Lines of ".properties" files are sorted, as their order means nothing; large contents are
/// represented by their size and a hash.
using Snapshot = std::map<std::string, std::string>;

Snapshot takeSnapshot(const std::string& folder, const std::string& prefix = "");

/// What has become of one snapshot in another, sorted by path: "- path", "+ path: entry" and "~ path: entry" for
/// entries that are gone, new and changed. No more than can be read: "and more" stands for the rest.
std::vector<std::string> differences(const Snapshot& before, const Snapshot& after);

/// Owner and group as a snapshot writes them. In a root with one account all are root's.
std::string owners(const std::string& ownerAndGroup);

}  // namespace hotfix

#endif
