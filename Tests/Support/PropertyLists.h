#ifndef TESTS_SUPPORT_PROPERTY_LISTS_H_
#define TESTS_SUPPORT_PROPERTY_LISTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Support/PropertyListValue.h"

/// Property lists and their values, in forms that fit on one line of a test.
namespace hotfix {

/// A value as text: 'text', true, 42, real 1.5, date 0, <0fbd>, [an, array], {'key': value}; or none.
std::string shown(const std::optional<PropertyListValue>& value);

/// A list, and its expected value as shown() returns it.
struct ListRow {
  std::string list;
  std::string value;
};

/// Expects that each list is read as its value. A failure shows the list.
void expectRows(const std::vector<ListRow>& rows);

/// The same, each list within `<plist>` and `</plist>`.
void expectXmlRows(const std::vector<ListRow>& rows);

/// Expects that each list is refused.
void expectRefused(const std::vector<std::string>& lists);
void expectXmlRefused(const std::vector<std::string>& lists);

std::string repeated(const std::string& text, size_t count);

/// \a number in big-endian bytes.
std::string bigEndian(std::uint64_t number, size_t size);
std::string bigEndian(double number);

/// A binary list, composed of its objects. A test can damage any part of it.
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

/// A binary list with an object of each kind, and its value.
std::string richBinaryList();
PropertyListValue richList();

}  // namespace hotfix

#endif
