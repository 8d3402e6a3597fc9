#ifndef TESTS_END_TO_END_SNAPSHOT_H_
#define TESTS_END_TO_END_SNAPSHOT_H_

#include <map>
#include <string>
#include <vector>

namespace hotfix {

/// Every entry below a folder, without other file systems mounted there. Maps its path, after a prefix, to its mode,
/// owner, group, kind and content: "0644 root:root file: text", "0755 alice:admin folder", "0777 root:root link:
/// target", "0644 root:root fifo". Lines of ".properties" files are sorted, because their order has no meaning. Large
/// contents are represented by their size and a hash.
using Snapshot = std::map<std::string, std::string>;

Snapshot takeSnapshot(const std::string& folder, const std::string& prefix = "");

/// The differences between two snapshots, sorted by path: "- path", "+ path: entry" and "~ path: entry" for removed,
/// new and changed entries. The number of lines is limited; "and more" replaces the rest.
std::vector<std::string> differences(const Snapshot& before, const Snapshot& after);

/// Owner and group as a snapshot shows them. In a root with one account, everything belongs to root.
std::string owners(const std::string& ownerAndGroup);

}  // namespace hotfix

#endif
