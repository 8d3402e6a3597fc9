#include "MacInstaller/Properties.h"
#include "Tests/MacInstaller/PropertiesHelpers.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Lines = std::vector<std::string>;

constexpr char kListStart[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

/// The text of a written property list around that of its dictionary.
std::string list(const std::string& dictionary) { return kListStart + dictionary + "\n</plist>\n"; }

class PropertiesTest : public FakeHostTest {
 protected:
  /// What an object without a dictionary does: nothing, anywhere.
  void expectInert(Properties& properties) const {
    EXPECT_EQ(properties.getPropertyForKey("k"), std::nullopt);
    EXPECT_EQ(properties.getTextForKey("k"), std::nullopt);
    EXPECT_FALSE(properties.setProperty("v", "k"));
    EXPECT_FALSE(properties.setProperty(std::nullopt, "k"));
    properties.removePropertyForKey("k");
    properties.removeAllProperties();
    EXPECT_FALSE(properties.savePropertiesToFile(std::nullopt));
    EXPECT_FALSE(properties.savePropertiesToFile(folder / "explicit"));
    EXPECT_FALSE(folder.has("explicit"));
    EXPECT_EQ(properties.getPropertyForKey("k"), std::nullopt);
    EXPECT_TRUE(log().empty());
  }
};

// ----- Making -----

TEST_F(PropertiesTest, NewObjectIsAnEmptyDictionaryWithoutAFile) {
  Properties properties;
  EXPECT_EQ(properties.getPropertyForKey("k"), std::nullopt);
  EXPECT_TRUE(properties.setProperty("v", "k"));
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue("v"));
  EXPECT_EQ(properties.getTextForKey(nullptr), std::nullopt);
  EXPECT_TRUE(properties.setProperty(std::nullopt, "k"));
  EXPECT_FALSE(properties.getPropertyForKey("k"));
}

TEST_F(PropertiesTest, PathOfNoReadableFileGivesAnInertObject) {
  folder.makeLink("broken link", "nowhere");
  folder.makeFile("folder/inside", "text");
  folder.makeFifo("fifo");
  for (const char* name : {"missing", "broken link", "folder", "fifo"}) {
    SCOPED_TRACE(name);
    Properties properties(folder / name);
    expectInert(properties);
  }
  Properties withoutPath{OptionalString()};
  expectInert(withoutPath);
  EXPECT_EQ(folder.names(), (Lines{"broken link", "fifo", "folder", "outside"}));
  EXPECT_EQ(folder.names("folder"), (Lines{"inside"}));
}

TEST_F(PropertiesTest, MissingFileStaysMissingAlsoWhenItAppearsLater) {
  Properties properties(folder / "file");
  folder.makeFile("file", "{ k = v; }");
  expectInert(properties);
}

TEST_F(PropertiesTest, WhatIsNoDictionaryGivesAnInertObjectAndIsLeft) {
  for (const char* content : {"", "no list {", "( a, b )", "bplist00"}) {
    SCOPED_TRACE(content);
    folder.makeFile("file", content);
    Properties properties(folder / "file");
    expectInert(properties);
    Properties given(folder / "file", content);
    expectInert(given);
    EXPECT_EQ(folder.read("file"), content);
  }
}

TEST_F(PropertiesTest, ListOfAnyFormIsSavedAsXml) {
  for (const char* content :
       {"<plist><dict><key>k</key><array><string>v</string></array></dict></plist>", "{ k = ( v ); }", "k = ( v );"}) {
    const Properties properties(folder.makeFile("file", content));
    EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue(Array{"v"})) << content;
    EXPECT_TRUE(properties.savePropertiesToFile(folder / "saved"));
    EXPECT_EQ(folder.read("saved"),
              list("<dict>\n\t<key>k</key>\n\t<array>\n\t\t<string>v</string>\n\t</array>\n</dict>"));
  }
}

TEST_F(PropertiesTest, TildeInAPathIsExpanded) {
  if (!hasHome()) GTEST_SKIP() << "the user has no home folder";
  folder.makeFile("file", "{ k = v; }");
  Properties properties(throughHome(folder / "file"));
  EXPECT_TRUE(properties.setProperty("w", "k"));
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(Properties(folder / "file").getPropertyForKey("k"), PropertyListValue("w"));
  EXPECT_TRUE(properties.savePropertiesToFile(throughHome(folder / "other")));
  EXPECT_EQ(folder.read("other"), folder.read("file"));
}

TEST_F(PropertiesTest, GivenContentsStandForTheFile) {
  Properties properties(folder / "file", "{ k = v; }");
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue("v"));
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), list("<dict>\n\t<key>k</key>\n\t<string>v</string>\n</dict>"));
}

// ----- Entries -----

TEST_F(PropertiesTest, SetReplacesAnEarlierValueAndRemovesItForAnAbsentOne) {
  Properties properties;
  EXPECT_TRUE(properties.setProperty("1", "k"));
  EXPECT_TRUE(properties.setProperty(PropertyListValue(true), "k"));
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue(true));
  for (int time = 0; time < 2; ++time) {  // the second time there is nothing to remove
    EXPECT_TRUE(properties.setProperty(std::nullopt, "k"));
    EXPECT_EQ(properties.getPropertyForKey("k"), std::nullopt);
  }
}

