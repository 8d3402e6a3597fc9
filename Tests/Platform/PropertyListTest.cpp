#include "Platform/PropertyList.h"
#include "Support/PropertyListWriter.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Dictionary = PropertyListValue::Dictionary;
using platform::readDictionary;
using platform::writeDictionary;

class PropertyListFileTest : public ::testing::Test {
 protected:
  /// What is read from a file of these contents.
  std::string readFrom(const std::string& contents) const {
    const std::optional<Dictionary> dictionary = readDictionary(folder.makeFile("list.plist", contents));
    return dictionary ? shown(PropertyListValue(*dictionary)) : "none";
  }

  TemporaryFolder folder;
};

TEST_F(PropertyListFileTest, DictionaryOfAnyFormIsRead) {
  EXPECT_EQ(readFrom("<plist><dict><key>a</key><string>b</string></dict></plist>"), "{'a': 'b'}");
  EXPECT_EQ(readFrom(richBinaryList()), shown(richList()));
  EXPECT_EQ(readFrom("{ a = b; }"), "{'a': 'b'}");
  EXPECT_EQ(readFrom("a = b;"), "{'a': 'b'}");
  EXPECT_EQ(readFrom("// nothing\n"), "{}");
}

TEST_F(PropertyListFileTest, AnyOtherRootIsNone) {
  for (const char* contents : {"", "hello", "( a )", "<00>", "<string>a</string>", "<array/>", "<true/>", "a = b"}) {
    EXPECT_EQ(readFrom(contents), "none") << contents;
  }
}

TEST_F(PropertyListFileTest, MissingFileOrFolderIsNone) {
  EXPECT_FALSE(readDictionary(folder / "missing"));
  EXPECT_FALSE(readDictionary(folder.makeFolder("folder")));
  EXPECT_FALSE(readDictionary(""));
}

TEST_F(PropertyListFileTest, FileOfMoreThanTheGivenSizeIsNone) {
  const std::string path = folder.makeFile("list.plist", "a = b;");
  EXPECT_TRUE(readDictionary(path, 6));
  EXPECT_FALSE(readDictionary(path, 5));
}

TEST_F(PropertyListFileTest, EncodingsOfTheSystemAreRead) {
  const auto list = [](const std::string& encoding, const std::string& text) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?><string>" + text + "</string>";
  };
  EXPECT_EQ(shown(platform::parsePropertyList(list("windows-1252", "\x80"))), "'\u20AC'");
  EXPECT_EQ(shown(platform::parsePropertyList(list("ISO-8859-15", "\xA4"))), "'\u20AC'");
  EXPECT_EQ(shown(platform::parsePropertyList(list("Shift_JIS", "\x82\xA0"))), "'\u3042'");
  EXPECT_EQ(shown(platform::parsePropertyList(list("Shift_JIS", "\x82"))), "none");
  EXPECT_EQ(shown(platform::parsePropertyList(list("no-such-encoding", "a"))), "none");
  EXPECT_EQ(shown(platform::parsePropertyList(list("ISO-8859-15//TRANSLIT", "a"))), "none");
  EXPECT_EQ(shown(platform::parsePropertyList(std::string("\0\0\xFE\xFF\0\0\0\"\0\1\xF6\0\0\0\0\"", 16))),
            "'\U0001F600'");
  EXPECT_EQ(shown(platform::parsePropertyList(std::string("\xFF\xFE\0\0a\0\0\0", 8))), "'a'");
}

TEST_F(PropertyListFileTest, WrittenDictionaryIsXmlAndReadBack) {
  const Dictionary dictionary = *richList().asDictionary();
  ASSERT_TRUE(writeDictionary(folder / "list.plist", dictionary));
  EXPECT_EQ(folder.read("list.plist"), property_list::toXml(dictionary));
  EXPECT_EQ(folder.names(), std::vector<std::string>{"list.plist"});
  const std::optional<Dictionary> readBack = readDictionary(folder / "list.plist");
  ASSERT_TRUE(readBack);
  EXPECT_EQ(property_list::toXml(*readBack), property_list::toXml(dictionary));
}

TEST_F(PropertyListFileTest, FailedWriteLeavesTheFileAsItWas) {
  folder.makeFile("list.plist", "a = b;");
  EXPECT_FALSE(writeDictionary(folder / "list.plist", Dictionary{{"a", "\xFF"}}));
  EXPECT_EQ(folder.read("list.plist"), "a = b;");
  EXPECT_FALSE(writeDictionary(folder / "list.plist/in a file", Dictionary{{"a", "b"}}));
  EXPECT_FALSE(writeDictionary(folder / "missing/list.plist", Dictionary{{"a", "b"}}));
  EXPECT_EQ(folder.names(), std::vector<std::string>{"list.plist"});
}

}  // namespace

}  // namespace hotfix
