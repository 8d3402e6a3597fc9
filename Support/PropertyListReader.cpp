#include "Support/PropertyListReader.h"

#include <new>
#include <utility>

#include "Support/PropertyListForms.h"
#include "Support/TextEncoding.h"

namespace hotfix::property_list {

namespace {

/// The name in <?xml … encoding="name"?>; UTF-8 when the bytes begin otherwise.
std::string declaredEncoding(std::string_view bytes) {
  std::string_view declaration = skip(bytes, "<?xml") ? takeUntil(bytes, "?>") : "";
  if (!skipPast(declaration, "encoding=")) return "UTF-8";
  const std::string_view quote = take(declaration, 1);
  if (quote != "\"" && quote != "'") return "UTF-8";
  return std::string(takeUntil(declaration, quote));
}

/// The text of a list that is not binary, without a byte order mark. Declared UTF-8 is not checked.
///
/// \param storage holds the text when it had to be converted.
std::optional<std::string_view> decodedText(std::string_view bytes, TextConverter convert, std::string& storage) {
  const auto utf16 = [&](text::ByteOrder order) {
    storage = text::utf8FromUtf16Bytes(bytes, order);
    return std::string_view(storage);
  };
  std::string encoding;
  if (skip(bytes, {"\xFF\xFE\0\0", 4})) {
    encoding = "UTF-32LE";
  } else if (skip(bytes, {"\0\0\xFE\xFF", 4})) {
    encoding = "UTF-32BE";
  } else if (skip(bytes, "\xFF\xFE")) {
    return utf16(text::ByteOrder::LittleEndian);
  } else if (skip(bytes, "\xFE\xFF")) {
    return utf16(text::ByteOrder::BigEndian);
  } else if (skip(bytes, "\xEF\xBB\xBF")) {
    return bytes;
  } else if (bytes.size() >= 2 && (bytes[0] == 0 || bytes[1] == 0)) {
    const auto order = bytes[0] == 0 ? text::ByteOrder::BigEndian : text::ByteOrder::LittleEndian;
    bytes.remove_prefix(2);
    return utf16(order);
  } else {
    encoding = declaredEncoding(bytes);
  }
  if (areEqualIgnoringCase(encoding, "UTF-8")) return bytes;
  OptionalString converted;
  if (areEqualIgnoringCase(encoding, "ISO-8859-1") || areEqualIgnoringCase(encoding, "US-ASCII")) {
    converted = text::utf8FromLatin1(bytes);  // macOS accepts any byte as US-ASCII
  } else if (convert != nullptr) {
    converted = convert(bytes, encoding);
  }
  if (!converted) return std::nullopt;
  storage = std::move(*converted);
  return storage;
}

}  // namespace

std::optional<PropertyListValue> read(std::string_view bytes, TextConverter convert, const Limits& limits) try {
  if (isBinary(bytes)) return readBinary(bytes, limits);
  std::string storage;
  const std::optional<std::string_view> text = decodedText(bytes, convert, storage);
  if (!text || text->empty()) return std::nullopt;
  std::optional<PropertyListValue> list = readXml(*text, limits);
  if (list || !text::isValidUtf8(*text)) return list;
  return readOldStyle(*text, limits);
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace hotfix::property_list