TEST_F(PropertiesTest, EmptyKeyIsAKeyAndAnAbsentOneIsNot) {
  Properties properties;
  EXPECT_TRUE(properties.setProperty("v", ""));
  EXPECT_FALSE(properties.setProperty("v", std::nullopt));
  EXPECT_FALSE(properties.setProperty(std::nullopt, std::nullopt));
  properties.removePropertyForKey(std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey(std::nullopt), std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey(""), PropertyListValue("v"));
  EXPECT_TRUE(log().empty());
}

TEST_F(PropertiesTest, RemoveTakesOneKeyAway) {
  Properties properties;
  properties.setProperty("1", "a");
  properties.setProperty("2", "b");
  properties.removePropertyForKey("a");
  properties.removePropertyForKey("missing");
  EXPECT_EQ(properties.getPropertyForKey("a"), std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey("b"), PropertyListValue("2"));
}

TEST_F(PropertiesTest, RemoveAllLeavesAnEmptyDictionaryThatCanBeUsed) {
  Properties properties;
  properties.setProperty("1", "a");
  properties.removeAllProperties();
  EXPECT_EQ(properties.getPropertyForKey("a"), std::nullopt);
  EXPECT_TRUE(properties.setProperty("2", "b"));
}

TEST_F(PropertiesTest, TextOfAKeyIsOnlyAText) {
  Properties properties;
  properties.setProperty("v", "text");
  properties.setProperty("", "empty");
  properties.setProperty(PropertyListValue(true), "boolean");
  properties.setProperty(PropertyListValue::integer(1), "integer");
  EXPECT_EQ(properties.getTextForKey("text"), "v");
  EXPECT_EQ(properties.getTextForKey("empty"), "");
  EXPECT_EQ(properties.getTextForKey("boolean"), std::nullopt);
  EXPECT_EQ(properties.getTextForKey("integer"), std::nullopt);
  EXPECT_EQ(properties.getTextForKey("missing"), std::nullopt);
}

TEST_F(PropertiesTest, MovedObjectHasTheEntriesAndTheFile) {
  folder.makeFile("file", "{ k = v; }");
  Properties first(folder / "file");
  Properties second;
  second = std::move(first);
  second.setProperty("w", "k");
  EXPECT_TRUE(second.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(Properties(folder / "file").getPropertyForKey("k"), PropertyListValue("w"));
}

// ----- Saving -----

TEST_F(PropertiesTest, SaveWithNeitherPathNorFileWritesNothing) {
  Properties properties;
  properties.setProperty("v", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.names(), (Lines{"outside"}));
}

TEST_F(PropertiesTest, SaveToAPathLeavesTheBackingFileAlone) {
  folder.makeFile("file", "{ k = v; }");
  EXPECT_TRUE(Properties(folder / "file").savePropertiesToFile(folder / "other"));
  EXPECT_EQ(folder.read("file"), "{ k = v; }");
  EXPECT_EQ(Properties(folder / "other").getPropertyForKey("k"), PropertyListValue("v"));
}

TEST_F(PropertiesTest, FailedWriteIsNotTold) {
  folder.makeFile("plain", "text");
  folder.makeFile("folder/inside", "text");
  Properties properties;
  properties.setProperty("v", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(folder / "plain/file"));
  EXPECT_TRUE(properties.savePropertiesToFile(folder / "missing/file"));
  EXPECT_TRUE(properties.savePropertiesToFile(folder / "folder"));
  EXPECT_TRUE(properties.savePropertiesToFile(OptionalString("")));
  EXPECT_EQ(folder.names(), (Lines{"folder", "outside", "plain"}));
  EXPECT_EQ(folder.names("folder"), (Lines{"inside"}));
  EXPECT_TRUE(log().empty());
}

TEST_F(PropertiesTest, FileThatCannotBeReadIsNeverReplaced) {
  const std::string fifo = folder.makeFifo("fifo");  // there, but nothing to read from
  const Properties unread(fifo);
  EXPECT_FALSE(unread.savePropertiesToFile(std::nullopt));
  EXPECT_FALSE(unread.savePropertiesToFile(folder / "other"));  // nothing to save
  EXPECT_TRUE(Properties(folder.makeFile("file", "{ k = v; }")).savePropertiesToFile(fifo));
  EXPECT_TRUE(log().empty());
  EXPECT_TRUE(S_ISFIFO(folder.attributes("fifo").st_mode));
  EXPECT_EQ(folder.names(), (Lines{"fifo", "file", "outside"}));
}

TEST_F(PropertiesTest, TextThatNoListCanHoldKeepsTheOldFile) {
  folder.makeFile("file", "{ k = v; }");
  Properties properties(folder / "file");
  properties.setProperty("\xFF", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), "{ k = v; }");
}

TEST_F(PropertiesTest, SaveReplacesTheFileAlsoWhereItIsALink) {
  folder.makeFile("file", "{ k = v; }", 0640);
  ASSERT_EQ(link((folder / "file").c_str(), (folder / "second name").c_str()), 0);
  folder.makeLink("link", "second name");
  for (const char* name : {"file", "link"}) {
    EXPECT_TRUE(Properties(folder / name).savePropertiesToFile(std::nullopt));
    EXPECT_TRUE(S_ISREG(folder.attributes(name).st_mode)) << name;
    EXPECT_EQ(folder.mode(name), 0640U) << name;
  }
  EXPECT_EQ(folder.read("second name"), "{ k = v; }");
  EXPECT_EQ(folder.names(), (Lines{"file", "link", "outside", "second name"}));
}

}  // namespace

}  // namespace hotfix
