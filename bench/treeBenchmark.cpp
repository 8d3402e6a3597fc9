#include <benchmark/benchmark.h>

#include "Platform/FileManager.h"
#include "bench/ScratchFolder.h"

namespace hotfix {

namespace {

/// A walk that finds every entry with another mode than it is to have.
void walkThatChanges(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string tree = folder.makeTree("tree", static_cast<int>(state.range(0)));
  platform::Attributes attributes;
  attributes.mode = 0755;
  for (auto _ : state) {
    attributes.mode = *attributes.mode ^ 020U;
    if (!platform::setAttributesBelow(tree, attributes)) state.SkipWithError("an entry failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(walkThatChanges)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

/// A walk that finds every entry as it is to be.
void walkThatChangesNothing(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string tree = folder.makeTree("tree", static_cast<int>(state.range(0)));
  platform::Attributes attributes;
  attributes.mode = 0775;
  platform::setAttributesBelow(tree, attributes);
  for (auto _ : state) {
    if (!platform::setAttributesBelow(tree, attributes)) state.SkipWithError("an entry failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(walkThatChangesNothing)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void copyTree(benchmark::State& state) {
  const ScratchFolder folder;
  const std::string tree = folder.makeTree("tree", static_cast<int>(state.range(0)));
  const std::string copy = folder / "copy";
  for (auto _ : state) {
    if (!platform::copyItem(tree, copy)) state.SkipWithError("not copied");
    state.PauseTiming();
    platform::removeItem(copy);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(copyTree)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

void removeTree(benchmark::State& state) {
  const ScratchFolder folder;
  for (auto _ : state) {
    state.PauseTiming();
    const std::string tree = folder.makeTree("tree", static_cast<int>(state.range(0)));
    state.ResumeTiming();
    if (!platform::removeItem(tree)) state.SkipWithError("not removed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(removeTree)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace hotfix
