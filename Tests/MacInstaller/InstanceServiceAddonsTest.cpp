#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;

constexpr char kRegistry[] = "addonInfo.plist";

// ----- Add-on registry -----

class AddonRegistryTest : public InstanceTest {
 protected:
  void writeRegistry(const std::string& contents) const { folder.makeFile(inHome(kRegistry), contents); }

  /// A registry of three add-ons, out of alphabetical order, and its entries.
  static constexpr char kAddons[] =
      "<plist><dict><key>other</key><string>ignored</string><key>addons</key><array>"
      "<dict><key>version</key><string>1.0</string><key>ID</key><string>addon.z</string>"
      "<key>CFBundleIdentifier</key><string>com.qor.addon.z</string><key>integer</key><integer>-7</integer>"
      "<key>array</key><array><string>1</string><true/></array></dict>"
      "<dict><key>name</key><string>without an identifier</string></dict>"
      "<dict><key>ID</key><string>addon.a</string><key>version</key><string>2.0</string>"
      "<key>CFBundleIdentifier</key><string>com.qor.addon.a</string></dict></array></dict></plist>";
  static Array addons() {
    return {PropertyListValue(Dictionary{{"CFBundleIdentifier", "com.qor.addon.z"},
                                         {"ID", "addon.z"},
                                         {"array", PropertyListValue(Array{"1", PropertyListValue(true)})},
                                         {"integer", PropertyListValue::integer(-7)},
                                         {"version", "1.0"}}),
            PropertyListValue(Dictionary{{"name", "without an identifier"}}),
            PropertyListValue(
                Dictionary{{"CFBundleIdentifier", "com.qor.addon.a"}, {"ID", "addon.a"}, {"version", "2.0"}})};
  }

  static void expectUnknown(const InstanceService& instance, const OptionalString& addon) {
    SCOPED_TRACE(textOrNull(addon));
    EXPECT_EQ(instance.getRegistryInfoForAddon(addon), std::nullopt);
    EXPECT_EQ(instance.getAddonInstalledVersion(addon), kNone);
    EXPECT_EQ(instance.getAddonInstalledBundleID(addon), kNone);
  }
};

TEST_F(AddonRegistryTest, EntriesAreHandedOutInOrderWithEveryKeyAndType) {
  writeRegistry(kAddons);
  const QuietInstance instance(*this);
  const Tree before = homeTree();
  EXPECT_EQ(instance.getAllAddonRegistryInfo(), addons());
  EXPECT_EQ(instance.getRegistryInfoForAddon("addon.z"), *addons()[0].asDictionary());
  EXPECT_EQ(instance.getRegistryInfoForAddon("addon.a"), *addons()[2].asDictionary());
  EXPECT_EQ(instance.getAddonInstalledVersion("addon.z"), "1.0");
  EXPECT_EQ(instance.getAddonInstalledVersion("addon.a"), "2.0");
  EXPECT_EQ(instance.getAddonInstalledBundleID("addon.z"), "com.qor.addon.z");
  EXPECT_EQ(instance.getAddonInstalledBundleID("addon.a"), "com.qor.addon.a");
  expectHome(before);
}

TEST_F(AddonRegistryTest, FirstOfTwoEntriesWithTheSameIDIsFound) {
  writeRegistry("{ addons = ( { ID = a; version = 1; }, { ID = a; version = 2; CFBundleIdentifier = b; } ); }");
  const InstanceService instance(home(), data());
  EXPECT_EQ(instance.getRegistryInfoForAddon("a"), (Dictionary{{"ID", "a"}, {"version", "1"}}));
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "1");
  EXPECT_EQ(instance.getAddonInstalledBundleID("a"), kNone) << "the second entry is not looked at";
}

TEST_F(AddonRegistryTest, IDsMatchExactly) {
  writeRegistry("{ addons = ( { ID = \"addon.a\"; version = 1; }, { ID = \"\"; version = empty; } ); }");
  const InstanceService instance(home(), data());
  for (const char* other : {"Addon.A", "addon", "addon.a ", "addon.ab", " addon.a"}) expectUnknown(instance, other);
  EXPECT_EQ(instance.getAddonInstalledVersion("addon.a"), "1");
  EXPECT_EQ(instance.getAddonInstalledVersion(""), "empty");
}

