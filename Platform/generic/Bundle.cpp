#include "Platform/Bundle.h"

#include "Platform/PropertyList.h"
#include "Support/Path.h"

namespace hotfix::platform {

OptionalString bundleIdentifier(const std::string& path) {
  const auto information = readDictionary(path::appending(path, "Contents/Info.plist"));
  if (!information) return std::nullopt;
  const auto identifier = information->find("CFBundleIdentifier");
  if (identifier == information->end() || identifier->second.asString() == nullptr) return std::nullopt;
  return *identifier->second.asString();
}

}  // namespace hotfix::platform
