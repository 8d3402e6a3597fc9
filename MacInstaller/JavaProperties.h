#ifndef MACINSTALLER_JAVA_PROPERTIES_H_
#define MACINSTALLER_JAVA_PROPERTIES_H_

#include <memory>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

namespace platform {
class FileBelow;
}

class TextMap;

/// A Java-style properties file: texts by key, read from one file and saved to one file.
///
/// The file is ISO-8859-1, one byte per character; keys and values here are UTF-8. The reader is deliberately simpler
/// than Java's, and the platform relies on its rules: it decodes no escapes, has special rules for escaped separators,
/// continuation lines and lines that begin with "-X", and keeps neither comments nor the order of lines. See
/// initDictionary in the source for each rule.
///
/// Changes stay in memory until a save. A missing or unreadable file is read as empty. The comments below say what is
/// logged.
class JavaProperties {
 public:
  /// No entries and no backing file.
  JavaProperties();
  ~JavaProperties();

  /// Reads \a file ("~" expanded), which becomes the backing file even if it does not exist: a later save creates
  /// it. An absent path means no backing file. A file that exists but cannot be read (a failing disk, too little
  /// memory, not a regular file) also gives an empty map, and a save never replaces it.
  explicit JavaProperties(const OptionalString& file);

  /// Reads a file in a folder that other users can write to, and uses it as the backing file: platform::FileBelow reads
  /// and replaces it. If it does not exist, a save to it fails.
  explicit JavaProperties(platform::FileBelow&& file);

  JavaProperties(const JavaProperties&) = delete;
  JavaProperties& operator=(const JavaProperties&) = delete;

  /// The value of a key; none when the key is absent or not present. The key is compared with those of all entries.
  OptionalString getPropertyForKey(const OptionalString& key) const;

  /// Stores a value under a key, replacing an earlier one.
  ///
  /// \return false, with nothing changed, when either is absent. One log line at level 3 names the absent one.
  bool setProperty(const OptionalString& value, const OptionalString& forKey);

  /// Removes a key; does nothing when it is absent or not present.
  void removePropertyForKey(const OptionalString& key);

  /// Writes one line per entry, "key=value" with the escapes of StringUtil, to \a path ("~" expanded) or to the
  /// backing file when the path is absent. An entry with an empty key is not written. Creates a missing file, in a
  /// folder that must exist.
  ///
  /// The lines are sorted by their keys, so equal entries give equal bytes. Atomic, see platform::writeFileAtomically.
  /// Does not replace a file that exists but cannot be read, because its content would be lost, even if the path to it
  /// is spelt differently.
  /// \return true on success; false when the write failed or there is no file to write to; false, with one log line at
  ///     level 3, for a file that exists but cannot be read.
  bool savePropertiesToFile(const OptionalString& path) const;

  /// Copies every entry of the properties file at the path over the entries here (the file's values win, nothing is
  /// removed) and immediately saves this object to its backing file. Does not report a failed save.
  ///
  /// Does nothing, and does not save, when the path is absent or no file exists there. "~" is not expanded in that
  /// test.
  void mergeWithJavaProperties(const OptionalString& path);

  /// The keys, sorted.
  std::vector<std::string> propertyNames() const;

  /// The keys, sorted; despite the name, not the values.
  std::vector<std::string> allProperties() const;

 private:
  void load();
  void initDictionary();
  bool wouldLose(const std::string& target) const;

  std::unique_ptr<TextMap> _dict;
  OptionalString _file;                             // backing file, "~" expanded
  std::unique_ptr<platform::FileBelow> _fileBelow;  // or this one
  bool _isFileUnread = false;                       // it exists, but its content is unknown
};

}  // namespace hotfix

#endif