TEST_F(AddonRegistryTest, EntriesThatAreNoAddonsArePassedOver) {
  writeRegistry(
      "<plist><dict><key>addons</key><array><string>a</string><dict><key>version</key><string>1</string></dict>"
      "<dict><key>ID</key><integer>5</integer></dict><array/>"
      "<dict><key>ID</key><string>a</string><key>version</key><string>2</string></dict></array></dict></plist>");
  const InstanceService instance(home(), data());
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "2");
  expectUnknown(instance, "5");
  ASSERT_TRUE(instance.getAllAddonRegistryInfo());
  EXPECT_EQ(instance.getAllAddonRegistryInfo()->size(), 5U) << "the list itself is handed out whole";
}

TEST_F(AddonRegistryTest, RecordsThatAreMissingOrNoTextsAreNone) {
  writeRegistry(
      "<plist><dict><key>addons</key><array><dict><key>ID</key><string>bare</string></dict>"
      "<dict><key>ID</key><string>odd</string><key>version</key><integer>1</integer>"
      "<key>CFBundleIdentifier</key><true/></dict></array></dict></plist>");
  const InstanceService instance(home(), data());
  for (const char* addon : {"bare", "odd"}) {
    EXPECT_TRUE(instance.getRegistryInfoForAddon(addon)) << addon;
    EXPECT_EQ(instance.getAddonInstalledVersion(addon), kNone) << addon;
    EXPECT_EQ(instance.getAddonInstalledBundleID(addon), kNone) << addon;
  }
}

TEST_F(AddonRegistryTest, FileWithoutAListReadsAsEmpty) {
  const QuietInstance instance(*this);
  for (const char* contents :
       {"{ other = ( { ID = a; } ); }", "{ addons = ( ); }", "{ addons = text; }", "( a )", ""}) {
    writeRegistry(contents);
    EXPECT_EQ(instance.getAllAddonRegistryInfo(), Array()) << contents;
    expectUnknown(instance, "a");
    EXPECT_EQ(folder.read(inHome(kRegistry)), contents);
  }
  ASSERT_TRUE(platform::removeItem(folder / inHome(kRegistry)));
  folder.makeFolder(inHome(kRegistry));
  EXPECT_EQ(instance.getAllAddonRegistryInfo(), Array());
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AddonRegistryTest, FileIsReadWhereItWasLookedForWithTheTildeAsItIs) {
  const ScopedWorkingFolder working(folder.path());
  folder.makeFile("~/rcp/addonInfo.plist", "{ addons = ( { ID = a; version = 1; } ); }");
  EXPECT_EQ(InstanceService("~/rcp").getAddonInstalledVersion("a"), "1");
}

TEST_F(AddonRegistryTest, MissingFileGivesNone) {
  InstanceService instance(home(), data());
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  const Tree before = everything();
  clearLog();
  for (InstanceService* each : std::vector<InstanceService*>{&instance, &homeless, &file}) {
    EXPECT_EQ(each->getAllAddonRegistryInfo(), std::nullopt);
    expectUnknown(*each, "a");
    each->removeRegistryInfoforAddon("a");
  }
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  expectEverything(before);
}

TEST_F(AddonRegistryTest, AbsentIDFindsNothing) {
  writeRegistry("{ addons = ( { version = 1; CFBundleIdentifier = b; }, { ID = \"\"; version = 2; } ); }");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  expectUnknown(instance, kNone);
  instance.removeRegistryInfoforAddon(kNone);
  expectHome(before);
}

TEST_F(AddonRegistryTest, RegistryIsReadAfresh) {
  const InstanceService instance(home(), data());
  writeRegistry("{ addons = ( { ID = a; version = 1; } ); }");
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "1");
  writeRegistry("{ addons = ( { ID = a; version = 2; } ); }");
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "2");
}

