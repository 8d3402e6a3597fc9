#ifndef PLATFORM_CASE_FOLDING_H_
#define PLATFORM_CASE_FOLDING_H_

#include <string>

/// Letter case by the rules of Unicode, independent of any locale. Composed and decomposed forms of a character are
/// equal. Bytes that are not UTF-8 are compared unchanged.
namespace hotfix::platform {

/// The text in lower case and in one canonical form, for comparison with another text made by this function.
std::string lowercased(const std::string& text);

/// Whether \a text begins with \a prefix, ignoring case. A match never ends inside a character: not between a letter
/// and its accent, not in a Korean syllable, and not in the case-folded form of one character ("ss" for "ß"). Returns
/// false for an empty prefix.
bool hasPrefixIgnoringCase(const std::string& text, const std::string& prefix);

/// Whether two texts are equal, ignoring case.
bool equalIgnoringCase(const std::string& left, const std::string& right);

}  // namespace hotfix::platform

#endif
