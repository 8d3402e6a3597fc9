#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "MacInstaller/InstanceService.h"
#include "Platform/FileManager.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using ::testing::IsEmpty;

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;

constexpr char kRegistry[] = "addonInfo.plist";

class InstanceServiceAddonsTest : public InstanceTest {
 protected:
  /// The whole test folder, but for the fixture's own history of log lines.
  Tree everything() const {
    Tree tree = treeSnapshot(folder.path());
    EXPECT_EQ(tree.erase("history"), 1U);
    return tree;
  }

  /// An instance whose home is a plain file.
  InstanceService fileHome() const { return InstanceService(folder.makeFile("file home", "text"), kNone); }
};

// ----- Add-on registry -----

/// A binary property list, built object by object; the last one is the root.
class BinaryList {
 public:
  size_t add(const std::string& bytes) {
    _offsets.push_back(_bytes.size());
    _bytes += bytes;
    return _offsets.size() - 1;
  }
  size_t text(const std::string& ascii) { return add(marked(0x50, ascii.size()) + ascii); }
  size_t array(const std::vector<size_t>& items) { return add(marked(0xA0, items.size()) + references(items)); }
  size_t dictionary(const std::vector<size_t>& keys, const std::vector<size_t>& values) {
    return add(marked(0xD0, keys.size()) + references(keys) + references(values));
  }
  std::string finished() const {
    std::string list = _bytes;
    for (const size_t offset : _offsets) list += bigEndian(offset, 2);
    return list + std::string(6, '\0') + '\2' + '\1' + bigEndian(_offsets.size(), 8) +
           bigEndian(_offsets.size() - 1, 8) + bigEndian(_bytes.size(), 8);
  }

 private:
  /// The type of an object and its length; one of 15 and more is an integer object behind it.
  static std::string marked(unsigned type, size_t length) {
    if (length < 15) return std::string(1, static_cast<char>(type | length));
    return std::string(1, static_cast<char>(type | 15U)) + '\x10' + static_cast<char>(length);
  }
  static std::string references(const std::vector<size_t>& objects) {
    std::string bytes;
    for (const size_t object : objects) bytes += static_cast<char>(object);
    return bytes;
  }
  static std::string bigEndian(std::uint64_t number, unsigned size) {
    std::string bytes;
    for (unsigned place = size; place-- > 0;) bytes += static_cast<char>(number >> (8 * place));
    return bytes;
  }

  std::string _bytes = "bplist00";
  std::vector<size_t> _offsets;
};

class AddonRegistryTest : public InstanceServiceAddonsTest {
 protected:
  void writeRegistry(const std::string& contents) const { folder.makeFile(inHome(kRegistry), contents); }

