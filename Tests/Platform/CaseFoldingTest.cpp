#include <clocale>

#include "Platform/CaseFolding.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using platform::equalIgnoringCase;
using platform::hasPrefixIgnoringCase;
using platform::lowercased;

const std::string kComposed = "\u00C9cole";     // É in one character
const std::string kDecomposed = "E\u0301cole";  // E and an accent

TEST(CaseFoldingTest, LettersAreLowered) {
  EXPECT_EQ(lowercased(""), "");
  EXPECT_EQ(lowercased("/Apps/Product.APP/x_1"), "/apps/product.app/x_1");
  EXPECT_EQ(lowercased("\u0416\u0434"), "\u0436\u0434");
  EXPECT_EQ(lowercased("\U00010400"), "\U00010428");  // outside the first plane
}

TEST(CaseFoldingTest, LoweredTextsAreInOneCanonicalForm) {
  EXPECT_EQ(lowercased(kComposed), lowercased(kDecomposed));
  EXPECT_EQ(lowercased("\u212B"), lowercased("\u00E5"));                // angstrom sign and a with ring
  EXPECT_EQ(lowercased("\uAC00"), lowercased("\u1100\u1161"));          // a syllable and its two letters
  EXPECT_EQ(lowercased("e\u0323\u0301"), lowercased("e\u0301\u0323"));  // two accents in either order
}

TEST(CaseFoldingTest, LoweringIsTheFullMapping) {
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");                         // I with dot
  EXPECT_EQ(lowercased("\u039F\u03A3"), "\u03BF\u03C2");              // final sigma
  EXPECT_EQ(lowercased("\u039F\u03A3\u039F"), "\u03BF\u03C3\u03BF");  // sigma inside a word
  EXPECT_EQ(lowercased("\u03A3"), "\u03C3");                          // sigma alone
  EXPECT_EQ(lowercased("\u039F\u03A3 \u039F"), "\u03BF\u03C2 \u03BF");
}

TEST(CaseFoldingTest, LoweringKeepsWhatHasNoCase) {
  for (const char* text : {"123 \t\n", "\u65E5\u672C", "\u00DF", "\u2028", "~"}) EXPECT_EQ(lowercased(text), text);
  EXPECT_EQ(lowercased(std::string("A\0B", 3)), std::string("a\0b", 3));
}

