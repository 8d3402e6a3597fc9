// Paths as texts. The input is a base and, behind its first line feed, a component.

#include <string>
#include <vector>

#include "Support/Path.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

using fuzz::require;

/// The names between the slashes, read by other means than the path functions.
std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names(1);
  for (const char c : path) {
    if (c == '/') {
      if (!names.back().empty()) names.emplace_back();
    } else {
      names.back() += c;
    }
  }
  if (names.back().empty()) names.pop_back();
  return names;
}

std::string joined(bool isAbsolute, const std::vector<std::string>& names) {
  std::string path = isAbsolute ? "/" : "";
  for (const std::string& name : names) path += (&name == &names.front() ? "" : "/") + name;
  return path;
}

std::string normal(const std::string& path) { return joined(path.compare(0, 1, "/") == 0, namesIn(path)); }

void checkPath(const std::string& path) {
  const std::string plain = normal(path);
  require(path::appending(path, "") == plain, "nothing appended makes a path normal");
  require(path::appending("", path) == plain, "a path appended to nothing is itself");
  require(path::lastComponent(path) == path::lastComponent(plain), "slashes do not count for the last component");
  require(path::deletingLastComponent(path) == path::deletingLastComponent(plain), "slashes do not count for the rest");

  const std::vector<std::string> names = namesIn(path);
  const std::string last = path::lastComponent(path);
  require(last == (names.empty() ? plain : names.back()), "the last component is the last name");
  const std::string rest = path::deletingLastComponent(path);
  require(rest.size() < plain.size() || plain == "/" || plain.empty(), "without its last component a path is shorter");
  if (!names.empty()) require(path::appending(rest, last) == plain, "both parts make up the path");

  std::vector<std::string> expected = names;
  if (path.compare(0, 1, "/") == 0) expected.insert(expected.begin(), "/");
  if (path.size() > 1 && path.back() == '/') expected.emplace_back("/");
  require(path::components(path) == expected, "the components are the names, and the slashes at the ends");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = fuzz::textOf(data, size);
  const size_t end = input.find('\n');
  const std::string base = input.substr(0, end);
  const std::string component = end == std::string::npos ? "" : input.substr(end + 1);
  checkPath(base);
  checkPath(component);

  const std::string whole = path::appending(base, component);
  std::vector<std::string> names = namesIn(base);
  const std::vector<std::string> more = namesIn(component);
  names.insert(names.end(), more.begin(), more.end());
  const std::string& start = base.empty() ? component : base;
  require(whole == joined(start.compare(0, 1, "/") == 0, names), "a joined path has the names of both");
  require(path::appending(path::appending(base, component), "x") == path::appending(base, component + "/x") ||
              (base.empty() && component.empty()),
          "it does not matter what is joined first");
  return 0;
}

}  // namespace hotfix
