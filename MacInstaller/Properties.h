#ifndef MACINSTALLER_PROPERTIES_H_
#define MACINSTALLER_PROPERTIES_H_

#include <optional>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"

namespace hotfix {

/// The dictionary of one property-list file, read whole and written back whole.
///
/// An object without a dictionary (made for a file that is missing, or that holds no dictionary) is inert: it answers
/// none and false to everything and never writes. Who wants to create a file starts from an object without a file
/// and saves it to a path. What is logged is said below.
class Properties {
 public:
  /// An empty dictionary and no backing file.
  Properties() : _dict(PropertyListValue::Dictionary()) {}

  /// Reads the property list at \a file ("~" expanded). A missing file, or an absent path, gives neither a dictionary
  /// nor a backing file; a file of another kind gives the backing file without a dictionary.
  explicit Properties(const OptionalString& file);

  /// As if the file at \a file held just these bytes, or could not be read without them: for a caller that had to look
  /// at the open file first.
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
  bool setProperty(const char* value, const OptionalString& forKey);

  /// Removes a key; does nothing when it is absent or not present.
  void removePropertyForKey(const OptionalString& key);

  /// Empties the dictionary.
  void removeAllProperties();

  /// Writes the dictionary as an XML property list to \a path ("~" expanded), or to the backing file when the path is
  /// absent. A missing file is made, in a folder that must exist. Atomic, see platform::writeFileAtomically. With
  /// neither path nor backing file nothing is written.
  ///
  /// A file that exists and cannot be read is not replaced, as what it holds would be lost. \return false only for an
  /// object without a dictionary. Callers do not learn of a failed write, deliberately; nothing is logged.
  bool savePropertiesToFile(const OptionalString& path) const;

  /// The same for a file that lies where others can write ("~" not expanded), see platform::writeTrustedFile.
  bool savePropertiesToTrustedFile(const std::string& path) const;

 private:
  void parse(const OptionalString& contents);

  std::optional<PropertyListValue::Dictionary> _dict;
  OptionalString _file;  // backing file, "~" expanded
};

}  // namespace hotfix

#endif
