#ifndef MACINSTALLER_STRING_UTIL_H_
#define MACINSTALLER_STRING_UTIL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

/// Text operations of the installer tools: the escapes of properties files, placeholders, quoting, volumes, and texts
/// for booleans. It has only static operations and logs nothing.
class StringUtil {
 public:
  StringUtil() = delete;

  // ----- Escapes of a properties file -----
  // They process one UTF-16 code unit at a time, and escape the units of a surrogate pair separately.

  /// The text of a properties file for a key: plain ASCII, 0x20 to 0x7e.
  ///
  /// "#", "!", "=", ":", backslash and every space get a backslash before them. Any unit outside 0x20 to 0x7e becomes a
  /// backslash, "u" and four lower-case hexadecimal digits.
  static std::u16string convertNSStringTo8859_1Key(const std::u16string& key);

  /// The text of a properties file for a value: the same as for a key, but a space is never escaped, and a backslash
  /// immediately before a "u" is not doubled, so that existing escapes in a value do not change.
  static std::u16string convertNSStringTo8859_1Value(const std::u16string& value);

  /// Appends the four lower-case hexadecimal digits of \a number to \a toString.
  static void addHexDigits(std::uint16_t number, std::u16string& toString);

  /// Decodes the escapes of the form backslash, "u", four digits. Copies everything else unchanged.
  ///
  /// If one of the four units after the "u" is not a hexadecimal digit, it is skipped, but still one of the four. A
  /// sequence with fewer than four units after its "u" is not an escape.
  static std::u16string convertUnicode2Characters(const std::u16string& escaped);

  /// The unit at an index, or none for an absent text or an index outside it.
  static OptionalUtf16 charAtIndex(std::int32_t index, const OptionalUtf16& ofString);

  // ----- Placeholders -----

  /// The source with every occurrence of \a target replaced with \a withString, searched from the end towards the
  /// start: in "aaa" the target "aa" is the last two characters. Literal and case-sensitive. Inserted text is not
  /// searched again. An empty target occurs nowhere.
  static std::string stringByReplacingOccurrencesOfString(const std::string& source, const std::string& target,
                                                          const std::string& withString);

  /// Replaces the "%@" of a template, in order, with the texts of \a with.
  ///
  /// Missing texts are empty, extra ones are ignored, and an absent list is an empty one. An absent template gives
  /// none. A template without "%@" is returned unchanged.
  static OptionalString bindString(const OptionalString& templateText,
                                   const std::optional<std::vector<std::string>>& with);

  // ----- Other texts -----

  /// "true" when the low eight bits of \a boolean are not all zero, else "false".
  static std::string boolToString(int boolean);

  /// The text between two double quotes. Quotes in it are not escaped.
  static std::string addQuotesToString(const std::string& text);

  /// Root of the volume of a path: the folder one level below "/Volumes", or "/" for every other path, including a
  /// relative one. A leading "~" is expanded first. Only the text decides, case-sensitive. None gives none.
  static OptionalString getVolume(const OptionalString& path);

  /// Returns the text unchanged. The operation is part of the class's contract but marks nothing.
  static std::string addTranslationSignToString(const std::string& text);
};

}  // namespace hotfix

#endif
