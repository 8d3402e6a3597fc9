#ifndef SUPPORT_TEXT_MAP_H_
#define SUPPORT_TEXT_MAP_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hotfix {

/// Texts by key, for files of hundreds of thousands of entries: all texts are in one block, instead of separate
/// allocations. A map is suitable for a file of which few keys are read or changed: a look-up compares all entries, and
/// replaced and removed texts stay in the block.
///
/// Returned views are valid until the next change. Views that are passed in must not be views of the map itself.
class TextMap {
 public:
  using Entry = std::pair<std::string_view, std::string_view>;

  /// No entries yet, but optionally a block of bytes, such as the file that contains the entries: see `setPlaced`.
  explicit TextMap(std::string block = "");

  /// The given block, followed by the texts of other entries.
  std::string& block() { return _texts; }

  /// The value of a key; none when the key is not present.
  std::optional<std::string_view> find(std::string_view key) const;

  /// Stores a value under a key, replacing an earlier one.
  void set(std::string_view key, std::string_view value);

  /// The same for texts that are already in the block, the value after the key. They must not change any more.
  void setPlaced(size_t begin, size_t keyLength, size_t valueLength);

  /// Removes a key; does nothing when it is not present.
  void remove(std::string_view key);

  /// The number of entries that a look-up compares, superseded ones included.
  size_t longestSearch() const { return _places.size(); }

  /// All entries in the order of the bytes of their keys.
  std::vector<Entry> sorted() const;

 private:
  struct Place {
    size_t begin;  // of the key in _texts; the value follows it
    size_t keyLength;
    size_t valueLength;
  };

  std::string_view keyOf(const Place& place) const;
  std::string_view valueOf(const Place& place) const;

  std::string _texts;
  std::vector<Place> _places;  // of the entries with the same key, the last one is valid
  size_t _mostPlaces;          // from this number on, superseded places are dropped
};

}  // namespace hotfix

#endif
