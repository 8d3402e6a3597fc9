#include <benchmark/benchmark.h>

#include "MacInstaller/InstallManifest.h"
#include "bench/Samples.h"
#include "bench/ScratchFolder.h"

namespace {

constexpr int kOrdinarySize = 200;  // features of an ordinary manifest

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