  static std::string xml(const std::string& root) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
           root + "</plist>\n";
  }

  /// Three add-ons, out of alphabetical order, the first with a value of every type.
  static Array addons() {
    return {PropertyListValue(Dictionary{{"CFBundleIdentifier", "com.qor.addon.z"},
                                         {"ID", "addon.z"},
                                         {"array", PropertyListValue(Array{"1", PropertyListValue::integer(2)})},
                                         {"data", PropertyListValue(PropertyListValue::Data{std::string("\0\xFF", 2)})},
                                         {"date", PropertyListValue(PropertyListValue::Date{86400})},
                                         {"dictionary", PropertyListValue(Dictionary{{"k", "v"}})},
                                         {"integer", PropertyListValue::integer(-7)},
                                         {"real", PropertyListValue(0.5)},
                                         {"true", PropertyListValue(true)},
                                         {"version", "1.0"}}),
            PropertyListValue(Dictionary{{"name", "without an identifier"}}),
            PropertyListValue(
                Dictionary{{"CFBundleIdentifier", "com.qor.addon.a"}, {"ID", "addon.a"}, {"version", "2.0"}})};
  }

  static std::string xmlAddons() {
    return xml(
        "<dict><key>other</key><string>ignored</string><key>addons</key><array>"
        "<dict><key>version</key><string>1.0</string><key>ID</key><string>addon.z</string>"
        "<key>CFBundleIdentifier</key><string>com.qor.addon.z</string>"
        "<key>array</key><array><string>1</string><integer>2</integer></array><key>data</key><data>AP8=</data>"
        "<key>date</key><date>2001-01-02T00:00:00Z</date>"
        "<key>dictionary</key><dict><key>k</key><string>v</string></dict><key>integer</key><integer>-7</integer>"
        "<key>real</key><real>0.5</real><key>true</key><true/></dict>"
        "<dict><key>name</key><string>without an identifier</string></dict>"
        "<dict><key>ID</key><string>addon.a</string><key>version</key><string>2.0</string>"
        "<key>CFBundleIdentifier</key><string>com.qor.addon.a</string></dict>"
        "</array></dict>");
  }

  static std::string binaryAddons() {
    BinaryList list;
    const size_t id = list.text("ID");
    const size_t version = list.text("version");
    const size_t bundle = list.text("CFBundleIdentifier");
    const size_t two = list.add("\x10\x02");
    const size_t array = list.array({list.text("1"), two});
    const size_t dictionary = list.dictionary({list.text("k")}, {list.text("v")});
    const size_t data = list.add(std::string("\x42\0\xFF", 3));
    const size_t date = list.add(std::string("\x33\x40\xF5\x18\0\0\0\0\0", 9));  // 86400.0
    const size_t integer = list.add("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xF9");
    const size_t real = list.add(std::string("\x23\x3F\xE0\0\0\0\0\0\0", 9));  // 0.5
    const size_t yes = list.add("\x09");
    const size_t first =
        list.dictionary({id, version, bundle, list.text("array"), list.text("dictionary"), list.text("data"),
                         list.text("date"), list.text("integer"), list.text("real"), list.text("true")},
                        {list.text("addon.z"), list.text("1.0"), list.text("com.qor.addon.z"), array, dictionary, data,
                         date, integer, real, yes});
    const size_t second = list.dictionary({list.text("name")}, {list.text("without an identifier")});
    const size_t third =
        list.dictionary({id, version, bundle}, {list.text("addon.a"), list.text("2.0"), list.text("com.qor.addon.a")});
    const size_t entries = list.array({first, second, third});
    list.dictionary({list.text("addons")}, {entries});
    return list.finished();
  }
};

TEST_F(AddonRegistryTest, EntriesAreHandedOutInOrderWithEveryKeyAndType) {
  InstanceService instance(home(), data());
  clearLog();
  for (const std::string& contents : {xmlAddons(), binaryAddons()}) {
    SCOPED_TRACE(contents.substr(0, 8));
    writeRegistry(contents);
    const Tree before = homeTree();
    const auto entries = instance.getAllAddonRegistryInfo();
    ASSERT_TRUE(entries);
    EXPECT_EQ(*entries, addons());
    EXPECT_EQ(instance.getRegistryInfoForAddon("addon.z"), *addons()[0].asDictionary());
    EXPECT_EQ(instance.getRegistryInfoForAddon("addon.a"), *addons()[2].asDictionary());
    EXPECT_EQ(instance.getAddonInstalledVersion("addon.z"), "1.0");
    EXPECT_EQ(instance.getAddonInstalledVersion("addon.a"), "2.0");
    EXPECT_EQ(instance.getAddonInstalledBundleID("addon.z"), "com.qor.addon.z");
    EXPECT_EQ(instance.getAddonInstalledBundleID("addon.a"), "com.qor.addon.a");
    EXPECT_EQ(homeTree(), before);
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AddonRegistryTest, OldStyleFileIsRead) {
  writeRegistry("{ addons = ( { ID = \"addon.b\"; version = 3; more = (1, <00ff>); }, { ID = a; } ); }");
  InstanceService instance(home(), data());
  const Dictionary expected = {
      {"ID", "addon.b"},
      {"version", "3"},
      {"more", PropertyListValue(Array{"1", PropertyListValue(PropertyListValue::Data{std::string("\0\xFF", 2)})})}};
  EXPECT_EQ(instance.getAllAddonRegistryInfo(),
            (Array{PropertyListValue(expected), PropertyListValue(Dictionary{{"ID", "a"}})}));
  EXPECT_EQ(instance.getRegistryInfoForAddon("addon.b"), expected);
  EXPECT_EQ(instance.getAddonInstalledVersion("addon.b"), "3");
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
  for (const char* other : {"Addon.A", "addon", "addon.a ", "addon.ab", " addon.a"}) {
    EXPECT_EQ(instance.getRegistryInfoForAddon(other), std::nullopt) << other;
    EXPECT_EQ(instance.getAddonInstalledVersion(other), kNone) << other;
    EXPECT_EQ(instance.getAddonInstalledBundleID(other), kNone) << other;
  }
  EXPECT_EQ(instance.getAddonInstalledVersion("addon.a"), "1");
  EXPECT_EQ(instance.getAddonInstalledVersion(""), "empty");
}

TEST_F(AddonRegistryTest, EntriesThatAreNoAddonsArePassedOver) {
  writeRegistry(
      xml("<dict><key>addons</key><array><string>a</string><dict><key>version</key><string>1</string></dict>"
          "<dict><key>ID</key><integer>5</integer></dict><array/>"
          "<dict><key>ID</key><string>a</string><key>version</key><string>2</string></dict></array></dict>"));
  const InstanceService instance(home(), data());
  EXPECT_EQ(instance.getAllAddonRegistryInfo(),
            (Array{"a", PropertyListValue(Dictionary{{"version", "1"}}),
                   PropertyListValue(Dictionary{{"ID", PropertyListValue::integer(5)}}), PropertyListValue(Array()),
                   PropertyListValue(Dictionary{{"ID", "a"}, {"version", "2"}})}))
      << "the list itself is handed out whole";
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "2");
  EXPECT_EQ(instance.getRegistryInfoForAddon("5"), std::nullopt);
}

