#include "Support/TextMap.h"

#include <algorithm>
#include <array>
#include <functional>

namespace hotfix {

namespace {

constexpr size_t kFirstSlots = 64;
constexpr size_t kBatch = 32;
/// The greatest number of entries that wait to be indexed. Indexing keeps only the last of those with the same key.
constexpr size_t kMostWaiting = 4096;
/// If the average run is shorter than this, sorting ignores the runs.
constexpr size_t kShortRun = 8;
/// Hardly any search examines so many slots, even in a table of millions of slots that is three quarters full.
constexpr size_t kLongSearch = 1024;

bool isBefore(const TextMap::Entry& left, const TextMap::Entry& right) { return left.first < right.first; }

}  // namespace

std::string_view TextMap::keyOf(const Place& place) const {
  return std::string_view(_texts).substr(place.begin, place.keyLength);
}

std::string_view TextMap::valueOf(const Place& place) const {
  return std::string_view(_texts).substr(place.begin + place.keyLength, place.valueLength);
}

std::uint32_t TextMap::hashOf(std::string_view key) const {
  if (_isKeyed) return static_cast<std::uint32_t>(keyedHash(_hashKey, key));
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(key));
}

/// The slot of the key, or the empty slot for it.
size_t TextMap::slotFor(std::string_view key, std::uint32_t hash) const {
  const size_t mask = _slots.size() - 1;
  size_t index = hash & mask;
  while (_slots[index].place != 0 && (_slots[index].hash != hash || keyOf(_places[_slots[index].place - 1]) != key)) {
    index = (index + 1) & mask;
  }
  return index;
}

void TextMap::resizeSlots(size_t count) {
  std::vector<Slot> old(count);
  old.swap(_slots);
  const size_t mask = _slots.size() - 1;
  for (const Slot& slot : old) {
    if (slot.place == 0) continue;
    size_t index = slot.hash & mask;
    while (_slots[index].place != 0) index = (index + 1) & mask;
    _slots[index] = slot;
  }
}

void TextMap::reserve(size_t entries) {
  size_t count = std::max(kFirstSlots, _slots.size());
  while (count * 3 < entries * 4) count *= 2;
  if (count > _slots.size()) resizeSlots(count);
  _places.reserve(entries);
}

std::optional<std::string_view> TextMap::find(std::string_view key) const {
  if (_slots.empty()) return std::nullopt;
  const std::uint32_t number = _slots[slotFor(key, hashOf(key))].place;
  if (number == 0 || !_places[number - 1].isThere) return std::nullopt;
  return valueOf(_places[number - 1]);
}

void TextMap::append(std::string_view key, std::string_view value) {
  const size_t offset = _texts.size();
  _texts.append(key).append(value);
  appendPlaced(offset, key.size(), value.size());
}

void TextMap::appendPlaced(size_t offset, size_t keyLength, size_t valueLength) {
  _places.push_back({offset, keyLength, valueLength, true});
  if (_places.size() - _indexed >= kMostWaiting) index();
}

void TextMap::set(std::string_view key, std::string_view value) {
  append(key, value);
  index();
}

/// The slot of a key in a large table is almost never in the processor's cache. So the slots of a batch are prefetched
/// before the first of them is needed.
void TextMap::index() {
  std::array<std::uint32_t, kBatch> hashes{};
  for (size_t begin = _indexed; begin < _places.size();) {
    const size_t count = std::min(kBatch, _places.size() - begin);
    if ((_indexed + count) * 4 >= _slots.size() * 3) resizeSlots(std::max(kFirstSlots, _slots.size() * 2));
    for (size_t next = 0; next < count; ++next) {
      hashes[next] = hashOf(keyOf(_places[begin + next]));
      __builtin_prefetch(&_slots[hashes[next] & (_slots.size() - 1)]);
    }
    for (size_t next = 0; next < count; ++next) insert(_places[begin + next], hashes[next]);
    begin += count;
    if (_isSearchLong && !_isKeyed) beginKeyed();
  }
  _places.resize(_indexed);
}

/// Switches to the keyed hash. The library's own hash is faster but predictable: keys that make searches long were
/// prepared.
void TextMap::beginKeyed() {
  _isKeyed = true;
  std::fill(_slots.begin(), _slots.end(), Slot());
  for (size_t number = 0; number < _indexed; ++number) {
    const std::string_view key = keyOf(_places[number]);
    const std::uint32_t hash = hashOf(key);
    _slots[slotFor(key, hash)] = {hash, static_cast<std::uint32_t>(number + 1)};
  }
}

/// Puts a place into the table, replacing an earlier place of the same key.
void TextMap::insert(const Place& place, std::uint32_t hash) {
  const size_t index = slotFor(keyOf(place), hash);
  if (((index - hash) & (_slots.size() - 1)) >= kLongSearch) _isSearchLong = true;
  Slot& slot = _slots[index];
  if (slot.place == 0) slot = {hash, static_cast<std::uint32_t>(++_indexed)};
  _places[slot.place - 1] = place;
}

void TextMap::remove(std::string_view key) {
  if (_slots.empty()) return;
  const std::uint32_t number = _slots[slotFor(key, hashOf(key))].place;
  if (number != 0)
    _places[number - 1].isThere = false;  // the key stays, so that searches still reach the keys after it
}

size_t TextMap::longestSearch() const {
  size_t longest = 0;
  for (size_t number = 0; number < _indexed; ++number) {
    const std::string_view key = keyOf(_places[number]);
    const std::uint32_t hash = hashOf(key);
    longest = std::max(longest, ((slotFor(key, hash) - hash) & (_slots.size() - 1)) + 1);
  }
  return longest;
}

std::vector<TextMap::Entry> TextMap::sorted() const {
  std::vector<Entry> entries;
  entries.reserve(_places.size());
  for (const Place& place : _places) {
    if (place.isThere) entries.emplace_back(keyOf(place), valueOf(place));
  }
  // A file that was saved sorted is in order except for additions, and a file edited by hand mostly has long ordered
  // runs. Such runs are only merged.
  std::vector<size_t> bounds = {0};
  for (size_t index = 1; index < entries.size(); ++index) {
    if (isBefore(entries[index], entries[index - 1])) bounds.push_back(index);
  }
  if (bounds.size() > entries.size() / kShortRun) {
    std::sort(entries.begin(), entries.end(), isBefore);
    return entries;
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
  return entries;
}

}  // namespace hotfix
