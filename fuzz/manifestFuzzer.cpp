// Install manifests: loaded, rewritten, printed and loaded again.

#include <string>

#include "MacInstaller/InstallManifest.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr char kRoot[] = "file:/My Disk/<&\">\t\xC3\xA9\xE2\x82\xAC";
  const std::string bytes = fuzz::textOf(data, size);
  const std::string file = fuzz::scratchFile("manifest", bytes);
  const std::string printed = fuzz::scratchPath("printed");
  InstallManifest manifest(file);
  const bool isReached = manifest.replaceInstallerRootWith(kRoot);
  const bool isSaved = manifest.saveInstallManifestAs(OptionalString(printed));
  fuzz::require(fuzz::contentsOf(file) == bytes, "the loaded file stays as it is");
  if (!isSaved) return 0;

  const std::string text = fuzz::contentsOf(printed);
  InstallManifest again(printed);
  fuzz::require(again.replaceInstallerRootWith(kRoot) == isReached, "a printed manifest has the same features");
  fuzz::require(again.saveInstallManifestAs(std::nullopt), "a printed manifest can be loaded and printed");
  fuzz::require(fuzz::contentsOf(printed) == text, "printing and rewriting again change nothing");
  return 0;
}

}  // namespace hotfix
