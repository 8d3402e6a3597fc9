#include <gtest/gtest.h>

#include <string>

#include "Platform/darwin/TextNesting.h"
#include "Platform/posix/PropertyListLimits.h"

namespace {

using platform::isShallowPropertyListText;
using platform::kDeepestPropertyList;

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int index = 0; index < count; ++index) result += text;
  return result;
}

std::string xmlDocument(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}

/// Collections in one another, with something in each that must not be taken for the end of one.
std::string nested(const std::string& open, const std::string& between, const std::string& close, int depth) {
  return repeated(open + between, depth) + repeated(close, depth);
}

// One level is the <plist> itself.
constexpr int kDeepestXml = kDeepestPropertyList - 1;

TEST(TextNestingTest, XmlUpToLimitIsShallow) {
  EXPECT_TRUE(isShallowPropertyListText(xmlDocument(nested("<array>", "", "</array>", kDeepestXml))));
  EXPECT_FALSE(isShallowPropertyListText(xmlDocument(nested("<array>", "", "</array>", kDeepestXml + 1))));
  EXPECT_TRUE(isShallowPropertyListText(nested("<dict><key>k</key>", "", "</dict>", kDeepestPropertyList)));
  EXPECT_FALSE(isShallowPropertyListText(nested("<dict><key>k</key>", "", "</dict>", kDeepestPropertyList + 1)));
}

TEST(TextNestingTest, ManyCollectionsBesideOneAnotherAreShallow) {
  const std::string element = "<dict><key>k</key><array/><!-- </dict> --></dict><array><string>]]></string></array>";
  EXPECT_TRUE(isShallowPropertyListText(xmlDocument("<array>" + repeated(element, 20000) + "</array>")));
}

TEST(TextNestingTest, UnclosedXmlIsCounted) {
  EXPECT_FALSE(isShallowPropertyListText(repeated("<array>", 100000)));
  EXPECT_FALSE(isShallowPropertyListText(repeated("<dict a='b'>", 100000)));
  EXPECT_FALSE(isShallowPropertyListText(repeated("<plist>", 100000)));
}

TEST(TextNestingTest, HiddenEndsCloseNothing) {
  for (const char* hidden : {"<!-- > </array>-->", "<?x > </array>?>", "<string><![CDATA[</array>]]></string>"}) {
    EXPECT_FALSE(isShallowPropertyListText(xmlDocument(nested("<array>", hidden, "", kDeepestXml + 1)))) << hidden;
    EXPECT_TRUE(isShallowPropertyListText(xmlDocument(nested("<array>", hidden, "</array>", kDeepestXml)))) << hidden;
  }
}

TEST(TextNestingTest, BehindDocumentTypeWithDeclarationsNothingIsClosed) {
  const std::string type = "<!DOCTYPE plist [ <!ENTITY a \"]>\"> ]>";
  EXPECT_FALSE(isShallowPropertyListText(type + repeated("<array></array>", kDeepestPropertyList + 1)));
  EXPECT_TRUE(isShallowPropertyListText(type + repeated("<array></array>", kDeepestPropertyList)));
}

TEST(TextNestingTest, CommonDocumentTypeDoesNotMatter) {
  const std::string type =
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
  EXPECT_TRUE(isShallowPropertyListText(type + repeated("<array></array>", 5000)));
}

TEST(TextNestingTest, OldStyleUpToLimitIsShallow) {
  EXPECT_TRUE(isShallowPropertyListText(nested("(", "", ")", kDeepestPropertyList)));
  EXPECT_FALSE(isShallowPropertyListText(nested("(", "", ")", kDeepestPropertyList + 1)));
  EXPECT_TRUE(isShallowPropertyListText(nested("{k=", "", ";}", kDeepestPropertyList)));
  EXPECT_FALSE(isShallowPropertyListText(nested("{k=", "", ";}", kDeepestPropertyList + 1)));
  EXPECT_TRUE(isShallowPropertyListText("(" + repeated("{ a = (b); },", 5000) + ")"));
}

TEST(TextNestingTest, OldStyleEndsInTextsAndCommentsCloseNothing) {
  for (const char* hidden : {"\")\",", "')',", "\"\\\")\",", "/* ) */", "// )\n", "a//b, \"\n)\",", "a/*b, \"*/)\","}) {
    EXPECT_FALSE(isShallowPropertyListText(nested("(", hidden, "", kDeepestPropertyList + 1))) << hidden;
  }
}

TEST(TextNestingTest, BracketsInTextsDoNotMatter) {
  const std::string text = xmlDocument("<string>" + repeated("({<", 1) + repeated("({", 5000) + "</string>");
  EXPECT_TRUE(isShallowPropertyListText(text));
}

TEST(TextNestingTest, OtherEncodingsAreSmall) {
  const std::string small(1000, 'x');
  const std::string large(20000, 'x');
  for (const std::string& start : {std::string("\xFE\xFF"), std::string("\xFF\xFE"), std::string("\0<", 2),
                                   std::string("<\0", 2), std::string("<?xml version='1.0' encoding='UTF-7'?>")}) {
    EXPECT_TRUE(isShallowPropertyListText(start + small));
    EXPECT_FALSE(isShallowPropertyListText(start + large));
  }
}

TEST(TextNestingTest, DeclaredAsciiAndLatinAreReadAsTheyAre) {
  const std::string large = "<string>" + std::string(20000, 'x') + "</string>";
  for (const char* encoding : {"UTF-8", "utf-8", "US-ASCII", "ISO-8859-1"}) {
    EXPECT_TRUE(isShallowPropertyListText("<?xml version='1.0' encoding='" + std::string(encoding) + "'?>" + large));
  }
  EXPECT_TRUE(isShallowPropertyListText("\xEF\xBB\xBF<?xml version='1.0'?>" + large));
}

TEST(TextNestingTest, CutTextsAreAnswered) {
  const std::string whole =
      "<?xml version='1.0' encoding='UTF-8'?><!DOCTYPE plist [ <!-- x --> ]><!-- y --><array><![CDATA[z]]></array>";
  for (size_t length = 0; length <= whole.size(); ++length) {
    EXPECT_TRUE(isShallowPropertyListText(whole.substr(0, length))) << length;
  }
  const std::string oldStyle = "{ a = \"b\\\"\"; /* c */ d = ( 'e' ); } // f";
  for (size_t length = 0; length <= oldStyle.size(); ++length) {
    EXPECT_TRUE(isShallowPropertyListText(oldStyle.substr(0, length))) << length;
  }
}

}  // namespace
