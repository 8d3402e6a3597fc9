#include "MacInstaller/tool/getArgValue.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Arguments = std::vector<std::string>;

TEST(GetArgValueTest, ValueIsTheArgumentAfterTheOption) {
  const Arguments arguments = {"/usr/local/bin/hotfixUninstall", "-rcphome", "/X/rcp", "-rcpdata", "/D"};
  EXPECT_EQ(getArgValue(arguments, "-rcphome"), "/X/rcp");
  EXPECT_EQ(getArgValue(arguments, "-rcpdata"), "/D");
}

TEST(GetArgValueTest, MissingOptionHasNoValue) {
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "/X"}, "-rcpdata"), std::nullopt);
  EXPECT_EQ(getArgValue({"tool"}, "-rcphome"), std::nullopt);
  EXPECT_EQ(getArgValue({}, "-rcphome"), std::nullopt);
}

TEST(GetArgValueTest, OptionThatStandsLastHasNoValue) {
  EXPECT_EQ(getArgValue({"tool", "-rcphome"}, "-rcphome"), std::nullopt);
  EXPECT_EQ(getArgValue({"tool", "-rcpdata", "/D", "-rcphome"}, "-rcphome"), std::nullopt);
}

TEST(GetArgValueTest, ValueMayBeTheLastArgument) {
  EXPECT_EQ(getArgValue({"tool", "x", "-rcphome", "/X"}, "-rcphome"), "/X");
}

TEST(GetArgValueTest, FirstOccurrenceWins) {
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "/1", "-rcphome", "/2"}, "-rcphome"), "/1");
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "/1", "-rcphome"}, "-rcphome"), "/1");
}

TEST(GetArgValueTest, FollowingOptionIsTheValueToo) {
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "-rcpdata", "/D"}, "-rcphome"), "-rcpdata");
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "-rcpdata", "/D"}, "-rcpdata"), "/D");
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "-rcphome"}, "-rcphome"), "-rcphome");
}

TEST(GetArgValueTest, ValueIsAnOptionAgainForTheNextLookup) {
  EXPECT_EQ(getArgValue({"tool", "-rcpdata", "-rcphome", "/X"}, "-rcphome"), "/X");
}

TEST(GetArgValueTest, ProgramPathTakesPartInTheComparison) {
  EXPECT_EQ(getArgValue({"-rcphome", "/X"}, "-rcphome"), "/X");
  EXPECT_EQ(getArgValue({"-rcphome"}, "-rcphome"), std::nullopt);
}

TEST(GetArgValueTest, ComparisonIsExact) {
  const Arguments arguments = {"tool", "-RCPHOME",  "/1", "-rcphome=/2", "--rcphome",
                               "/3",   "-rcphome ", "/4", "-rcp",        "/5"};
  EXPECT_EQ(getArgValue(arguments, "-rcphome"), std::nullopt);
}

TEST(GetArgValueTest, EmptyValueIsAValue) {
  EXPECT_EQ(getArgValue({"tool", "-rcphome", "", "-rcpdata", "/D"}, "-rcphome"), "");
}

}  // namespace

}  // namespace hotfix
