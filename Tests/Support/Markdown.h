#ifndef TESTS_SUPPORT_MARKDOWN_H_
#define TESTS_SUPPORT_MARKDOWN_H_

#include <map>
#include <string>
#include <vector>

/// Reads as much of Markdown as the project's documents use, for tests that hold a document against the code.
namespace hotfix::markdown {

using Texts = std::vector<std::string>;

/// The document at a path, relative to the project's folder.
std::string readDocument(const std::string& path);

/// A text without white space at its ends, and with single blanks for all other.
std::string withSingleSpaces(const std::string& text);

/// A text with what its words in capitals stand for; those without a value stay.
std::string filled(const std::string& text, const std::map<std::string, std::string>& values);

/// The cells of a table's line. "\|" is a bar in a cell.
Texts cellsOf(const std::string& line);

/// The lines of the tables below each heading of the second level, without the first two of each.
std::map<std::string, std::vector<Texts>> tablesOf(const std::string& document);

/// A fenced block.
struct Block {
  std::string heading;   ///< of the second level, that it stands under
  std::string language;  ///< the first word after the fence
  std::string purpose;   ///< the words after that
  std::string text;      ///< its lines, each with its line feed
};
std::vector<Block> blocksOf(const std::string& document);

}  // namespace hotfix::markdown

#endif
