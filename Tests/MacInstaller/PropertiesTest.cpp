#include "MacInstaller/Properties.h"
#include "Platform/FileManager.h"
#include "Platform/UserIdentity.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using Dictionary = PropertyListValue::Dictionary;
using Lines = std::vector<std::string>;

constexpr char kListStart[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

/// The text of a written property list around that of its dictionary.
std::string list(const std::string& dictionary) { return kListStart + dictionary + "\n</plist>\n"; }

class PropertiesTest : public FakeHostTest {
 protected:
  static bool hasHome() { return platform::exists(platform::homeFolder().value_or("")); }

  /// The same file by a path that begins with "~".
  std::string throughHome(const std::string& relativePath) const {
    std::string path = "~";
    for (int level = 0; level < 32; ++level) path += "/..";
    return path + folder / relativePath;
  }

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

TEST_F(PropertiesTest, MissingFileGivesAnInertObject) {
  Properties properties(folder / "file");
  expectInert(properties);
  EXPECT_FALSE(folder.has("file"));
}

TEST_F(PropertiesTest, MissingFileStaysMissingAlsoWhenItAppearsLater) {
  Properties properties(folder / "file");
  folder.makeFile("file", "{ k = v; }");
  expectInert(properties);
}

TEST_F(PropertiesTest, AbsentPathGivesAnInertObject) {
  Properties properties{OptionalString()};
  expectInert(properties);
}

TEST_F(PropertiesTest, BrokenLinkGivesAnInertObject) {
  folder.makeLink("link", "nowhere");
  Properties properties(folder / "link");
  expectInert(properties);
}

TEST_F(PropertiesTest, WhatIsNoDictionaryGivesAnInertObject) {
  const std::string contents[] = {
      "",
      "no list {",
      "just-a-string",
      "( a, b )",
      list("<array>\n\t<dict/>\n</array>"),
      list("<string>text</string>"),
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key></dict></plist>",
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key><string>v</string>",
      "bplist00",
      "bplist00 and more, but no trailer that fits",
      std::string("\0\0\0", 3),
  };
  for (const std::string& content : contents) {
    SCOPED_TRACE(content);
    folder.makeFile("file", content);
    Properties properties(folder / "file");
    expectInert(properties);
    EXPECT_EQ(folder.read("file"), content);
  }
}

TEST_F(PropertiesTest, FolderGivesAnInertObject) {
  folder.makeFile("folder/inside", "text");
  Properties properties(folder / "folder");
  expectInert(properties);
  EXPECT_EQ(folder.names("folder"), (Lines{"inside"}));
}

TEST_F(PropertiesTest, FifoGivesAnInertObjectWithoutWaiting) {
  Properties properties(folder.makeFifo("fifo"));
  expectInert(properties);
}

TEST_F(PropertiesTest, EveryFormOfAListIsRead) {
  // One entry, "k": "v"; the offsets of the three objects follow them, then the trailer.
  const std::string binary = std::string(
                                 "bplist00\xD1\x01\x02Qk"
                                 "Qv\x08\x0B\x0D",
                                 18) +
                             std::string(6, '\0') + std::string("\1\1", 2) + std::string(7, '\0') + '\3' +
                             std::string(8, '\0') + std::string(7, '\0') + '\x0F';
  for (const std::string& content : {list("<dict>\n\t<key>k</key>\n\t<string>v</string>\n</dict>"),
                                     std::string("{ k = v; }"), std::string("k = v;"), binary}) {
    folder.makeFile("file", content);
    const Properties properties(folder / "file");
    EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue("v")) << content;
    EXPECT_TRUE(properties.savePropertiesToFile(folder / "saved"));
    EXPECT_EQ(folder.read("saved"), list("<dict>\n\t<key>k</key>\n\t<string>v</string>\n</dict>"));
  }
}

TEST_F(PropertiesTest, FileOfBlanksIsAnEmptyDictionary) {
  folder.makeFile("file", " \n");
  Properties properties(folder / "file");
  EXPECT_TRUE(properties.setProperty("v", "k"));
}

TEST_F(PropertiesTest, TildeInThePathIsExpanded) {
  if (!hasHome()) GTEST_SKIP() << "the user has no home folder";
  folder.makeFile("file", "{ k = v; }");
  EXPECT_EQ(Properties(throughHome("file")).getPropertyForKey("k"), PropertyListValue("v"));
}

TEST_F(PropertiesTest, GivenContentsStandForTheFile) {
  Properties properties(folder / "file", "{ k = v; }");
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue("v"));
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), list("<dict>\n\t<key>k</key>\n\t<string>v</string>\n</dict>"));
}

TEST_F(PropertiesTest, GivenContentsThatAreNoDictionaryGiveAnInertObject) {
  Properties properties(folder / "file", "( a )");
  expectInert(properties);
  EXPECT_FALSE(folder.has("file"));
}

// ----- Entries -----

TEST_F(PropertiesTest, SetReplacesAnEarlierValue) {
  Properties properties;
  EXPECT_TRUE(properties.setProperty("1", "k"));
  EXPECT_TRUE(properties.setProperty(PropertyListValue(true), "k"));
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue(true));
}

