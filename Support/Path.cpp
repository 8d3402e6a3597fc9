#include "Support/Path.h"

namespace hotfix::path {

namespace {

/// The path with one "/" for each run of them, and none at the end unless the path is "/".
std::string squeezed(const std::string& path) {
  std::string result;
  result.reserve(path.size());
  for (const char c : path) {
    if (c != '/' || result.empty() || result.back() != '/') result += c;
  }
  if (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

}  // namespace

std::string appending(const std::string& base, const std::string& component) {
  return squeezed(base.empty() ? component : base + "/" + component);
}

std::string deletingLastComponent(const std::string& path) {
  const std::string whole = squeezed(path);
  const size_t slash = whole.rfind('/');
  if (slash == std::string::npos) return "";
  return slash == 0 ? "/" : whole.substr(0, slash);
}

std::string lastComponent(const std::string& path) {
  std::string whole = squeezed(path);
  if (whole == "/") return whole;
  const size_t slash = whole.rfind('/');
  return slash == std::string::npos ? whole : whole.substr(slash + 1);
}

std::vector<std::string> components(const std::string& path) {
  std::vector<std::string> result;
  if (path.empty()) return result;
  if (path.front() == '/') result.emplace_back("/");
  for (size_t start = 0; start < path.size();) {
    size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) result.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  if (path.size() > 1 && path.back() == '/') result.emplace_back("/");
  return result;
}

}  // namespace hotfix::path
