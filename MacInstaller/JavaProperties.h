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
/// The file is ISO-8859-1, one byte one character; keys and values here are UTF-8. The reader is simpler than Java's
/// own deliberately, and the platform relies on its ways: it decodes no escapes, has rules of its own for escaped
/// separators, continuation lines and lines that begin with "-X", and keeps neither comments nor the order of lines.
/// See initDictionary in the source for each rule.
///
/// Changes stay in memory until a save. A missing or unreadable file reads as empty. What is logged is said below.
class JavaProperties {
 public:
  /// No entries and no backing file.
  JavaProperties();
  ~JavaProperties();

  /// Reads \a file ("~" expanded), which becomes the backing file also when it does not exist: a later save creates
  /// it. An absent path means no backing file. A file that is there but cannot be read (a failing disk, too little
  /// memory, no regular file) leaves the map empty too, and is never replaced by a save.
  explicit JavaProperties(const OptionalString& file);

  /// Reads a file that lies where others can put anything, and has it as the backing file: it is read and replaced as
  /// platform::FileBelow has it. When it is not there, a save to it fails.
  explicit JavaProperties(platform::FileBelow&& file);

  JavaProperties(const JavaProperties&) = delete;
  JavaProperties& operator=(const JavaProperties&) = delete;

  /// The value of a key; none when the key is absent or not present.
  OptionalString getPropertyForKey(const OptionalString& key) const;

  /// Stores a value under a key, replacing an earlier one.
  ///
  /// \return false, with one line at level 3 that names what is missing and nothing changed, when either is absent.
  bool setProperty(const OptionalString& value, const OptionalString& forKey);

  /// Removes a key; does nothing when it is absent or not present.
  void removePropertyForKey(const OptionalString& key);

  /// Writes one line per entry, "key=value" with the escapes of StringUtil, to \a path ("~" expanded) or to the
  /// backing file when the path is absent. An entry with an empty key is not written. A missing file is made, in a
  /// folder that must exist.
  ///
  /// The lines are sorted by their keys, so equal entries give equal bytes. Atomic, see platform::writeFileAtomically.
  /// A file that exists and cannot be read is not replaced, however its path is spelt, as what it holds would be lost.
  /// \return true on success; false when the write failed or there is no file to write to; false, with one line at
  ///     level 3, for a file that exists and cannot be read.
  bool savePropertiesToFile(const OptionalString& path) const;

  /// Copies every entry of the properties file at the path over the entries here (the file's values win, nothing is
  /// removed) and saves this object to its backing file at once; whether that worked is not told.
  ///
  /// Does nothing, not even save, when the path is absent or no file exists there. "~" is not expanded in that test.
  void mergeWithJavaProperties(const OptionalString& path);

  /// The keys, sorted.
  std::vector<std::string> propertyNames() const;

  /// The keys, sorted: in spite of the name, the values are not among them.
  std::vector<std::string> allProperties() const;

 private:
  void load();
  void initDictionary();
  bool wouldLose(const std::string& target) const;

  std::unique_ptr<TextMap> _dict;
  OptionalString _file;                             // backing file, "~" expanded
  std::unique_ptr<platform::FileBelow> _fileBelow;  // or this one
  bool _isFileUnread = false;                       // it is there, but what it holds is not known
};

}  // namespace hotfix

#endif