TEST_F(AddonRegistryTest, RecordsThatAreMissingOrNoTextsAreNone) {
  writeRegistry(
      xml("<dict><key>addons</key><array><dict><key>ID</key><string>bare</string></dict>"
          "<dict><key>ID</key><string>odd</string><key>version</key><integer>1</integer>"
          "<key>CFBundleIdentifier</key><true/></dict></array></dict>"));
  const InstanceService instance(home(), data());
  for (const char* addon : {"bare", "odd"}) {
    EXPECT_TRUE(instance.getRegistryInfoForAddon(addon)) << addon;
    EXPECT_EQ(instance.getAddonInstalledVersion(addon), kNone) << addon;
    EXPECT_EQ(instance.getAddonInstalledBundleID(addon), kNone) << addon;
  }
}

TEST_F(AddonRegistryTest, FileWithoutAListReadsAsEmpty) {
  const InstanceService instance(home(), data());
  clearLog();
  for (const char* contents : {"{ other = ( { ID = a; } ); }", "{ addons = ( ); }", "{ addons = text; }", "( a )",
                               "{ addons = (", "", "\x01\x02"}) {
    writeRegistry(contents);
    EXPECT_EQ(instance.getAllAddonRegistryInfo(), Array()) << contents;
    EXPECT_EQ(instance.getRegistryInfoForAddon("a"), std::nullopt) << contents;
    EXPECT_EQ(folder.read(inHome(kRegistry)), contents);
  }
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AddonRegistryTest, FolderInPlaceOfTheFileReadsAsEmpty) {
  folder.makeFolder(inHome(kRegistry));
  const InstanceService instance(home(), data());
  EXPECT_EQ(instance.getAllAddonRegistryInfo(), Array());
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
  for (InstanceService* each : {&instance, &homeless, &file}) {
    EXPECT_EQ(each->getAllAddonRegistryInfo(), std::nullopt);
    EXPECT_EQ(each->getRegistryInfoForAddon("a"), std::nullopt);
    EXPECT_EQ(each->getAddonInstalledVersion("a"), kNone);
    EXPECT_EQ(each->getAddonInstalledBundleID("a"), kNone);
    each->removeRegistryInfoforAddon("a");
  }
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AddonRegistryTest, AbsentIDFindsNothing) {
  writeRegistry("{ addons = ( { version = 1; CFBundleIdentifier = b; }, { ID = \"\"; version = 2; } ); }");
  InstanceService instance(home(), data());
  const Tree before = homeTree();
  clearLog();
  EXPECT_EQ(instance.getRegistryInfoForAddon(kNone), std::nullopt);
  EXPECT_EQ(instance.getAddonInstalledVersion(kNone), kNone);
  EXPECT_EQ(instance.getAddonInstalledBundleID(kNone), kNone);
  instance.removeRegistryInfoforAddon(kNone);
  EXPECT_EQ(homeTree(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(AddonRegistryTest, RegistryIsReadAfresh) {
  const InstanceService instance(home(), data());
  writeRegistry("{ addons = ( { ID = a; version = 1; } ); }");
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "1");
  writeRegistry("{ addons = ( { ID = a; version = 2; } ); }");
  EXPECT_EQ(instance.getAddonInstalledVersion("a"), "2");
}

TEST_F(AddonRegistryTest, RemovalHasNoLastingEffect) {
  InstanceService instance(home(), data());
  clearLog();
  for (const std::string& contents : {xmlAddons(), binaryAddons()}) {
    writeRegistry(contents);
    const Tree before = homeTree();
    for (const char* addon : {"addon.z", "addon.a", "unknown"}) instance.removeRegistryInfoforAddon(addon);
    EXPECT_EQ(homeTree(), before);
    EXPECT_EQ(instance.getAllAddonRegistryInfo(), addons());
    EXPECT_EQ(instance.getRegistryInfoForAddon("addon.z"), *addons()[0].asDictionary());
  }
  EXPECT_THAT(log(), IsEmpty());
}

// ----- Keystores -----

class CopyKeyStoresTest : public InstanceServiceAddonsTest {
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
  static std::vector<LogLine> sortedLog() {
    std::vector<LogLine> lines = log();
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

TEST_F(CopyKeyStoresTest, KeyStoresAreReplacedAndTheRestStays) {
  folder.makeFile("package/.keystore", "new");
  folder.makeFile("package/.Keystore2", "new 2");
  folder.makeFile("package/client.keystore", "no keystore");
  folder.makeFile("package/keystore", "no keystore");
  folder.makeFile(inHome("deploy/.keystore"), "old");
  folder.makeFile(inHome("deploy/other.keystore"), "other");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected["deploy/.keystore"] = "file: new";
  expected["deploy/.Keystore2"] = "file: new 2";
  const Tree sourceBefore = treeSnapshot(source());
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(source()), sourceBefore);
  EXPECT_EQ(sortedLog(),
            (std::vector<LogLine>{sourceLine(), deleted(".keystore"), copied(".Keystore2"), copied(".keystore")}));
}

TEST_F(CopyKeyStoresTest, AllOldOnesAreRemovedBeforeANewOneIsCopied) {
  for (const char* name : {".keystore", ".KEYSTORE.bak", ".keystore_x"}) {
    folder.makeFile(inHome("deploy/") + name, "old");
  }
  for (const char* name : {".keystore", ".keyStore1"}) folder.makeFile(std::string("package/") + name, "new");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected.erase("deploy/.KEYSTORE.bak");
  expected.erase("deploy/.keystore_x");
  expected["deploy/.keystore"] = expected["deploy/.keyStore1"] = "file: new";
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(sortedLog(), (std::vector<LogLine>{sourceLine(), deleted(".KEYSTORE.bak"), deleted(".keystore"),
                                               deleted(".keystore_x"), copied(".keyStore1"), copied(".keystore")}));
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
    EXPECT_EQ(log(), (std::vector<LogLine>{{6, ".keystore source files are in " + from.value_or("(null)") + "."},
                                           deleted(".keystore")}));
  }
}

TEST_F(CopyKeyStoresTest, FoldersAreRemovedAndCopiedWhole) {
  folder.makeFile(inHome("deploy/.keystore/a/old"), "old");
  folder.makeFile("package/.keystore/b/new", "new");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected.erase("deploy/.keystore/a");
  expected.erase("deploy/.keystore/a/old");
  expected["deploy/.keystore/b"] = "folder";
  expected["deploy/.keystore/b/new"] = "file: new";
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), (std::vector<LogLine>{sourceLine(), deleted(".keystore"), copied(".keystore")}));
}

