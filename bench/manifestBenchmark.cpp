#include <benchmark/benchmark.h>

#include "MacInstaller/InstallManifest.h"
#include "bench/ScratchFolder.h"

namespace {

constexpr int kOrdinarySize = 200;  // features of an ordinary manifest

std::string manifestText(int features) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<install><domain-object><object-data><install><installfeature><requirements>\n";
  for (int feature = 0; feature < features; ++feature) {
    text += "  <feature id=\"com.qor.feature." + std::to_string(feature) +
            "\" version=\"6.2.1.20260101\" action=\"install\" url=\"${installer.root}/updateSite/features\"/>\n";
  }
  return text + "</requirements></installfeature></install></object-data></domain-object></install>\n";
}

void manifestRewrite(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = manifestText(static_cast<int>(state.range(0)) * kOrdinarySize);
  const std::string file = folder.makeFile("install.xml", text);
  for (auto _ : state) {
    InstallManifest manifest(file);
    if (!manifest.replaceInstallerRootWith("file:/Volumes/Installer/root") ||
        !manifest.saveInstallManifestAs(folder / "rewritten.xml")) {
      state.SkipWithError("not rewritten");
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(manifestRewrite)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace
