#ifndef TESTS_LAWS_PROPERTIES_MODEL_H_
#define TESTS_LAWS_PROPERTIES_MODEL_H_

#include <map>
#include <string>

/// What a properties file can hold, told by other means than JavaProperties reads and writes it.
namespace hotfix::laws {

using Entries = std::map<std::string, std::string>;

/// The entries that are read from a file to which \a entries were saved.
///
/// Lost is:
/// - the entry with the empty key: an empty value under that key comes back always, from the end of the file;
/// - of keys that become equal all but the one that is saved last;
/// - what a key has from its first "=", ":" or space on: it becomes the start of the value;
/// - "=", ":" and spaces at the start of a value, spaces at its end;
/// - a backslash before anything but a letter, a digit or a mark that needs no escape;
/// - characters outside 0x20 to 0x7e, and bytes that are no UTF-8: the text of their escapes comes back;
/// - that a key that begins with "-X" is apart from its value: the separator comes back as part of that.
Entries afterSaving(const Entries& entries);

/// Whether an entry is of the kind of which nothing is lost, by the list above.
bool isKept(const std::string& key, const std::string& value);

}  // namespace hotfix::laws

#endif
