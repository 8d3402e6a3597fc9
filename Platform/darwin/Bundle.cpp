#include "Platform/Bundle.h"

#include "Platform/darwin/CoreFoundationValue.h"

namespace hotfix::platform {

OptionalString bundleIdentifier(const std::string& path) {
  const Scoped<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
      /*isDirectory=*/1));
  if (!url) return std::nullopt;
  const Scoped<CFBundleRef> bundle(CFBundleCreate(kCFAllocatorDefault, url.get()));
  if (!bundle) return std::nullopt;
  return textFrom(CFBundleGetIdentifier(bundle.get()));
}

}  // namespace hotfix::platform
