#ifndef SUPPORT_TEXT_NUMBER_H_
#define SUPPORT_TEXT_NUMBER_H_

#include <cstdint>
#include <string>

namespace hotfix::text {

/// The value of a hexadecimal digit; 99, which is not a digit in any base, for any other character.
template <typename Unit>
unsigned digitValue(Unit c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  return c >= 'A' && c <= 'F' ? static_cast<unsigned>(c - 'A') + 10 : 99;
}

/// The whole number at the start of a text, by the rules of the platform: blanks, a sign, blanks, ASCII digits, up to
/// the first other character. Blanks are the control characters, the space, and U+007F to U+00A0, U+2000 to U+200B,
/// U+3000.
///
/// \return 0 for a text without digits; the nearest number of the type for one that is out of its range.
std::int32_t integerAtStart(const std::string& utf8);

}  // namespace hotfix::text

#endif
