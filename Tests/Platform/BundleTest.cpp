#include "Platform/Bundle.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using platform::bundleIdentifier;

constexpr char kInformation[] = "Plug.plugin/Contents/Info.plist";

class BundleTest : public ::testing::Test {
 protected:
  OptionalString identifier() const { return bundleIdentifier(folder / "Plug.plugin"); }

  TemporaryFolder folder;
};

TEST_F(BundleTest, IdentifierIsThatOfTheInformationList) {
  folder.makeFile(kInformation,
                  "<plist><dict><key>CFBundleIdentifier</key><string>com.qor.plug</string></dict></plist>");
  EXPECT_EQ(identifier(), "com.qor.plug");
  EXPECT_EQ(bundleIdentifier(folder / "Plug.plugin/"), "com.qor.plug");
  folder.makeLink("link", "Plug.plugin");
  EXPECT_EQ(bundleIdentifier(folder / "link"), "com.qor.plug");
}

TEST_F(BundleTest, ChangedListIsSeen) {
  folder.makeFile(kInformation, "{ CFBundleIdentifier = first; }");
  EXPECT_EQ(identifier(), "first");
  folder.makeFile(kInformation, "{ CFBundleIdentifier = second; }");
  EXPECT_EQ(identifier(), "second");
}

TEST_F(BundleTest, EmptyIdentifierIsOne) {
  folder.makeFile(kInformation, "{ CFBundleIdentifier = \"\"; }");
  EXPECT_EQ(identifier(), "");
}

TEST_F(BundleTest, NoFolderIsNoBundle) {
  EXPECT_FALSE(identifier());
  EXPECT_FALSE(bundleIdentifier(""));
  folder.makeFile("Plug.plugin", "{ CFBundleIdentifier = com.qor.plug; }");
  EXPECT_FALSE(identifier());
}

TEST_F(BundleTest, FolderWithoutAListHasNoIdentifier) {
  folder.makeFolder("Plug.plugin/Contents");
  EXPECT_FALSE(identifier());
}

TEST_F(BundleTest, UnreadableListHasNoIdentifier) {
  for (const char* text : {"", "junk", "{ CFBundleIdentifier = x }", "( CFBundleIdentifier )"}) {
    folder.makeFile(kInformation, text);
    EXPECT_FALSE(identifier()) << text;
  }
}

TEST_F(BundleTest, ListWithoutTextForTheKeyHasNoIdentifier) {
  for (const char* text : {"{ Other = x; }", "{ cfbundleidentifier = x; }", "{ CFBundleIdentifier = ( x ); }",
                           "<plist><dict><key>CFBundleIdentifier</key><true/></dict></plist>"}) {
    folder.makeFile(kInformation, text);
    EXPECT_FALSE(identifier()) << text;
  }
}

TEST_F(BundleTest, FifoForAListHasNoIdentifier) {
  folder.makeFifo(kInformation);
  EXPECT_FALSE(identifier());
}

}  // namespace

}  // namespace hotfix