TEST(CaseFoldingTest, LocaleDoesNotMatter) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"tr_TR.UTF-8", "C", "C.UTF-8"}) {
    if (std::setlocale(LC_ALL, locale) == nullptr) continue;
    EXPECT_EQ(lowercased("TITLE \u00C9"), "title e\u0301");
    EXPECT_TRUE(equalIgnoringCase("TITLE", "title"));
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST(CaseFoldingTest, BytesThatAreNoUtf8StayAsTheyAre) {
  EXPECT_EQ(lowercased("ABC\xff\xC9Z"), "abc\xff\xC9z");
  EXPECT_EQ(lowercased("\u0416\xff\u0416"), "\u0436\xff\u0436");
  EXPECT_EQ(lowercased("\xC3"), "\xC3");                  // cut short
  EXPECT_EQ(lowercased("\xED\xA0\x80"), "\xED\xA0\x80");  // a lone surrogate
  EXPECT_EQ(lowercased("\xff\xfe"), "\xff\xfe");
}

TEST(CaseFoldingTest, BytesThatAreNoUtf8AreComparedAsTheyAre) {
  EXPECT_TRUE(equalIgnoringCase("ABC\xff", "abc\xff"));
  EXPECT_TRUE(equalIgnoringCase("\u00C9\xff\u00C9", "\u00E9\xff\u00E9"));
  EXPECT_FALSE(equalIgnoringCase("ABC\xff", "abc\xfe"));
  EXPECT_FALSE(equalIgnoringCase("ABC\xff", "abc"));
  EXPECT_FALSE(equalIgnoringCase("\xC9", "\xE9"));  // letters of ISO-8859-1
  EXPECT_FALSE(equalIgnoringCase("\xff", "\u00FF"));
  EXPECT_TRUE(hasPrefixIgnoringCase("/APPS/\xff", "/apps/"));
  EXPECT_FALSE(hasPrefixIgnoringCase("/apps/", "/apps/\xff"));
  EXPECT_TRUE(hasPrefixIgnoringCase("/Apps/Pr\u00D6duct.app/\xff", "/apps/pr\u00F6duct.app/"));
  EXPECT_FALSE(hasPrefixIgnoringCase("/Apps/Pr\u00D6duct.app/\xff", "/apps/pr\u00FCduct.app/"));
}

TEST(CaseFoldingTest, EqualButForCase) {
  EXPECT_TRUE(equalIgnoringCase("", ""));
  EXPECT_TRUE(equalIgnoringCase("com.Apple.JavaAppletPlugin", "COM.apple.javaappletplugin"));
  EXPECT_TRUE(equalIgnoringCase(kComposed, "\u00E9COLE"));
  EXPECT_TRUE(equalIgnoringCase(kComposed, kDecomposed));
  EXPECT_TRUE(equalIgnoringCase("\u03A3", "\u03C2"));  // every sigma is one letter
  EXPECT_FALSE(equalIgnoringCase("Ecole", kComposed));
  EXPECT_FALSE(equalIgnoringCase("a", ""));
  EXPECT_FALSE(equalIgnoringCase("a", "a "));
  EXPECT_FALSE(equalIgnoringCase(std::string("a\0b", 3), "a"));
}

TEST(CaseFoldingTest, PrefixIgnoresCaseAndIsNotEmpty) {
  EXPECT_TRUE(hasPrefixIgnoringCase("/Apps/X.app/Contents", "/apps/x.APP"));
  EXPECT_TRUE(hasPrefixIgnoringCase("same", "SAME"));
  EXPECT_FALSE(hasPrefixIgnoringCase("/Apps/X.app", "/Apps/X.app/Contents"));
  EXPECT_FALSE(hasPrefixIgnoringCase("x/Apps", "/Apps"));
  EXPECT_TRUE(hasPrefixIgnoringCase(kDecomposed, "\u00E9co"));
  EXPECT_TRUE(hasPrefixIgnoringCase(kComposed, "e\u0301CO"));
  EXPECT_FALSE(hasPrefixIgnoringCase("text", ""));
  EXPECT_FALSE(hasPrefixIgnoringCase("", ""));
  EXPECT_FALSE(hasPrefixIgnoringCase("", "a"));
}

TEST(CaseFoldingTest, PrefixDoesNotCutALetterFromItsAccent) {
  EXPECT_FALSE(hasPrefixIgnoringCase("cafe\u0301", "cafe"));
  EXPECT_FALSE(hasPrefixIgnoringCase("caf\u00E9", "cafe"));
  EXPECT_TRUE(hasPrefixIgnoringCase("caf\u00E9", "caf"));
  EXPECT_TRUE(hasPrefixIgnoringCase("cafe\u0301 x", "CAF\u00C9"));
}

TEST(CaseFoldingTest, PrefixDoesNotEndInsideACharacter) {
  EXPECT_FALSE(hasPrefixIgnoringCase("\u00DF", "s"));
  EXPECT_FALSE(hasPrefixIgnoringCase("s\u00DF", "ss"));
  EXPECT_FALSE(hasPrefixIgnoringCase("s\u00DF", "\u00DF"));
  EXPECT_TRUE(hasPrefixIgnoringCase("\u00DFx", "SS"));
  EXPECT_TRUE(hasPrefixIgnoringCase("ssx", "\u00DF"));
  EXPECT_FALSE(hasPrefixIgnoringCase("\uFB01n", "f"));
  EXPECT_TRUE(hasPrefixIgnoringCase("\uFB01n", "FI"));
  // An iota subscript becomes a letter when case is ignored.
  EXPECT_FALSE(hasPrefixIgnoringCase("\u1FB3", "\u03B1"));
  EXPECT_FALSE(hasPrefixIgnoringCase("\u03B1\u0345", "\u03B1"));
  EXPECT_TRUE(hasPrefixIgnoringCase("\u1FB3", "\u0391\u0345"));
}

TEST(CaseFoldingTest, PrefixDoesNotEndInsideAKoreanSyllable) {
  constexpr char kGa[] = "\uAC00";
  constexpr char kGag[] = "\uAC01";
  EXPECT_FALSE(hasPrefixIgnoringCase(kGag, kGa));
  EXPECT_FALSE(hasPrefixIgnoringCase("\u1100\u1161\u11A8", kGa));
  EXPECT_FALSE(hasPrefixIgnoringCase("\uAC00\u11A8", kGa));
  EXPECT_FALSE(hasPrefixIgnoringCase(kGa, "\u1100"));
  EXPECT_FALSE(hasPrefixIgnoringCase("\uA960\uD7B0\uD7CB", "\uA960\uD7B0"));
  EXPECT_TRUE(hasPrefixIgnoringCase(kGag, "\u1100\u1161\u11A8"));
  EXPECT_TRUE(hasPrefixIgnoringCase("\uAC00\uAC01", kGa));
  EXPECT_TRUE(hasPrefixIgnoringCase("\uAC00x", kGa));
}

TEST(CaseFoldingTest, LongTextsAreComparedWhole) {
  const std::string text = std::string(100'000, 'A') + "\u00C9";
  EXPECT_TRUE(equalIgnoringCase(text, std::string(100'000, 'a') + "e\u0301"));
  EXPECT_EQ(lowercased(text).size(), 100'003U);
}

}  // namespace

}  // namespace hotfix
