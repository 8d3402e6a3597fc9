#include "Tests/Support/PropertyLists.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "Support/PropertyListReader.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;

std::string formatted(const char* format, double number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

std::string hexadecimal(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) {
    for (const unsigned shift : {4U, 0U})
      digits += "0123456789abcdef"[static_cast<unsigned char>(byte) >> shift & 0xFU];
  }
  return digits;
}

std::string byte(unsigned value) { return std::string(1, static_cast<char>(static_cast<unsigned char>(value))); }

}  // namespace

std::string shown(const std::optional<PropertyListValue>& value) {
  if (!value) return "none";
  if (const std::string* text = value->asString()) return "'" + *text + "'";
  if (const bool* boolean = value->asBoolean()) return *boolean ? "true" : "false";
  if (const double* real = value->asReal()) return formatted("real %.17g", *real);
  if (const Date* date = value->asDate()) return formatted("date %.17g", date->secondsSince2001);
  if (const Data* data = value->asData()) return "<" + hexadecimal(data->bytes) + ">";
  if (const PropertyListValue::Integer* integer = value->asInteger()) {
    return integer->isNegative ? std::to_string(static_cast<std::int64_t>(integer->bits))
                               : std::to_string(integer->bits);
  }
  std::string inner;
  if (const Array* array = value->asArray()) {
    for (const PropertyListValue& element : *array) inner += (inner.empty() ? "" : ", ") + shown(element);
    return "[" + inner + "]";
  }
  for (const auto& [key, element] : *value->asDictionary()) {
    inner += (inner.empty() ? "'" : ", '") + key + "': " + shown(element);
  }
  return "{" + inner + "}";
}

void expectRows(const std::vector<ListRow>& rows) {
  for (const ListRow& row : rows) EXPECT_EQ(shown(property_list::read(row.list)), row.value) << row.list;
}

void expectXmlRows(const std::vector<ListRow>& rows) {
  for (const ListRow& row : rows) expectRows({{"<plist version=\"1.0\">" + row.list + "</plist>", row.value}});
}

void expectRefused(const std::vector<std::string>& lists) {
  for (const std::string& list : lists) expectRows({{list, "none"}});
}

void expectXmlRefused(const std::vector<std::string>& lists) {
  for (const std::string& list : lists) expectXmlRows({{list, "none"}});
}

std::string repeated(const std::string& text, size_t count) {
  std::string result;
  for (size_t index = 0; index < count; ++index) result += text;
  return result;
}

std::string bigEndian(std::uint64_t number, size_t size) {
  std::string bytes;
  for (size_t index = size; index-- > 0;)
    bytes += byte(index < 8 ? static_cast<unsigned>(number >> (8 * index) & 0xFFU) : 0U);
  return bytes;
}

std::string bigEndian(double number) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &number, sizeof bits);
  return bigEndian(bits, 8);
}

std::string BinaryList::references(const std::vector<std::uint64_t>& numbers) const {
  std::string bytes;
  for (const std::uint64_t number : numbers) bytes += bigEndian(number, referenceSize);
  return bytes;
}

std::string BinaryList::array(const std::vector<std::uint64_t>& elements) const {
  return header(0xA0, elements.size()) + references(elements);
}

std::string BinaryList::dictionary(const std::vector<std::uint64_t>& keys,
                                   const std::vector<std::uint64_t>& values) const {
  return header(0xD0, keys.size()) + references(keys) + references(values);
}

std::string BinaryList::header(unsigned kind, std::uint64_t count) {
  return count < 15 ? byte(kind | static_cast<unsigned>(count)) : byte(kind | 0xF) + "\x13" + bigEndian(count, 8);
}

std::string BinaryList::utf16(const std::u16string& text) {
  std::string bytes = header(0x60, text.size());
  for (const char16_t unit : text) bytes += bigEndian(unit, 2);
  return bytes;
}

std::string BinaryList::bytes() const {
  std::string result = mark;
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(result.size(), offsetSize);
    result += object;
  }
  return withTrailer(result, table, objects.size());
}

std::string BinaryList::withTrailer(const std::string& head, const std::string& table, std::uint64_t count) const {
  return head + table + std::string(6, '\0') + byte(offsetSize) + byte(referenceSize) + bigEndian(count, 8) +
         bigEndian(root, 8) + bigEndian(head.size(), 8);
}

std::string richBinaryList() {
  BinaryList list;
  list.objects = {"",
                  BinaryList::ascii("key"),
                  BinaryList::utf16(u"\u00E9\u20AC"),
                  BinaryList::ascii("a string that needs a count of its own"),
                  "\x09",
                  "\x11\x01\x02",
                  "\x23" + bigEndian(1.5),
                  "\x33" + bigEndian(-0.25),
                  std::string("\x43\x00\xFF\x01", 4),
                  "\x80\x07",
                  list.array({4, 5, 6, 7, 8, 9})};
  list.objects[0] = list.dictionary({1, 2}, {3, 10});
  return list.bytes();
}

PropertyListValue richList() {
  Array array;
  array.emplace_back(true);
  array.push_back(PropertyListValue::integer(258));
  array.emplace_back(1.5);
  array.emplace_back(Date{-0.25});
  array.emplace_back(Data{std::string("\x00\xFF\x01", 3)});
  array.emplace_back(Dictionary{{"CF$UID", PropertyListValue::integer(7)}});
  return PropertyListValue(Dictionary{{"key", "a string that needs a count of its own"},
                                      {"\u00E9\u20AC", PropertyListValue(std::move(array))}});
}

}  // namespace hotfix
