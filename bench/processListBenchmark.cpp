#include <benchmark/benchmark.h>

#include "Platform/ProcessList.h"

namespace hotfix {

namespace {

/// The machine's own processes; how many they were is shown beside the time.
void processList(benchmark::State& state) {
  size_t processes = 0;
  for (auto _ : state) processes = platform::processInformation(platform::kBundleExecutableKey).size();
  state.counters["processes"] = static_cast<double>(processes);
}
BENCHMARK(processList)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace hotfix