TEST_F(CopyKeyStoresTest, LinksAreRemovedAndCopiedThemselves) {
  folder.makeFile("elsewhere", "stays");
  folder.makeLink(inHome("deploy/.keystore"), folder / "elsewhere");
  folder.makeLink("package/.keystore", "nowhere");
  InstanceService instance(home(), data());
  Tree expected = homeTree();
  expected["deploy/.keystore"] = "link: nowhere";
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
  EXPECT_EQ(log(), (std::vector<LogLine>{sourceLine(), copied(".keystore")}));

  ASSERT_TRUE(platform::removeItem(deploy()));
  const Tree withoutDeploy = homeTree();
  clearLog();
  instance.copyKeyStores(source());
  EXPECT_EQ(homeTree(), withoutDeploy) << "deploy is not made";
  EXPECT_EQ(log(), (std::vector<LogLine>{sourceLine(), copied(".keystore")}));
}

TEST_F(CopyKeyStoresTest, NothingIsCopiedWithoutAHomeFolder) {
  folder.makeFile("package/.keystore", "new");
  InstanceService homeless(kNone, data());
  InstanceService file = fileHome();
  const Tree before = everything();
  clearLog();
  homeless.copyKeyStores(source());
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(log(),
            (std::vector<LogLine>{sourceLine(),
                                  {6, "Copy keystore file '.keystore' from " + source() + "/.keystore to (null)."}}));
  clearLog();
  file.copyKeyStores(source());
  EXPECT_EQ(log(), (std::vector<LogLine>{sourceLine(),
                                         {6, "Copy keystore file '.keystore' from " + source() + "/.keystore to " +
                                                 (folder / "file home") + "/deploy/.keystore."}}));
  EXPECT_EQ(everything(), before);
}

