// Holds docs/operations.md against the headers that it lists.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Platform/FileManager.h"
#include "Tests/Support/Markdown.h"

namespace hotfix {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

using markdown::tablesOf;
using markdown::Texts;
using markdown::withSingleSpaces;

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

/// A header without comments, preprocessor lines and the wrapper for C++.
std::string bareHeader(const std::string& header) {
  std::string text;
  for (size_t at = 0; at < header.size(); ++at) {
    if (startsWith(header.substr(at, 2), "/*")) {
      at = header.find("*/", at) + 1;
    } else if (startsWith(header.substr(at, 2), "//")) {
      at = header.find('\n', at) - 1;
    } else {
      text += header[at];
    }
  }
  std::istringstream lines(text);
  std::string line, result;
  bool isForCpp = false;
  while (std::getline(lines, line)) {
    if (startsWith(line, "#")) isForCpp = startsWith(line, "#ifdef __cplusplus");
    if (!startsWith(line, "#") && !isForCpp) result += line + '\n';
  }
  return result;
}

/// A declaration without initialisers and what else is not part of the signature; none when it is no operation.
std::string signature(const std::string& declaration) {
  const size_t open = declaration.find('(');
  if (open == std::string::npos) return "";
  size_t end = open;
  for (int depth = 0; end < declaration.size(); ++end) {
    depth += declaration[end] == '(' ? 1 : declaration[end] == ')' ? -1 : 0;
    if (depth == 0) break;
  }
  const std::string rest = withSingleSpaces(declaration.substr(end + 1));
  if (startsWith(rest, "= delete")) return "";
  return withSingleSpaces(declaration.substr(0, end + 1)) + (startsWith(rest, "const") ? " const" : "");
}

/// The signatures of the operations that a header offers: functions, and public members of its classes that are not
/// deleted.
Texts operationsOf(const std::string& header) {
  const std::string text = bareHeader(header);
  Texts operations;
  std::string declaration;
  bool isOffered = true;  // not in a private part
  int parentheses = 0, bodies = 0;
  const auto endDeclaration = [&] {
    const std::string found = signature(declaration);
    if (isOffered && !found.empty()) operations.push_back(found);
    declaration.clear();
  };
  for (const char c : text) {
    if (bodies > 0) {  // of a function, or of a type inside a class
      bodies += c == '{' ? 1 : c == '}' ? -1 : 0;
      if (bodies == 0) endDeclaration();
      continue;
    }
    parentheses += c == '(' ? 1 : c == ')' ? -1 : 0;
    const std::string words = withSingleSpaces(declaration);
    if (c == '{' && parentheses == 0 && startsWith(words, "namespace ")) {
      declaration.clear();
    } else if (c == '{' && parentheses == 0 && startsWith(words, "class ")) {
      isOffered = false;
      declaration.clear();
    } else if (c == '{' && parentheses == 0) {
      bodies = 1;
    } else if (c == '}' && parentheses == 0) {  // of the class
      isOffered = true;
    } else if (c == ':' && (words == "public" || words == "private")) {
      isOffered = words == "public";
      declaration.clear();
    } else if (c == ';') {
      endDeclaration();
    } else {
      declaration += c;
    }
  }
  return operations;
}

/// The headers of operations, by the names of their files without ".h".
std::map<std::string, std::string> headers() {
  std::map<std::string, std::string> result;
  const std::string folder = std::string(HOTFIX_SOURCE_FOLDER) + "/MacInstaller";
  for (const std::string& place : {folder, folder + "/tool"}) {
    for (const std::string& name : platform::namesInFolder(place).value_or(Texts())) {
      if (name.size() < 2 || name.substr(name.size() - 2) != ".h") continue;
      result[name.substr(0, name.size() - 2)] = platform::readFile(place + "/" + name).value_or("");
    }
  }
  return result;
}

std::map<std::string, std::vector<Texts>> documentedTables() {
  return tablesOf(markdown::readDocument("docs/operations.md"));
}

template <typename Value>
Texts keysOf(const std::map<std::string, Value>& map) {
  Texts keys;
  for (const auto& [key, value] : map) keys.push_back(key);
  return keys;
}

TEST(OperationsTableTest, EveryHeaderHasItsSection) {
  ASSERT_FALSE(headers().empty());
  EXPECT_EQ(keysOf(documentedTables()), keysOf(headers()));
}

TEST(OperationsTableTest, ListsEverySignatureOfTheHeadersAndNoOther) {
  auto tables = documentedTables();
  for (const auto& [name, header] : headers()) {
    Texts documented;
    for (const Texts& cells : tables[name]) documented.push_back(cells.empty() ? "" : cells[0]);
    Texts declared;
    for (const std::string& operation : operationsOf(header)) declared.push_back("`" + operation + "`");
    EXPECT_THAT(documented, UnorderedElementsAreArray(declared)) << "in the section " << name;
  }
}

TEST(OperationsTableTest, EveryRowHasThreeFilledCells) {
  for (const auto& [name, rows] : documentedTables()) {
    EXPECT_FALSE(rows.empty()) << "in the section " << name;
    for (const Texts& cells : rows) {
      EXPECT_EQ(cells.size(), 3U) << name << ": " << ::testing::PrintToString(cells);
      EXPECT_EQ(std::count(cells.begin(), cells.end(), ""), 0) << name << ": " << ::testing::PrintToString(cells);
    }
  }
}

// ----- The readers used above -----

TEST(OperationsTableTest, HeaderReaderFindsEveryKindOfDeclaration) {
  EXPECT_THAT(operationsOf(R"(
#ifndef A_H_
#include <string>
/// Comment f(int);
class Forward;
int64_t function(const char* a,   // text; and more
                 int b);
class A {
  void privateByDefault();
 public:
  enum class Kind { One, Two };
  A() : _field(B()) {}
  explicit A(int x = f({1, 2}));
  A(const A&) = delete;
  A(A&&) = default;
  ~A();
  static int f();
  const int& field() const { if (x) { return _field; } return _field; }
  std::optional<int> wrapped(int a,
                             int b) const;
 private:
  void hidden();
  int _field = g();
};
void last();
#endif)"),
              ElementsAre("int64_t function(const char* a, int b)", "A()", "explicit A(int x = f({1, 2}))", "A(A&&)",
                          "~A()", "static int f()", "const int& field() const",
                          "std::optional<int> wrapped(int a, int b) const", "void last()"));
}

TEST(OperationsTableTest, HeaderReaderFindsEntriesForC) {
  EXPECT_THAT(operationsOf("#ifdef __cplusplus\nextern \"C\" {\n#endif\n/* a(b); */\nint f(void);\n"
                           "#ifdef __cplusplus\n}\n#endif\nint g(int x);\n"),
              ElementsAre("int f(void)", "int g(int x)"));
}

TEST(OperationsTableTest, TableReaderKeepsEmptyCellsAndEscapedBars) {
  const auto tables =
      tablesOf("# Title\n\n## A\n\nText\n\n| x | y |\n|---|---|\n| `f()` | a \\| b |\n| | c |\n\n## B\n");
  EXPECT_THAT(keysOf(tables), ElementsAre("A", "B"));
  EXPECT_THAT(tables.at("A"), ElementsAre(ElementsAre("`f()`", "a \\| b"), ElementsAre("", "c")));
  EXPECT_THAT(tables.at("B"), IsEmpty());
}

}  // namespace

}  // namespace hotfix
