#include "MacInstaller/StringUtil.h"
#include "Tests/Laws/Random.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using laws::forCases;
using laws::Random;

bool isPlain(const std::u16string& text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit >= 0x20 && unit <= 0x7E; });
}

TEST(EscapeLawsTest, EscapedTextIsPlainAscii) {
  forCases(3000, [](Random& random) {
    const std::u16string text = random.units(40, u"\\#!=: \t\nuX~\u0080");
    EXPECT_TRUE(isPlain(StringUtil::convertNSStringTo8859_1Key(text)));
    EXPECT_TRUE(isPlain(StringUtil::convertNSStringTo8859_1Value(text)));
  });
}

TEST(EscapeLawsTest, TextWithoutMarksIsDecodedToItself) {
  forCases(3000, [](Random& random) {
    std::u16string text = random.units(40, u"\t\nuX~\u0080\u00E9");
    text.erase(
        std::remove_if(text.begin(), text.end(),
                       [](char16_t unit) { return std::u16string(u"#!=:\\ ").find(unit) != std::u16string::npos; }),
        text.end());
    EXPECT_TRUE(StringUtil::convertUnicode2Characters(StringUtil::convertNSStringTo8859_1Key(text)) == text);
    EXPECT_TRUE(StringUtil::convertUnicode2Characters(StringUtil::convertNSStringTo8859_1Value(text)) == text);
  });
}

TEST(EscapeLawsTest, ValueThatHoldsEscapesPassesUnchanged) {
  forCases(1000, [](Random& random) {
    std::u16string value;
    for (size_t left = random.below(10); left > 0; --left) {
      if (random.isOneIn(2)) {
        value += u"\\u";
        StringUtil::addHexDigits(static_cast<std::uint16_t>(random.below(0x10000)), value);
      } else {
        value += static_cast<char16_t>('a' + random.below(26));
      }
    }
    EXPECT_TRUE(StringUtil::convertNSStringTo8859_1Value(value) == value);
  });
}

}  // namespace

}  // namespace hotfix