// ----- Extras -----

class CopyExtrasTest : public InstanceServiceAddonsTest {
 protected:
  std::string source() const { return folder / "package"; }
  std::vector<LogLine> begins(const std::string& homeFolder) const {
    return {{6, "Begin to copy files from " + source() + " to " + homeFolder + "/deploy/extras "}};
  }
};

TEST_F(CopyExtrasTest, MissingExtrasBecomeACopyOfTheWholeSource) {
  folder.makeFile("package/.hidden", "1");
  folder.makeFile("package/a/b", "2");
  folder.makeLink("package/link", "a");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  expected["deploy/extras"] = expected["deploy/extras/a"] = "folder";
  expected["deploy/extras/.hidden"] = "file: 1";
  expected["deploy/extras/a/b"] = "file: 2";
  expected["deploy/extras/link"] = "link: a";
  instance.copyExtras(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(log(), begins(home()));
}

TEST_F(CopyExtrasTest, ExistingExtrasAreMergedInto) {
  folder.makeFile("package/both", "new");
  folder.makeFile("package/a/both", "new");
  folder.makeFile("package/a/new", "new");
  folder.makeFile(inHome("deploy/extras/both"), "old");
  folder.makeFile(inHome("deploy/extras/own"), "old");
  folder.makeFile(inHome("deploy/extras/a/both"), "old");
  folder.makeFile(inHome("deploy/extras/a/own"), "old");
  InstanceService instance(home(), data());
  clearLog();
  Tree expected = homeTree();
  for (const char* name : {"both", "a/both", "a/new"}) expected[std::string("deploy/extras/") + name] = "file: new";
  const Tree sourceBefore = treeSnapshot(source());
  instance.copyExtras(source());
  EXPECT_EQ(homeTree(), expected);
  EXPECT_EQ(treeSnapshot(source()), sourceBefore);
  EXPECT_EQ(log(), begins(home()));
}

TEST_F(CopyExtrasTest, NothingIsCopiedOrToldWithoutFilesToCopy) {
  folder.makeFile(inHome("deploy/extras/own"), "old");
  const std::string empty = folder.makeFolder("package");
  const std::string file = folder.makeFile("plain file");
  InstanceService instance(home(), data());
  InstanceService bare(folder.makeFolder("bare/deploy"), kNone);
  const Tree before = everything();
  clearLog();
  for (const OptionalString& from :
       {kNone, OptionalString(folder / "missing"), OptionalString(file), OptionalString(empty), OptionalString("")}) {
    instance.copyExtras(from);
    bare.copyExtras(from);
  }
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(CopyExtrasTest, NothingIsCopiedOrToldWithoutAHome) {
  folder.makeFile("package/file", "new");
  InstanceService homeless(kNone, data());
  const Tree before = everything();
  clearLog();
  homeless.copyExtras(source());
  EXPECT_EQ(homeless.pathToRcphome(), kNone);
  EXPECT_EQ(everything(), before);
  EXPECT_THAT(log(), IsEmpty());
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
