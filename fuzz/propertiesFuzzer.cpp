// Properties files: read, saved and read again.

#include <algorithm>
#include <string>

#include "MacInstaller/JavaProperties.h"
#include "Tests/Laws/PropertiesModel.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

laws::Entries entriesOf(const JavaProperties& properties) {
  laws::Entries entries;
  for (const std::string& key : properties.propertyNames()) {
    const OptionalString value = properties.getPropertyForKey(key);
    fuzz::require(value.has_value(), "every key has a value");
    entries[key] = *value;
  }
  return entries;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file = fuzz::scratchFile("read", fuzz::textOf(data, size));
  const std::string saved = fuzz::scratchPath("saved");
  const JavaProperties properties{OptionalString(file)};
  laws::Entries entries = entriesOf(properties);

  fuzz::require(properties.savePropertiesToFile(saved), "entries can be saved");
  const std::string text = fuzz::contentsOf(saved);
  fuzz::require(std::all_of(text.begin(), text.end(), [](char c) { return c == '\n' || (c >= 0x20 && c <= 0x7E); }),
                "a saved file is plain ASCII");

  // Put in the other way round, into a map that has grown otherwise.
  JavaProperties reordered;
  for (int filler = 0; filler < 100; ++filler) reordered.setProperty("value", std::to_string(filler));
  for (int filler = 0; filler < 100; ++filler) reordered.removePropertyForKey(std::to_string(filler));
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    reordered.setProperty(entry->second, entry->first);
  }
  const std::string savedAgain = fuzz::scratchPath("saved again");
  fuzz::require(reordered.savePropertiesToFile(savedAgain), "entries can be saved");
  fuzz::require(fuzz::contentsOf(savedAgain) == text, "equal entries give equal bytes");

  // What is read back is what the format can hold, in the second generation as in the first.
  for (int generation = 0; generation < 2; ++generation) {
    const JavaProperties again{OptionalString(saved)};
    const laws::Entries expected = laws::afterSaving(entries);
    const laws::Entries read = entriesOf(again);
    fuzz::require(read == expected, "just what the format cannot hold is lost");
    for (const auto& [key, value] : entries) {
      const auto found = read.find(key);
      fuzz::require(!laws::isKept(key, value) || found != read.end(), "a plain key is kept");
    }
    fuzz::require(again.savePropertiesToFile(saved), "entries can be saved");
    entries = read;
  }
  return 0;
}

}  // namespace hotfix
