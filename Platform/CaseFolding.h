#ifndef PLATFORM_CASE_FOLDING_H_
#define PLATFORM_CASE_FOLDING_H_

#include <string>

/// Letter case by the rules of Unicode, independent of any locale. Composed and decomposed forms of a character count
/// as equal. Bytes that are no UTF-8 are compared as they are.
namespace hotfix::platform {

/// The text in lower case and in one canonical form, for comparison with another text made by this function.
std::string lowercased(const std::string& text);

/// Whether \a text begins with \a prefix, ignoring case. A match never ends inside a character: not between a letter
/// and its accent, not in a Korean syllable, nor in what stands for one character when case is ignored ("ss" for "ß").
/// An empty prefix gives false.
bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix);

/// Whether two texts are equal but for case.
bool equalIgnoringCase(const std::string& left, const std::string& right);

}  // namespace hotfix::platform

#endif
