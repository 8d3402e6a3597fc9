#ifndef MACINSTALLER_STRING_UTIL_H_
#define MACINSTALLER_STRING_UTIL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Support/OptionalString.h"

namespace hotfix {

/// Text operations of the installer tools: the escapes of properties files, placeholders, quoting, volumes, and the
/// texts that stand for booleans. Class-level operations only; no instance is ever made. Nothing is logged.
class StringUtil {
 public:
  StringUtil() = delete;

  // ----- Escapes of a properties file -----
  // They work on UTF-16 code units, one at a time; the units of a surrogate pair are escaped one by one.

  /// The text of a properties file for a key: plain ASCII, 0x20 to 0x7e.
  ///
  /// A backslash goes before "#", "!", "=", ":", backslash and every space; any unit outside 0x20 to 0x7e becomes a
  /// backslash, "u" and four lower-case hexadecimal digits.
  static std::u16string convertNSStringTo8859_1Key(const std::u16string& key);

  /// The text of a properties file for a value: as for a key, but a space is never escaped, and a backslash right
  /// before a "u" stays single, so that a value that already holds escapes passes unchanged.
  static std::u16string convertNSStringTo8859_1Value(const std::u16string& value);

  /// Appends the four lower-case hexadecimal digits of \a number to \a toString.
  static void addHexDigits(std::uint16_t number, std::u16string& toString);

  /// Decodes the escapes of the form backslash, "u", four digits; everything else is copied as it stands.
  ///
  /// Of the four units after the "u" one that is no hexadecimal digit is skipped, but counts. An escape with fewer
  /// than four units after its "u" is no escape.
  static std::u16string convertUnicode2Characters(const std::u16string& escaped);

  /// The one unit at an index, or none for an absent text or an index outside it.
  static OptionalUtf16 charAtIndex(std::int32_t index, const OptionalUtf16& ofString);

  // ----- Placeholders -----

  /// The source with every occurrence of \a target replaced by \a withString, searched from the end towards the
  /// start: in "aaa" the target "aa" is the last two characters. Literal and case-sensitive; what was put in is not
  /// searched again; an empty target occurs nowhere.
  static std::string stringByReplacingOccurrencesOfString(const std::string& source, const std::string& target,
                                                          const std::string& withString);

  /// Puts the texts of \a with, in order, in place of the "%@" of a template.
  ///
  /// Missing texts are empty, surplus ones are ignored, and an absent list is an empty one. An absent template gives
  /// none, a template without "%@" itself.
  static OptionalString bindString(const OptionalString& templateText,
                                   const std::optional<std::vector<std::string>>& with);

  // ----- Other texts -----

  /// "true" when the low eight bits of \a boolean are not all zero, else "false".
  static std::string boolToString(int boolean);

  /// The text between two double quotes. Quotes in it are not escaped.
  static std::string addQuotesToString(const std::string& text);

  /// Root of the volume that a path lies on: the folder one level below "/Volumes", or "/" for every other path, a
  /// relative one included. A leading "~" is expanded first. By the text alone, case-sensitive; none gives none.
  static OptionalString getVolume(const OptionalString& path);

  /// Answers the text as it is. The operation is part of the class's contract but marks nothing.
  static std::string addTranslationSignToString(const std::string& text);
};

}  // namespace hotfix

#endif
