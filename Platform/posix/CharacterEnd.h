#ifndef PLATFORM_POSIX_CHARACTER_END_H_
#define PLATFORM_POSIX_CHARACTER_END_H_

/// Where a character of a text in canonical decomposition ends.
namespace hotfix::platform {

/// Whether a Korean letter continues the syllable of \a before (The Unicode Standard, section 3.12): a vowel or final
/// consonant after any other letter of a syllable.
constexpr bool continuesSyllable(char32_t before, char32_t letter) {
  const bool isInSyllable = (before >= 0x1100 && before <= 0x11FF) || (before >= 0xA960 && before <= 0xA97C) ||
                            (before >= 0xD7B0 && before <= 0xD7FB);
  return isInSyllable && ((letter >= 0x1160 && letter <= 0x11FF) || (letter >= 0xD7B0 && letter <= 0xD7FB));
}

}  // namespace hotfix::platform

#endif
