#include <benchmark/benchmark.h>

#include <memory>

#include "MacInstaller/InstallManifest.h"
#include "Support/XmlDocument.h"
#include "bench/Samples.h"
#include "bench/ScratchFolder.h"

namespace hotfix {

namespace {

constexpr int kOrdinarySize = 200;  // features of an ordinary manifest

constexpr char kRoot[] = "file:/Volumes/Installer/root";

std::string manifestOf(const benchmark::State& state) {
  return manifestText(static_cast<int>(state.range(0)) * kOrdinarySize);
}

void setBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1)->Arg(10)->Arg(100)->Arg(500)->Unit(benchmark::kMillisecond);
}

void manifestLoad(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = manifestOf(state);
  const std::string file = folder.makeFile("install.xml", text);
  for (auto _ : state) {
    const InstallManifest manifest(file);
    benchmark::DoNotOptimize(&manifest);
  }
  setBytes(state, text);
}
BENCHMARK(manifestLoad)->Apply(sizes);

void manifestRewrite(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = manifestOf(state);
  const std::string file = folder.makeFile("install.xml", text);
  for (auto _ : state) {
    state.PauseTiming();
    auto manifest = std::make_unique<InstallManifest>(file);
    state.ResumeTiming();
    if (!manifest->replaceInstallerRootWith(kRoot)) state.SkipWithError("not rewritten");
    state.PauseTiming();
    manifest.reset();
    state.ResumeTiming();
  }
  setBytes(state, text);
}
BENCHMARK(manifestRewrite)->Apply(sizes);

void manifestPrint(benchmark::State& state) {
  const std::string text = manifestOf(state);
  const auto document = XmlDocument::parse(text);
  const XmlDocument::PartWriter drop = [](std::string_view part) { return part.data() != nullptr; };
  for (auto _ : state) benchmark::DoNotOptimize(document->prettyPrint(drop));
  setBytes(state, text);
}
BENCHMARK(manifestPrint)->Apply(sizes);

void manifestSave(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = manifestOf(state);
  const InstallManifest manifest(folder.makeFile("install.xml", text));
  for (auto _ : state) {
    if (!manifest.saveInstallManifestAs(folder / "saved.xml")) state.SkipWithError("not saved");
  }
  setBytes(state, text);
}
BENCHMARK(manifestSave)->Apply(sizes);

}  // namespace

}  // namespace hotfix
