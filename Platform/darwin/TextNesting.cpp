#include "Platform/darwin/TextNesting.h"

#include <algorithm>
#include <string>

#include "Platform/posix/PropertyListLimits.h"

// Where this reading and CoreFoundation's could differ, a collection is rather counted than not.

namespace platform {

namespace {

using std::string_view;

constexpr size_t kLargestForeignText = size_t{16} << 10U;

bool startsWith(string_view text, string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

/// \a text without all up to the end of \a mark; empty when the mark is not in it.
string_view after(string_view text, string_view mark) {
  const size_t at = text.find(mark);
  return at == string_view::npos ? string_view() : text.substr(at + mark.size());
}

string_view withoutBlanks(string_view text) {
  return text.substr(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

/// Whether brackets are the bytes of ASCII in this text, and no other character has these bytes.
bool isAsciiCompatible(string_view text) {
  if (startsWith(text, "\xFE\xFF") || startsWith(text, "\xFF\xFE")) return false;
  if (text.substr(0, 4).find('\0') != string_view::npos) return false;
  if (!startsWith(text, "<?xml")) return true;
  string_view encoding = after(text.substr(0, text.find("?>")), "encoding");
  if (encoding.empty()) return true;
  encoding = encoding.substr(std::min(encoding.find_first_of("\"'"), encoding.size()));
  std::string name(encoding.substr(0, encoding.find_first_of("\"'", 1)));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  name.erase(0, 1);
  return name == "UTF-8" || name == "US-ASCII" || name == "ISO-8859-1";
}

/// Counts how deep a scan is.
class Depth {
 public:
  /// \return false when it is too deep now.
  bool open() { return ++_depth <= kDeepestPropertyList; }
  void close() { _depth = std::max(_depth - 1, 0); }

 private:
  int _depth = 0;
};

bool isShallowXml(string_view text) {
  Depth depth;
  bool mayClose = true;
  for (text = after(text, "<"); !text.empty(); text = after(text, "<")) {
    if (startsWith(text, "!--")) {
      text = after(text.substr(3), "-->");
    } else if (startsWith(text, "?")) {
      text = after(text, "?>");
    } else if (startsWith(text, "![CDATA[")) {
      text = after(text, "]]>");
    } else if (startsWith(text, "!")) {
      // What ends a document type with declarations of its own is a matter of taste: after one nothing is closed.
      const string_view declaration = text.substr(0, text.find('>'));
      if (declaration.find('[') != string_view::npos) mayClose = false;
    } else if (startsWith(text, "/array") || startsWith(text, "/dict") || startsWith(text, "/plist")) {
      if (mayClose) depth.close();
    } else if (startsWith(text, "array") || startsWith(text, "dict") || startsWith(text, "plist")) {
      const bool isEmpty = startsWith(text, "array/>") || startsWith(text, "dict/>");
      if (!isEmpty && !depth.open()) return false;
    }
  }
  return true;
}

bool isBareCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
         string_view("_$/:.-").find(c) != string_view::npos;
}

/// The rest of a text behind the comment, word or quoted string that it begins with.
string_view afterToken(string_view text) {
  if (startsWith(text, "//")) return text.substr(std::min(text.find_first_of("\n\r"), text.size()));
  if (startsWith(text, "/*")) return after(text.substr(2), "*/");
  size_t at = 1;
  if (text.front() == '"' || text.front() == '\'') {
    while (at < text.size() && text[at] != text.front()) at += text[at] == '\\' ? 2 : 1;
    return text.substr(std::min(at + 1, text.size()));
  }
  if (isBareCharacter(text.front())) {
    while (at < text.size() && isBareCharacter(text[at])) ++at;
  }
  return text.substr(at);
}

bool isShallowOldStyle(string_view text) {
  Depth depth;
  while (!text.empty()) {
    const char first = text.front();
    if ((first == '{' || first == '(') && !depth.open()) return false;
    if (first == '}' || first == ')') depth.close();
    text = afterToken(text);
  }
  return true;
}

}  // namespace

bool isShallowPropertyListText(string_view bytes) {
  constexpr string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (startsWith(bytes, kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  if (!isAsciiCompatible(bytes)) return bytes.size() <= kLargestForeignText;
  // What begins with an angle bracket is XML, or old-style data, which holds no other value.
  return startsWith(withoutBlanks(bytes), "<") ? isShallowXml(bytes) : isShallowOldStyle(bytes);
}

}  // namespace platform
