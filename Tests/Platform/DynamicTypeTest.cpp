#include "Platform/darwin/DynamicType.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

TEST(DynamicTypeTest, NameBecomesIdentifierDownToItsLastBit) {
  EXPECT_EQ(platform::dynamicPasteboardType("ERROR_MESSAGE"), "dyn.ah62d4rv4gu8ynywwm7mf8xnfnrmycv4f");
  EXPECT_NE(platform::dynamicPasteboardType("a"), platform::dynamicPasteboardType("`"));
}

TEST(DynamicTypeTest, LengthFollowsFromBits) {
  // Seven characters before the name, eight bits each, five bits a digit, rounded up; "dyn.a" before them.
  for (const size_t length : {0U, 1U, 2U, 3U, 4U, 5U, 40U}) {
    EXPECT_EQ(platform::dynamicPasteboardType(std::string(length, 'x')).size(), 5 + ((7 + length) * 8 + 4) / 5)
        << length;
  }
}

}  // namespace

}  // namespace hotfix
