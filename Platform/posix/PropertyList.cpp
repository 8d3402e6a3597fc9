#include "Platform/PropertyList.h"

#include <strings.h>

#include <algorithm>
#include <new>
#include <string_view>

#include "Platform/FileManager.h"
#include "Platform/posix/OldStylePropertyList.h"
#include "Platform/posix/PropertyListGuard.h"
#include "Platform/posix/PropertyListLibrary.h"
#include "Platform/posix/TextConversion.h"
#include "Support/TextEncoding.h"

namespace hotfix::platform {

namespace {

// ----- The text of a list that is not binary -----

/// What is said to be UTF-8 comes back unchecked.
OptionalString utf8From(std::string_view bytes, const std::string& encoding) {
  if (strcasecmp(encoding.c_str(), "UTF-8") == 0) return std::string(bytes);
  return convertedToUtf8(bytes, encoding);
}

/// The name in <?xml … encoding="name"?>, or the empty text when the bytes begin otherwise.
std::string declaredEncoding(std::string_view bytes) {
  constexpr std::string_view kBlanks = " \t\r\n";
  if (bytes.substr(0, 5) != "<?xml") return "";
  std::string_view declaration = bytes.substr(0, bytes.find("?>"));
  const auto skipBlanks = [&declaration, kBlanks] {
    declaration.remove_prefix(std::min(declaration.find_first_not_of(kBlanks), declaration.size()));
  };
  constexpr std::string_view kName = "encoding";
  const size_t name = declaration.find(kName);
  if (name == std::string_view::npos) return "";
  declaration.remove_prefix(name + kName.size());
  skipBlanks();
  if (declaration.substr(0, 1) != "=") return "";
  declaration.remove_prefix(1);
  skipBlanks();
  const std::string_view quote = declaration.substr(0, 1);
  if (quote != "\"" && quote != "'") return "";
  declaration.remove_prefix(1);
  return std::string(declaration.substr(0, declaration.find(quote)));
}

/// The text of a list that is not binary, as UTF-8 without a byte order mark.
OptionalString decodedText(std::string_view bytes) {
  struct Mark {
    std::string_view bytes;
    const char* encoding;
  };
  constexpr Mark kMarks[] = {{{"\xFF\xFE\0\0", 4}, "UTF-32LE"},
                             {{"\0\0\xFE\xFF", 4}, "UTF-32BE"},
                             {{"\xFF\xFE", 2}, "UTF-16LE"},
                             {{"\xFE\xFF", 2}, "UTF-16BE"},
                             {{"\xEF\xBB\xBF", 3}, "UTF-8"}};
  for (const Mark& mark : kMarks) {
    if (bytes.substr(0, mark.bytes.size()) == mark.bytes) {
      return utf8From(bytes.substr(mark.bytes.size()), mark.encoding);
    }
  }
  if (bytes.size() >= 2 && bytes[0] == 0) return utf8From(bytes, "UTF-16BE");
  if (bytes.size() >= 2 && bytes[1] == 0) return utf8From(bytes, "UTF-16LE");

  const std::string encoding = declaredEncoding(bytes);
  return utf8From(bytes, encoding.empty() ? "UTF-8" : encoding);
}

}  // namespace

std::optional<PropertyListValue> parsePropertyList(const std::string& bytes) try {
  if (bytes.empty()) return std::nullopt;
  if (isBinaryPropertyList(bytes)) {
    return isSafeBinaryPropertyList(bytes) ? readSafeBinaryList(bytes) : std::nullopt;
  }
  const OptionalString text = decodedText(bytes);
  if (!text || !text::isValidUtf8(*text)) return std::nullopt;
  const std::optional<PlainXmlPropertyList> xml = plainXmlPropertyList(*text);
  return xml ? readPlainXmlList(*xml) : parseOldStylePropertyList(*text);
} catch (const std::bad_alloc&) {
  return std::nullopt;  // more than this machine can hold
}

std::optional<PropertyListValue::Dictionary> readDictionary(const std::string& path) {
  const OptionalString bytes = readFile(path);
  if (!bytes) return std::nullopt;
  std::optional<PropertyListValue> list = parsePropertyList(*bytes);
  if (!list || list->asDictionary() == nullptr) return std::nullopt;
  return std::move(*list->asDictionary());
}

bool writeDictionary(const std::string& path, const PropertyListValue::Dictionary& dictionary) {
  const OptionalString list = xmlPropertyList(dictionary);
  return list && writeFileAtomically(path, *list);
}

}  // namespace hotfix::platform
