#ifndef TESTS_SUPPORT_PROPERTY_LISTS_H_
#define TESTS_SUPPORT_PROPERTY_LISTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Support/PropertyListValue.h"

/// Property lists and their values, in forms that fit on a line of a test.
namespace hotfix {

/// A value as 'text', true, 42, real 1.5, date 0, <0fbd>, [an, array], {'key': value}; and none.
std::string shown(const std::optional<PropertyListValue>& value);

/// A list, and what it is read as, shown.
struct ListRow {
  std::string list;
  std::string value;
};

/// Expects of each list that it is read as the value; a failure shows the list.
void expectRows(const std::vector<ListRow>& rows);

/// The same, each list within `<plist>` and `</plist>`.
void expectXmlRows(const std::vector<ListRow>& rows);

/// Expects of each list that it is read as none.
void expectRefused(const std::vector<std::string>& lists);
void expectXmlRefused(const std::vector<std::string>& lists);

std::string repeated(const std::string& text, size_t count);

/// \a number in big-endian bytes.
std::string bigEndian(std::uint64_t number, size_t size);
std::string bigEndian(double number);

/// A binary list, put together of its objects. Any part of it can be made wrong.
struct BinaryList {
  std::vector<std::string> objects;
  unsigned offsetSize = 1;
  unsigned referenceSize = 1;
  std::uint64_t root = 0;
  std::string mark = "bplist00";

  explicit BinaryList(std::vector<std::string> initialObjects = {}) : objects(std::move(initialObjects)) {}

  std::string references(const std::vector<std::uint64_t>& numbers) const;
  std::string array(const std::vector<std::uint64_t>& elements) const;
  std::string dictionary(const std::vector<std::uint64_t>& keys, const std::vector<std::uint64_t>& values) const;
  static std::string header(unsigned kind, std::uint64_t count);
  static std::string ascii(const std::string& text) { return header(0x50, text.size()) + text; }
  static std::string utf16(const std::u16string& text);

  std::string bytes() const;
  std::string withTrailer(const std::string& head, const std::string& table, std::uint64_t count) const;
};

/// A binary list with an object of each kind, and what it is.
std::string richBinaryList();
PropertyListValue richList();

}  // namespace hotfix

#endif