TEST_F(PropertiesTest, SetOfAnAbsentValueRemovesTheKey) {
  Properties properties;
  properties.setProperty("v", "k");
  EXPECT_TRUE(properties.setProperty(std::nullopt, "k"));
  EXPECT_EQ(properties.getPropertyForKey("k"), std::nullopt);
  EXPECT_TRUE(properties.setProperty(std::nullopt, "k"));
}

TEST_F(PropertiesTest, AbsentKeyIsNeverThere) {
  Properties properties;
  EXPECT_FALSE(properties.setProperty("v", std::nullopt));
  EXPECT_FALSE(properties.setProperty(std::nullopt, std::nullopt));
  properties.setProperty("v", "k");
  properties.removePropertyForKey(std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey(std::nullopt), std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey("k"), PropertyListValue("v"));
  EXPECT_TRUE(log().empty());
}

TEST_F(PropertiesTest, EmptyKeyIsAKey) {
  Properties properties;
  EXPECT_TRUE(properties.setProperty("v", ""));
  EXPECT_EQ(properties.getPropertyForKey(""), PropertyListValue("v"));
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

TEST_F(PropertiesTest, SaveWritesEveryTypeAsItWasRead) {
  const std::string text = list(
      "<dict>\n"
      "\t<key>array</key>\n\t<array>\n\t\t<string>a &amp; b</string>\n\t\t<array/>\n\t</array>\n"
      "\t<key>boolean</key>\n\t<false/>\n"
      "\t<key>data</key>\n\t<data>\n\tAAEC\n\t</data>\n"
      "\t<key>date</key>\n\t<date>2026-11-15T20:25:07Z</date>\n"
      "\t<key>dictionary</key>\n\t<dict>\n\t\t<key>inner</key>\n\t\t<true/>\n\t</dict>\n"
      "\t<key>empty</key>\n\t<string></string>\n"
      "\t<key>integer</key>\n\t<integer>-42</integer>\n"
      "\t<key>real</key>\n\t<real>0.5</real>\n"
      "\t<key>unsigned</key>\n\t<integer>18446744073709551615</integer>\n"
      "</dict>");
  folder.makeFile("file", text);
  EXPECT_TRUE(Properties(folder / "file").savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), text);
}

TEST_F(PropertiesTest, SaveWritesKeysSorted) {
  Properties properties;
  for (const char* key : {"b", "a", "B", "9", "10"}) properties.setProperty("", key);
  properties.savePropertiesToFile(folder / "file");
  EXPECT_EQ(folder.read("file"),
            list("<dict>\n\t<key>10</key>\n\t<string></string>\n\t<key>9</key>\n\t<string></string>\n"
                 "\t<key>B</key>\n\t<string></string>\n\t<key>a</key>\n\t<string></string>\n"
                 "\t<key>b</key>\n\t<string></string>\n</dict>"));
}

TEST_F(PropertiesTest, SaveOfAnEmptyDictionary) {
  EXPECT_TRUE(Properties().savePropertiesToFile(folder / "file"));
  EXPECT_EQ(folder.read("file"), list("<dict/>"));
}

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

TEST_F(PropertiesTest, SaveExpandsTheTilde) {
  if (!hasHome()) GTEST_SKIP() << "the user has no home folder";
  EXPECT_TRUE(Properties().savePropertiesToFile(throughHome("file")));
  EXPECT_TRUE(folder.has("file"));
}

TEST_F(PropertiesTest, BackingFileOfATildePathIsWrittenInItsPlace) {
  if (!hasHome()) GTEST_SKIP() << "the user has no home folder";
  folder.makeFile("file", "{ k = v; }");
  Properties properties(throughHome("file"));
  properties.setProperty("w", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(Properties(folder / "file").getPropertyForKey("k"), PropertyListValue("w"));
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

TEST_F(PropertiesTest, FileThatIsNoDictionaryIsLeftSilently) {
  const Properties other(folder.makeFile("file", "( a )"));
  EXPECT_FALSE(other.savePropertiesToFile(std::nullopt));
  EXPECT_TRUE(log().empty());
}

TEST_F(PropertiesTest, TextThatNoListCanHoldKeepsTheOldFile) {
  folder.makeFile("file", "{ k = v; }");
  Properties properties(folder / "file");
  properties.setProperty("\xFF", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), "{ k = v; }");
}

TEST_F(PropertiesTest, SaveReplacesTheFileAndKeepsItsMode) {
  folder.makeFile("target", "{ k = v; }", 0640);
  ASSERT_EQ(link((folder / "target").c_str(), (folder / "second name").c_str()), 0);
  Properties(folder / "target").savePropertiesToFile(std::nullopt);
  EXPECT_EQ(folder.mode("target"), 0640U);
  EXPECT_EQ(folder.read("second name"), "{ k = v; }");
  EXPECT_EQ(folder.names(), (Lines{"outside", "second name", "target"}));
}

TEST_F(PropertiesTest, SaveReplacesALink) {
  folder.makeFile("target", "{ k = v; }");
  folder.makeLink("link", "target");
  Properties(folder / "link").savePropertiesToFile(std::nullopt);
  EXPECT_TRUE(S_ISREG(folder.attributes("link").st_mode));
  EXPECT_EQ(folder.read("target"), "{ k = v; }");
}

}  // namespace

}  // namespace hotfix
