#ifndef SUPPORT_PATH_H_
#define SUPPORT_PATH_H_

#include <string>
#include <vector>

/// Paths as texts, by the rules of the platform's path operations on strings. They never access the disk, and "." and
/// ".." are ordinary names. A run of "/" is one separator, and a "/" at the end is dropped (but not from "/" itself).
namespace hotfix::path {

/// Joins \a base and \a component with one "/" between them.
///
/// The component never replaces the base: appending "/x" to "/a" gives "/a/x". An empty base gives the component
/// alone, an empty component the base alone.
std::string appending(const std::string& base, const std::string& component);

/// The path without its last component: "/tmp/x" gives "/tmp", "/tmp" and "/" give "/", "x" and "" give "".
std::string deletingLastComponent(const std::string& path);

/// The last component: "x" of "/tmp/x/"; "/" of any path that has only slashes; "" of the empty path.
std::string lastComponent(const std::string& path);

/// The components in order. A "/" at the start and one at the end are components of their own.
std::vector<std::string> components(const std::string& path);

}  // namespace hotfix::path

#endif
