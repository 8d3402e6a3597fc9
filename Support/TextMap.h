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

/// Texts by key, made for files of hundreds of thousands of entries: all texts lie in one block and are found through
/// one table, instead of each in memory of its own. What is replaced or removed keeps its place in the block, so that
/// a map is not for keeping a value that changes all the time.
///
/// Views that it hands out, and those that it is given, must not outlive the next change, nor lie in the map itself.
class TextMap {
 public:
  using Entry = std::pair<std::string_view, std::string_view>;

  /// No entries yet, but maybe a block of bytes, say of the file that holds the entries: see `appendPlaced`.
  ///
  /// \a hashKey is one that whoever wrote the keys does not know: he could choose them so that each is looked for past
  /// all others. Keys are hashed by it once there is a sign of that.
  explicit TextMap(const HashKey& hashKey, std::string block = "") : _hashKey(hashKey), _texts(std::move(block)) {}

  /// What was given as the block, and behind it the texts of other entries.
  std::string& block() { return _texts; }

  /// Makes room for so many entries. Not needed, but spares growing in steps.
  void reserve(size_t entries);

  /// The value of a key; none when the key is not there.
  std::optional<std::string_view> find(std::string_view key) const;

  /// Stores a value under a key, replacing an earlier one.
  void set(std::string_view key, std::string_view value);

  /// As set, for many in a row: they are there for certain only from the next `index` on. For `appendPlaced` the texts
  /// are in the block already, the value behind the key, and must stay as they are from now on.
  void append(std::string_view key, std::string_view value);
  void appendPlaced(size_t offset, size_t keyLength, size_t valueLength);
  void index();

  /// Removes a key; does nothing when it is not there.
  void remove(std::string_view key);

  /// How many places of the table the longest search for a key that is there looks at: what look-ups cost.
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
  bool _isKeyed = false;       // the slots have hashes by it
  bool _isSearchLong = false;  // or should, from the next batch on
  std::string _texts;
  std::vector<Place> _places;
  size_t _indexed = 0;       // so many of the places, from the first one on, are in the table
  std::vector<Slot> _slots;  // a power of two of them, at least a quarter of them empty
};

}  // namespace hotfix

#endif
