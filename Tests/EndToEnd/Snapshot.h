#ifndef TESTS_END_TO_END_SNAPSHOT_H_
#define TESTS_END_TO_END_SNAPSHOT_H_

#include <sys/types.h>

#include <string>

#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

/// Every entry below a folder of a throw-away root, without other file systems mounted there. Maps its path, after a
/// prefix, to its mode, owners and description: "0644 root:root file: text", "0755 alice:admin folder". The content of
/// a file is as shownContent returns it.
Snapshot takeSnapshot(const std::string& folder, const std::string& prefix = "");

/// The content of a file, with the lines of a ".properties" file sorted, because their order has no meaning. A large
/// content is represented by its size and a hash.
std::string shownContent(const std::string& path, const std::string& content);

/// Owner and group as a snapshot shows them. In a root with one account, everything belongs to root.
std::string owners(const std::string& ownerAndGroup);
std::string owners(uid_t user, gid_t group);

}  // namespace hotfix

#endif
