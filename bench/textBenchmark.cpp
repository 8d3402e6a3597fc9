#include <benchmark/benchmark.h>

#include "MacInstaller/StringUtil.h"

namespace hotfix {

namespace {

constexpr int kOrdinarySize = 4096;  // characters

std::u16string repeated(const std::u16string& text, const benchmark::State& state) {
  std::u16string result;
  while (result.size() < static_cast<size_t>(state.range(0)) * kOrdinarySize) result += text;
  return result;
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(1)->Arg(10)->Arg(100); }

void escapeKey(benchmark::State& state) {
  const std::u16string key = repeated(u"com.qor.rcp.setting 1: ä€", state);
  for (auto _ : state) benchmark::DoNotOptimize(StringUtil::convertNSStringTo8859_1Key(key));
}
BENCHMARK(escapeKey)->Apply(sizes);

void escapeValue(benchmark::State& state) {
  const std::u16string value = repeated(u"C:\\some path/number 1 ä€", state);
  for (auto _ : state) benchmark::DoNotOptimize(StringUtil::convertNSStringTo8859_1Value(value));
}
BENCHMARK(escapeValue)->Apply(sizes);

void unescape(benchmark::State& state) {
  const std::u16string escaped = repeated(u"C:\\\\some path \\u00e4\\u20ac", state);
  for (auto _ : state) benchmark::DoNotOptimize(StringUtil::convertUnicode2Characters(escaped));
}
BENCHMARK(unescape)->Apply(sizes);

void replace(benchmark::State& state) {
  std::string text;
  while (text.size() < static_cast<size_t>(state.range(0)) * kOrdinarySize)
    text += "${installer.root}/updateSite/features ";
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        StringUtil::stringByReplacingOccurrencesOfString(text, "${installer.root}", "file:/Volumes/Installer/root"));
  }
}
BENCHMARK(replace)->Apply(sizes);

}  // namespace

}  // namespace hotfix
