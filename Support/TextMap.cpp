#include "Support/TextMap.h"

#include <algorithm>

namespace hotfix {

namespace {

/// From this number of entries on, superseded ones are dropped, which needs a sort. If there are hardly any, as in an
/// honest file, this is tried again only with many entries.
constexpr size_t kFewPlaces = 4096;
constexpr size_t kManyPlaces = 128 * kFewPlaces;
/// If the average run is shorter than this, sorting ignores the runs.
constexpr size_t kShortRun = 8;

bool isBefore(const TextMap::Entry& left, const TextMap::Entry& right) { return left.first < right.first; }

/// Sorts by keys, and keeps the order of entries with the same key. A file that was saved sorted is in order except for
/// additions, and a file edited by hand mostly has long ordered runs. Such runs are only merged.
void sortRuns(std::vector<TextMap::Entry>& entries) {
  std::vector<size_t> bounds = {0};
  for (size_t index = 1; index < entries.size(); ++index) {
    if (isBefore(entries[index], entries[index - 1])) bounds.push_back(index);
  }
  if (bounds.size() > entries.size() / kShortRun) {
    std::stable_sort(entries.begin(), entries.end(), isBefore);
    return;
  }
  bounds.push_back(entries.size());
  const auto at = [&entries](size_t index) { return entries.begin() + static_cast<std::ptrdiff_t>(index); };
  while (bounds.size() > 2) {
    std::vector<size_t> merged = {0};
    for (size_t run = 2; run < bounds.size(); run += 2) {
      std::inplace_merge(at(bounds[run - 2]), at(bounds[run - 1]), at(bounds[run]), isBefore);
      merged.push_back(bounds[run]);
    }
    if (merged.back() != entries.size()) merged.push_back(entries.size());
    bounds.swap(merged);
  }
}

}  // namespace

TextMap::TextMap(std::string block) : _texts(std::move(block)), _mostPlaces(kFewPlaces) {}

std::string_view TextMap::keyOf(const Place& place) const {
  return std::string_view(_texts).substr(place.begin, place.keyLength);
}

std::string_view TextMap::valueOf(const Place& place) const {
  return std::string_view(_texts).substr(place.begin + place.keyLength, place.valueLength);
}

std::optional<std::string_view> TextMap::find(std::string_view key) const {
  const auto isOfKey = [this, key](const Place& place) { return keyOf(place) == key; };
  const auto last = std::find_if(_places.rbegin(), _places.rend(), isOfKey);
  return last != _places.rend() ? std::optional(valueOf(*last)) : std::nullopt;
}

void TextMap::set(std::string_view key, std::string_view value) {
  const size_t begin = _texts.size();
  _texts.append(key).append(value);
  setPlaced(begin, key.size(), value.size());
}

void TextMap::setPlaced(size_t begin, size_t keyLength, size_t valueLength) {
  const Place place{begin, keyLength, valueLength};
  if (!_places.empty() && keyOf(_places.back()) == keyOf(place)) {  // empty lines, mostly
    _places.back() = place;
    return;
  }
  _places.push_back(place);
  if (_places.size() < _mostPlaces) return;
  std::vector<Place> valid;
  size_t keyBytes = 0;
  for (const auto& [key, value] : sorted()) {
    valid.push_back({static_cast<size_t>(key.data() - _texts.data()), key.size(), value.size()});
    keyBytes += key.size();
  }
  const bool areMostValid = valid.size() > _places.size() / 2;
  _places.swap(valid);
  // The next sort compares the remaining keys again. If they are long, it waits for more entries, so that the time for
  // a whole file stays about proportional to its size.
  _mostPlaces = std::max({areMostValid ? kManyPlaces : kFewPlaces, 2 * _places.size(), _places.size() + keyBytes / 16});
}

void TextMap::remove(std::string_view key) {
  const auto isOfKey = [this, key](const Place& place) { return keyOf(place) == key; };
  _places.erase(std::remove_if(_places.begin(), _places.end(), isOfKey), _places.end());
}

std::vector<TextMap::Entry> TextMap::sorted() const {
  std::vector<Entry> entries;
  entries.reserve(_places.size());
  for (const Place& place : _places) entries.emplace_back(keyOf(place), valueOf(place));
  sortRuns(entries);
  const auto isSameKey = [](const Entry& left, const Entry& right) { return left.first == right.first; };
  const auto first = std::unique(entries.rbegin(), entries.rend(), isSameKey);  // keeps the last of each key
  entries.erase(entries.begin(), first.base());
  return entries;
}

}  // namespace hotfix