TEST_F(AddonRegistryTest, RemovalHasNoLastingEffect) {
  writeRegistry(kAddons);
  QuietInstance instance(*this);
  const Tree before = homeTree();
  for (const char* addon : {"addon.z", "addon.a", "unknown"}) instance.removeRegistryInfoforAddon(addon);
  EXPECT_EQ(instance.getAllAddonRegistryInfo(), addons());
  expectHome(before);
}

// ----- Keystores -----

class CopyKeyStoresTest : public InstanceTest {
 protected:
  std::string source() const { return folder / "package"; }
  std::string deploy() const { return home() + "/deploy"; }

  LogLine sourceLine() const { return {6, ".keystore source files are in " + source() + "."}; }
  LogLine deleted(const std::string& name) const {
    return {6, "Delete existing keystore files '" + name + "' from " + deploy() + "/" + name + "."};
  }
  LogLine copied(const std::string& name) const {
    return {6,
            "Copy keystore file '" + name + "' from " + source() + "/" + name + " to " + deploy() + "/" + name + "."};
  }

  /// The log, with the lines of one kind sorted where several follow each other: folders have an order of their own.
  static LogLines sortedLog() {
    LogLines lines = log();
    for (auto first = lines.begin(); first != lines.end();) {
      const std::string kind = first->second.substr(0, first->second.find('\''));
      const auto last = std::find_if(
          first, lines.end(), [&kind](const LogLine& line) { return line.second.compare(0, kind.size(), kind) != 0; });
      std::sort(first, last);
      first = last;
    }
    return lines;
  }
};

TEST_F(CopyKeyStoresTest, AllOldOnesAreRemovedBeforeANewOneIsCopiedAndTheRestStays) {
  for (const char* name : {".keystore", ".KEYSTORE.bak", ".keystore_x", "other.keystore"}) {
    folder.makeFile(inHome("deploy/") + name, "old");
  }
  for (const char* name : {".keystore", ".keyStore1", "client.keystore", "keystore"}) {
    folder.makeFile(std::string("package/") + name, "new");
  }
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected.erase("deploy/.KEYSTORE.bak");
  expected.erase("deploy/.keystore_x");
  expected["deploy/.keystore"] = expected["deploy/.keyStore1"] = "file: new";
  const Tree sourceBefore = treeSnapshot(source());
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(source()), sourceBefore);
  EXPECT_EQ(sortedLog(), (LogLines{sourceLine(), deleted(".KEYSTORE.bak"), deleted(".keystore"), deleted(".keystore_x"),
                                   copied(".keyStore1"), copied(".keystore")}));
}

TEST_F(CopyKeyStoresTest, SourceWithoutKeyStoresLeavesNone) {
  folder.makeFile("package/file", "text");
  folder.makeFile("package/folder/.keystore", "one level is looked at");
  const std::string file = folder.makeFile("plain file");
  InstanceService instance(home(), data());
  const Tree expected = homeTree();
  for (const OptionalString& from :
       {OptionalString(source()), OptionalString(folder / "missing"), OptionalString(file), kNone}) {
    folder.makeFile(inHome("deploy/.keystore"), "old");
    clearLog();
    instance.copyKeyStores(from);
    EXPECT_EQ(homeTree(), expected);
    EXPECT_EQ(log(),
              (LogLines{{6, ".keystore source files are in " + from.value_or("(null)") + "."}, deleted(".keystore")}));
  }
}

TEST_F(CopyKeyStoresTest, FoldersAreRemovedAndCopiedWholeAndLinksAsLinks) {
  folder.makeFile("elsewhere", "stays");
  folder.makeLink(inHome("deploy/.keystore_link"), folder / "elsewhere");
  folder.makeLink("package/.keystore_link", "nowhere");
  folder.makeFile(inHome("deploy/.keystore/a/old"), "old");
  folder.makeFile("package/.keystore/b/new", "new");
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected.erase("deploy/.keystore/a");
  expected.erase("deploy/.keystore/a/old");
  expected["deploy/.keystore/b"] = "folder";
  expected["deploy/.keystore/b/new"] = "file: new";
  expected["deploy/.keystore_link"] = "link: nowhere";
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(folder.read("elsewhere"), "stays");
}

