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

TEST_F(BundleTest, IdentifierIsTheTextOfTheInformationList) {
  const std::pair<const char*, OptionalString> rows[] = {
      {"<plist><dict><key>CFBundleIdentifier</key><string>com.qor.plug</string></dict></plist>", "com.qor.plug"},
      {"{ CFBundleIdentifier = another; }", "another"},
      {"{ CFBundleIdentifier = \"\"; }", ""},
      {"{ Other = x; }", {}},
      {"{ cfbundleidentifier = x; }", {}},
      {"{ CFBundleIdentifier = ( x ); }", {}},
      {"<plist><dict><key>CFBundleIdentifier</key><true/></dict></plist>", {}},
      {"{ CFBundleIdentifier = x }", {}},
      {"( CFBundleIdentifier )", {}},
      {"junk", {}},
      {"", {}},
  };
  for (const auto& [list, expected] : rows) {
    folder.makeFile(kInformation, list);
    EXPECT_EQ(identifier(), expected) << list;
  }
}

TEST_F(BundleTest, BundleIsFoundThroughALinkAndBeforeASlash) {
  folder.makeFile(kInformation, "{ CFBundleIdentifier = com.qor.plug; }");
  folder.makeLink("link", "Plug.plugin");
  EXPECT_EQ(bundleIdentifier(folder / "Plug.plugin/"), "com.qor.plug");
  EXPECT_EQ(bundleIdentifier(folder / "link"), "com.qor.plug");
}

TEST_F(BundleTest, WhatIsNoFolderWithAListHasNoIdentifier) {
  EXPECT_FALSE(bundleIdentifier(""));
  EXPECT_FALSE(identifier());
  folder.makeFolder("Plug.plugin/Contents");
  EXPECT_FALSE(identifier());
  folder.makeFifo(kInformation);
  EXPECT_FALSE(identifier());
  folder.makeFile("File.plugin", "{ CFBundleIdentifier = com.qor.plug; }");
  EXPECT_FALSE(bundleIdentifier(folder / "File.plugin"));
}

}  // namespace

}  // namespace hotfix
