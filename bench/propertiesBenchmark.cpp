#include <benchmark/benchmark.h>

#include "MacInstaller/JavaProperties.h"
#include "bench/Samples.h"
#include "bench/ScratchFolder.h"

namespace hotfix {

namespace {

constexpr int kOrdinarySize = 50;  // entries of an ordinary rcplauncher.properties

void propertiesLoad(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = propertiesText(static_cast<int>(state.range(0)) * kOrdinarySize);
  const std::string file = folder.makeFile("properties", text);
  for (auto _ : state) {
    const JavaProperties properties(file);
    benchmark::DoNotOptimize(properties.getPropertyForKey("com.qor.rcp.setting.1"));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(propertiesLoad)->Arg(1)->Arg(10)->Arg(100);

void propertiesSave(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string text = propertiesText(static_cast<int>(state.range(0)) * kOrdinarySize);
  const JavaProperties properties(folder.makeFile("properties", text));
  for (auto _ : state) {
    if (!properties.savePropertiesToFile(folder / "saved")) state.SkipWithError("not saved");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(propertiesSave)->Arg(1)->Arg(10)->Arg(100);

}  // namespace

}  // namespace hotfix