TEST_F(CopyKeyStoresTest, FailedCopyIsToldLikeAnyOther) {
  folder.makeFifo("package/.keystore");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), before);
  EXPECT_EQ(log(), (LogLines{sourceLine(), copied(".keystore")}));

  ASSERT_TRUE(platform::removeItem(deploy()));
  const Tree withoutDeploy = homeTree();
  clearLog();
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), withoutDeploy) << "deploy is not made";
  EXPECT_EQ(log(), (LogLines{sourceLine(), copied(".keystore")}));
}

TEST_F(CopyKeyStoresTest, NothingIsCopiedWithoutAHomeFolder) {
  folder.makeFile("package/.keystore", "new");
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  const Tree before = everything();
  const std::string line = "Copy keystore file '.keystore' from " + source() + "/.keystore to ";
  clearLog();
  homeless.copyKeyStores(source());
  file.copyKeyStores(source());
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(log(), (LogLines{sourceLine(),
                             {6, line + "(null)."},
                             sourceLine(),
                             {6, line + (folder / "file home") + "/deploy/.keystore."}}));
  EXPECT_EQ(everything(), before);
}

// ----- Extras -----

class CopyExtrasTest : public InstanceTest {
 protected:
  std::string source() const { return folder / "package"; }
  LogLines begins(const std::string& homeFolder) const {
    return {{6, "Begin to copy files from " + source() + " to " + homeFolder + "/deploy/extras "}};
  }
};

TEST_F(CopyExtrasTest, MissingExtrasBecomeACopyOfTheWholeSource) {
  folder.makeFile("package/.hidden", "1");
  folder.makeFile("package/a/b", "2");
  folder.makeLink("package/link", "a");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected["deploy/extras"] = expected["deploy/extras/a"] = "folder";
  expected["deploy/extras/.hidden"] = "file: 1";
  expected["deploy/extras/a/b"] = "file: 2";
  expected["deploy/extras/link"] = "link: a";
  instance.copyExtras(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), begins(home()));
}

// CopyFolderTest has more merges.
TEST_F(CopyExtrasTest, ExistingExtrasAreMergedInto) {
  folder.makeFile("package/both", "new");
  folder.makeFile("package/a/new", "new");
  folder.makeFile(inHome("deploy/extras/both"), "old");
  folder.makeFile(inHome("deploy/extras/a/own"), "old");
  QuietInstance instance(*this);
  Tree expected = homeTree();
  expected["deploy/extras/both"] = expected["deploy/extras/a/new"] = "file: new";
  instance.copyExtras(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), begins(home()));
}

TEST_F(CopyExtrasTest, NothingIsCopiedOrToldWithoutFilesToCopyOrAHome) {
  folder.makeFile(inHome("deploy/extras/own"), "old");
  const std::string empty = folder.makeFolder("empty");
  const std::string file = folder.makeFile("package/file");
  InstanceService instance(home(), data());
  InstanceService bare(folder.makeFolder("bare/deploy"), kNone);
  InstanceService homeless(kNone, data());
  const Tree before = everything();
  clearLog();
  for (const OptionalString& from : std::vector<OptionalString>{kNone, folder / "missing", file, empty, ""}) {
    instance.copyExtras(from);
    bare.copyExtras(from);
  }
  homeless.copyExtras(source());
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  expectEverything(before);
}

TEST_F(CopyExtrasTest, FailedCopyIsNotTold) {
  folder.makeFile("package/file", "new");
  InstanceService bare(folder.makeFolder("bare"), kNone);
  InstanceService file = fileHome();
  const Tree before = everything();
  clearLog();
  bare.copyExtras(source());
  EXPECT_EQ(log(), begins(folder / "bare"));
  clearLog();
  file.copyExtras(source());
  EXPECT_EQ(log(), begins(folder / "file home"));
  EXPECT_EQ(everything(), before) << "deploy is not made";
}

}  // namespace

}  // namespace hotfix
