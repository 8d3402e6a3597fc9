#include "Tests/Support/Markdown.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace hotfix::markdown {

namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

std::string readDocument(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(std::string(HOTFIX_SOURCE_FOLDER) + "/" + path).rdbuf();
  if (text.str().empty()) ADD_FAILURE() << path << " cannot be read";
  return text.str();
}

std::string withSingleSpaces(const std::string& text) {
  std::istringstream words(text);
  std::string word, result;
  while (words >> word) result += (result.empty() ? "" : " ") + word;
  return result;
}

std::string filled(const std::string& text, const std::map<std::string, std::string>& values) {
  std::string result, word;
  for (const char c : text + " ") {
    if ((c >= 'A' && c <= 'Z') || c == '_') {
      word += c;
      continue;
    }
    const auto value = values.find(word);
    result += (value == values.end() ? word : value->second) + c;
    word.clear();
  }
  result.pop_back();
  return result;
}

Texts cellsOf(const std::string& line) {
  Texts cells;
  std::string cell;
  for (size_t at = 1; at < line.size(); ++at) {
    if (line[at] == '|' && line[at - 1] != '\\') {
      cells.push_back(withSingleSpaces(cell));
      cell.clear();
    } else {
      cell += line[at];
    }
  }
  return cells;
}

std::map<std::string, std::vector<Texts>> tablesOf(const std::string& document) {
  std::map<std::string, std::vector<Texts>> tables;
  std::string heading, line;
  int linesOfTable = 0;
  std::istringstream lines(document);
  while (std::getline(lines, line)) {
    linesOfTable = startsWith(line, "|") ? linesOfTable + 1 : 0;
    if (startsWith(line, "## ")) tables[heading = line.substr(3)];
    if (linesOfTable > 2) tables[heading].push_back(cellsOf(line));
  }
  return tables;
}

std::vector<Block> blocksOf(const std::string& document) {
  std::vector<Block> blocks;
  std::string heading, line;
  bool isInside = false;
  std::istringstream lines(document);
  while (std::getline(lines, line)) {
    if (startsWith(line, "```")) {
      isInside = !isInside;
      if (!isInside) continue;
      const std::string words = withSingleSpaces(line.substr(3));
      const size_t blank = words.find(' ');
      blocks.push_back(
          {heading, words.substr(0, blank), blank == std::string::npos ? "" : words.substr(blank + 1), ""});
    } else if (isInside) {
      blocks.back().text += line + "\n";
    } else if (startsWith(line, "## ")) {
      heading = line.substr(3);
    }
  }
  return blocks;
}

}  // namespace hotfix::markdown
