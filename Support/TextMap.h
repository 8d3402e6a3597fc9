#ifndef SUPPORT_TEXT_MAP_H_
#define SUPPORT_TEXT_MAP_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Support/KeyedHash.h"

namespace hotfix {

/// Texts by key, for files of hundreds of thousands of entries: all texts are in one block with one table, instead of
/// separate allocations. Replaced and removed texts stay in the block, so a map is unsuitable for a value that changes
/// often.
///
/// Returned views are valid until the next change. Views that are passed in must not be views of the map itself.
class TextMap {
 public:
  using Entry = std::pair<std::string_view, std::string_view>;

  /// No entries yet, but optionally a block of bytes, such as the file that contains the entries: see `appendPlaced`.
  ///
  /// The author of the keys must not know \a hashKey. Otherwise he could choose keys that all collide. The map uses the
  /// hash key only after many collisions.
  explicit TextMap(const HashKey& hashKey, std::string block = "") : _hashKey(hashKey), _texts(std::move(block)) {}

  /// The given block, followed by the texts of other entries.
  std::string& block() { return _texts; }

  /// Reserves memory for so many entries. Optional; avoids repeated growth.
  void reserve(size_t entries);

  /// The value of a key; none when the key is not present.
  std::optional<std::string_view> find(std::string_view key) const;

  /// Stores a value under a key, replacing an earlier one.
  void set(std::string_view key, std::string_view value);

  /// Like set, for many entries in a row: they are certain to be found only after the next `index`. For `appendPlaced`,
  /// the texts are already in the block, the value after the key, and must not change any more.
  void append(std::string_view key, std::string_view value);
  void appendPlaced(size_t offset, size_t keyLength, size_t valueLength);
  void index();

  /// Removes a key; does nothing when it is not present.
  void remove(std::string_view key);

  /// The greatest number of slots that a search for a present key examines: the cost of a look-up.
  size_t longestSearch() const;

  /// All entries in the order of the bytes of their keys.
  std::vector<Entry> sorted() const;

 private:
  struct Place {
    size_t begin;  // of the key in _texts; the value follows it
    size_t keyLength;
    size_t valueLength;
    bool isThere;
  };
  struct Slot {
    std::uint32_t hash;
    std::uint32_t place;  // one more than the index in _places; 0 is an empty slot
  };

  std::uint32_t hashOf(std::string_view key) const;
  std::string_view keyOf(const Place& place) const;
  std::string_view valueOf(const Place& place) const;
  size_t slotFor(std::string_view key, std::uint32_t hash) const;
  void insert(const Place& place, std::uint32_t hash);
  void resizeSlots(size_t count);
  void beginKeyed();

  HashKey _hashKey;
  bool _isKeyed = false;       // whether the hashes in the slots use the key
  bool _isSearchLong = false;  // whether they must use it from the next batch on
  std::string _texts;
  std::vector<Place> _places;
  size_t _indexed = 0;       // number of places, beginning with the first, that are in the table
  std::vector<Slot> _slots;  // a power of two of them, at least a quarter of them empty
};

}  // namespace hotfix

#endif
