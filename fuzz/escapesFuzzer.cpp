// The escapes of properties files and the other texts of StringUtil. The input is UTF-8, and UTF-16 in big-endian
// bytes.

#include <algorithm>
#include <string>
#include <vector>

#include "MacInstaller/StringUtil.h"
#include "Support/TextEncoding.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

using fuzz::require;

bool isPlain(const std::u16string& text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit >= 0x20 && unit <= 0x7E; });
}

/// The text that is meant by one whose backslashes all begin an escape, as other readers of properties files see it.
std::u16string meantBy(const std::u16string& escaped) {
  std::u16string result;
  for (size_t index = 0; index < escaped.size(); ++index) {
    if (escaped[index] == u'\\' && index + 1 < escaped.size()) {
      ++index;
      if (escaped[index] == u'u') {
        require(index + 4 < escaped.size(), "an escape has four digits");
        const std::u16string digits = escaped.substr(index + 1, 4);
        result += static_cast<char16_t>(std::stoul(std::string(digits.begin(), digits.end()), nullptr, 16));
        index += 4;
        continue;
      }
    }
    result += escaped[index];
  }
  return result;
}

void checkEscapes(const std::u16string& text) {
  const std::u16string key = StringUtil::convertNSStringTo8859_1Key(text);
  const std::u16string value = StringUtil::convertNSStringTo8859_1Value(text);
  require(isPlain(key) && isPlain(value), "escaped text is plain ASCII");
  require(meantBy(key) == text, "an escaped key means the key");
  const bool holdsEscape = text.find(u"\\u") != std::u16string::npos;
  if (!holdsEscape) require(meantBy(value) == text, "an escaped value means the value");
  if (text.find_first_of(u"#!=:\\") == std::u16string::npos) {
    require(StringUtil::convertUnicode2Characters(value) == text, "a value without marks is decoded to itself");
    if (text.find(u' ') == std::u16string::npos) {
      require(StringUtil::convertUnicode2Characters(key) == text, "a key without marks is decoded to itself");
    }
  }

  const std::u16string decoded = StringUtil::convertUnicode2Characters(text);
  require(decoded.size() <= text.size(), "decoding makes no text longer");
  require((text.size() - decoded.size()) % 5 == 0, "an escape of six units stands for one");
  if (!holdsEscape) require(decoded == text, "a text without escapes is decoded to itself");
}

void checkUnits(const std::u16string& text) {
  require(!StringUtil::charAtIndex(static_cast<std::int32_t>(text.size()), text), "no unit is past the end");
  require(!StringUtil::charAtIndex(-1, text), "no unit is before the start");
  std::u16string copy;
  for (size_t index = 0; index < text.size(); ++index) {
    copy += StringUtil::charAtIndex(static_cast<std::int32_t>(index), text).value_or(u"none");
  }
  require(copy == text, "the units make up the text");
}

/// What replacing from the end is: replacing from the start, all turned round.
std::string replacedFromEnd(std::string source, std::string target, std::string with) {
  for (std::string* text : {&source, &target, &with}) std::reverse(text->begin(), text->end());
  std::string result;
  for (size_t at = 0; at < source.size();) {
    if (!target.empty() && source.compare(at, target.size(), target) == 0) {
      result += with;
      at += target.size();
    } else {
      result += source[at++];
    }
  }
  std::reverse(result.begin(), result.end());
  return result;
}

/// Three texts with a line feed between them.
void checkPlaceholders(const std::string& input) {
  std::vector<std::string> texts(1);
  for (const char c : input) {
    if (c == '\n' && texts.size() < 3) {
      texts.emplace_back();
    } else {
      texts.back() += c;
    }
  }
  texts.resize(3);
  require(StringUtil::stringByReplacingOccurrencesOfString(texts[2], texts[0], texts[1]) ==
              replacedFromEnd(texts[2], texts[0], texts[1]),
          "occurrences are replaced from the end on");
  require(StringUtil::stringByReplacingOccurrencesOfString(texts[2], texts[0], texts[0]) == texts[2],
          "a text in its own place changes nothing");

  const std::vector<std::string> same(input.size(), "%@");
  require(StringUtil::bindString(input, same) == input, "a placeholder in its own place changes nothing");
  const OptionalString bound = StringUtil::bindString(input, std::vector<std::string>{texts[0]});
  require(bound.has_value(), "a template gives a text");
  require(StringUtil::addQuotesToString(input).size() == input.size() + 2, "quotes are two characters");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = fuzz::textOf(data, size);
  const std::u16string characters = text::utf16FromUtf8(bytes);
  std::u16string units;
  for (size_t index = 0; index + 1 < size; index += 2) {
    units += static_cast<char16_t>(data[index] << 8 | data[index + 1]);
  }
  checkEscapes(characters);
  checkEscapes(units);
  checkUnits(units);
  checkPlaceholders(bytes);
  return 0;
}

}  // namespace hotfix
