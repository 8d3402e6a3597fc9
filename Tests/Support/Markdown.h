#ifndef TESTS_SUPPORT_MARKDOWN_H_
#define TESTS_SUPPORT_MARKDOWN_H_

#include <map>
#include <string>
#include <vector>

/// Reads the part of Markdown that the project's documents use, for tests that compare a document with the code.
namespace hotfix::markdown {

using Texts = std::vector<std::string>;

/// The document at a path, relative to the project's folder.
std::string readDocument(const std::string& path);

/// A text without white space at its ends, and with each other run of white space replaced by one blank.
std::string withSingleSpaces(const std::string& text);

/// A text with its words in capitals replaced by their values. Words without a value are not changed.
std::string filled(const std::string& text, const std::map<std::string, std::string>& values);

/// The cells of a line of a table. "\|" is a bar in a cell.
Texts cellsOf(const std::string& line);

/// The lines of the tables below each heading of the second level, without the first two lines of each table.
std::map<std::string, std::vector<Texts>> tablesOf(const std::string& document);

/// A fenced block.
struct Block {
  std::string heading;   ///< the heading of the second level above it
  std::string language;  ///< the first word after the fence
  std::string purpose;   ///< the words after that
  std::string text;      ///< its lines, each with a line feed
};
std::vector<Block> blocksOf(const std::string& document);

}  // namespace hotfix::markdown

#endif
