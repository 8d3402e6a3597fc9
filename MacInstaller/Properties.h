#ifndef MACINSTALLER_PROPERTIES_H_
#define MACINSTALLER_PROPERTIES_H_

#include <optional>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

namespace hotfix {

/// The dictionary of one property-list file, read whole and written back whole.
///
/// An object has no dictionary if its file is missing or contains none. Every operation of it then returns none or
/// false, and nothing is written. To create a file, start from an object without a file and save it to a path. Nothing
/// is logged.
class Properties {
 public:
  /// An empty dictionary and no backing file.
  Properties() : _dict(PropertyListValue::Dictionary()) {}

  /// Reads the property list at \a file ("~" expanded). A missing file, or an absent path, gives neither a dictionary
  /// nor a backing file; a file of another kind gives the backing file without a dictionary.
  explicit Properties(const OptionalString& file);

  /// As if the file at \a file had these contents, or were unreadable if they are absent: for a caller that had to
  /// examine the open file first.
  Properties(const std::string& file, const OptionalString& contents);

  Properties(Properties&&) = default;
  Properties& operator=(Properties&&) = default;

  /// The value of a key; none when the key is absent or not present.
  std::optional<PropertyListValue> getPropertyForKey(const OptionalString& key) const;

  /// The value of a key when it is a text; none otherwise.
  OptionalString getTextForKey(const OptionalString& key) const;

  /// Stores a value under a key, replacing an earlier one; an absent value removes the key.
  ///
  /// \return false only for an object without a dictionary and for an absent key.
  bool setProperty(const std::optional<PropertyListValue>& value, const OptionalString& forKey);

  /// The same for a text; a null pointer is an absent value.
  bool setProperty(const char* value, const OptionalString& forKey) {
    return setProperty(value != nullptr ? std::optional<PropertyListValue>(value) : std::nullopt, forKey);
  }

  /// Removes a key; does nothing when it is absent or not present.
  void removePropertyForKey(const OptionalString& key);

  /// Empties the dictionary.
  void removeAllProperties();

  /// Writes the dictionary as an XML property list to \a path ("~" expanded), or to the backing file when the path is
  /// absent. Creates a missing file, in a folder that must exist. Atomic, see platform::writeFileAtomically. Writes
  /// nothing if there is neither a path nor a backing file.
  ///
  /// Does not replace a file that exists but cannot be read, because its content would be lost. A failed write is
  /// deliberately neither reported nor logged. \return false only for an object without a dictionary.
  bool savePropertiesToFile(const OptionalString& path) const;

  /// The same for a file in a folder that others can write to ("~" not expanded), see platform::writeTrustedFile.
  bool savePropertiesToTrustedFile(const std::string& path) const;

 private:
  void parse(const OptionalString& contents);

  std::optional<PropertyListValue::Dictionary> _dict;
  OptionalString _file;  // backing file, "~" expanded
};

}  // namespace hotfix

#endif
