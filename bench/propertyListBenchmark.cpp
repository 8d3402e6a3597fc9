#include <benchmark/benchmark.h>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"

namespace hotfix {

namespace {

constexpr int kOrdinarySize = 20;  // records of an ordinary installInfo.plist

/// A dictionary of texts, numbers, arrays and dictionaries.
PropertyListValue list(benchmark::State& state) {
  PropertyListValue::Dictionary root;
  for (std::int64_t record = 0; record < state.range(0) * kOrdinarySize; ++record) {
    const std::string number = std::to_string(record);
    PropertyListValue::Dictionary inner{{"version", "6.2.1." + number},
                                        {"count", PropertyListValue::integer(record)},
                                        {"names", PropertyListValue(PropertyListValue::Array{"a", "b & c", "d"})}};
    root.emplace("record " + number, PropertyListValue(std::move(inner)));
  }
  return PropertyListValue(std::move(root));
}

std::string oldStyleText(const PropertyListValue& value) {
  if (const auto* dictionary = value.asDictionary()) {
    std::string text = "{\n";
    for (const auto& [key, element] : *dictionary) text += "\"" + key + "\" = " + oldStyleText(element) + ";\n";
    return text + "}";
  }
  if (const auto* array = value.asArray()) {
    std::string text = "(";
    for (const PropertyListValue& element : *array) text += oldStyleText(element) + ", ";
    return text + ")";
  }
  if (const auto* integer = value.asInteger()) return std::to_string(integer->bits);
  return "\"" + *value.asString() + "\"";
}

void read(benchmark::State& state, const std::string& bytes) {
  for (auto _ : state) {
    const auto value = property_list::read(bytes);
    if (!value) {
      state.SkipWithError("no property list");
      return;
    }
    benchmark::DoNotOptimize(*value);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void propertyListReadXml(benchmark::State& state) { read(state, property_list::toXml(list(state)).value_or("")); }
BENCHMARK(propertyListReadXml)->Arg(1)->Arg(10)->Arg(100);

void propertyListReadOldStyle(benchmark::State& state) { read(state, oldStyleText(list(state))); }
BENCHMARK(propertyListReadOldStyle)->Arg(1)->Arg(10)->Arg(100);

void propertyListWrite(benchmark::State& state) {
  const PropertyListValue value = list(state);
  size_t size = 0;
  for (auto _ : state) {
    const OptionalString text = property_list::toXml(value);
    size = text ? text->size() : 0;
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(propertyListWrite)->Arg(1)->Arg(10)->Arg(100);

}  // namespace

}  // namespace hotfix
