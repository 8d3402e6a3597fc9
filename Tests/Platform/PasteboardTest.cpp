#include "Platform/FileManager.h"
#include "Platform/Pasteboard.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Tests/Platform/Conditions.h"
#include "Tests/Support/FakeHost.h"
#include "Tests/Support/TreeSnapshot.h"

namespace hotfix {

namespace {

using platform::declarePasteboardType;
using platform::pasteboardPropertyList;
using platform::setPasteboardPropertyList;

constexpr char kBoard[] = "com.qor.messages";
constexpr char kType[] = "ERROR_MESSAGE";
const PropertyListValue kValue(PropertyListValue::Array{"a text", PropertyListValue(true),
                                                        PropertyListValue::integer(-7)});

/// Run with both places where a store may lie.
class PasteboardTest : public FakeHostTest, public ::testing::WithParamInterface<bool> {
 protected:
  PasteboardTest() {
    const std::string runtimeFolder = outside("/run/user/" + std::to_string(geteuid()));
    stores = GetParam() ? runtimeFolder : outside(platform::homeFolder().value_or("") + "/Library/Pasteboards");
    if (GetParam()) folder.makeFolder(runtimeFolder, 0700);
  }

  /// The file of the one store, relative to the test's folder.
  std::string storeFile() const {
    const std::vector<std::string> names = folder.names(stores);
    EXPECT_EQ(names.size(), 1U);
    return names.empty() ? "" : stores + "/" + names.front();
  }

  /// Stores a value as every program does.
  static void store(const PropertyListValue& value) {
    declarePasteboardType(kBoard, kType);
    setPasteboardPropertyList(kBoard, kType, value);
  }
  static std::optional<PropertyListValue> stored() { return pasteboardPropertyList(kBoard, kType); }

  std::string stores;  ///< relative to the test's folder
};

INSTANTIATE_TEST_SUITE_P(Places, PasteboardTest, ::testing::Bool(), [](const ::testing::TestParamInfo<bool>& place) {
  return place.param ? "RuntimeFolder" : "HomeFolder";
});

TEST_P(PasteboardTest, StoredValueIsReadAgain) {
  declarePasteboardType(kBoard, kType);
  EXPECT_FALSE(stored());
  setPasteboardPropertyList(kBoard, kType, kValue);
  EXPECT_EQ(stored(), kValue);
  setPasteboardPropertyList(kBoard, kType, "another");
  EXPECT_EQ(stored(), PropertyListValue("another"));
}

TEST_P(PasteboardTest, UndeclaredTypeIsNotStored) {
  const auto before = treeSnapshot(folder.path());
  setPasteboardPropertyList(kBoard, kType, kValue);
  EXPECT_FALSE(stored());
  EXPECT_EQ(treeSnapshot(folder.path()), before);
  EXPECT_THAT(log(), IsEmpty());
  declarePasteboardType(kBoard, "OTHER");
  setPasteboardPropertyList(kBoard, kType, kValue);
  EXPECT_FALSE(stored());
  EXPECT_FALSE(pasteboardPropertyList(kBoard, "OTHER"));
}

TEST_P(PasteboardTest, DeclaringClearsThePasteboard) {
  store(kValue);
  declarePasteboardType(kBoard, kType);
  EXPECT_FALSE(stored());
  setPasteboardPropertyList(kBoard, kType, kValue);
  declarePasteboardType(kBoard, "OTHER");
  EXPECT_FALSE(stored());
}

TEST_P(PasteboardTest, PasteboardsOfOtherNamesAreApart) {
  store(kValue);
  declarePasteboardType("com.qor.other", kType);
  EXPECT_FALSE(pasteboardPropertyList("com.qor.other", kType));
  EXPECT_EQ(stored(), kValue);
}

TEST_P(PasteboardTest, OnlyTheProcessThatDeclaredTheTypeCanStore) {
  store(kValue);
  // Another process of the user, which took the pasteboard over.
  inChild([] { declarePasteboardType(kBoard, kType); });
  setPasteboardPropertyList(kBoard, kType, "too late");
  EXPECT_FALSE(stored());
}

TEST_P(PasteboardTest, ProcessThatDeclaredNothingCannotStore) {
  inChild([] { store(kValue); });
  setPasteboardPropertyList(kBoard, kType, "of a stranger");
  EXPECT_EQ(stored(), kValue);
}

TEST_P(PasteboardTest, StoreIsForItsUserAlone) {
  const ScopedUmask mask(0);
  store(kValue);
  EXPECT_EQ(folder.mode(storeFile()), 0600U);
  EXPECT_EQ(folder.mode(stores), 0700U);
}

TEST_P(PasteboardTest, DamagedStoreHoldsNothing) {
  declarePasteboardType(kBoard, kType);
  const std::string file = storeFile();
  for (const char* text : {"", "junk", "{", "( a )", "{ ERROR_MESSAGE = text; }", "{ OTHER = ( text ); }"}) {
    folder.makeFile(file, text, 0600);
    EXPECT_FALSE(stored()) << text;
  }
  store(kValue);
  EXPECT_EQ(stored(), kValue);
}

TEST_P(PasteboardTest, LinkAtTheStoreIsNeitherReadNorWritten) {
  store(kValue);
  const std::string file = storeFile();
  ASSERT_EQ(rename((folder / file).c_str(), (folder / "precious").c_str()), 0);
  const std::string before = folder.read("precious");
  folder.makeLink(file, folder / "precious");
  EXPECT_FALSE(stored());
  setPasteboardPropertyList(kBoard, kType, "new");
  store("new");
  EXPECT_EQ(folder.read("precious"), before);
}

TEST_P(PasteboardTest, FifoAtTheStoreIsNotOpened) {
  declarePasteboardType(kBoard, kType);
  const std::string file = storeFile();
  unlink((folder / file).c_str());
  folder.makeFifo(file);
  EXPECT_FALSE(stored());
  setPasteboardPropertyList(kBoard, kType, kValue);
  store(kValue);
  EXPECT_EQ(stored(), kValue);
}

TEST_P(PasteboardTest, NameIsNoPath) {
  declarePasteboardType("../../escaped", kType);
  declarePasteboardType("/escaped", kType);
  const auto tree = treeSnapshot(folder.path());
  for (const auto& [path, content] : tree) {
    EXPECT_TRUE(content.compare(0, 5, "file:") != 0 || path.compare(0, stores.size() + 1, stores + "/") == 0) << path;
  }
}

TEST_P(PasteboardTest, WhatMayNotBeOurFolderIsNotUsed) {
  folder.makeFolder("elsewhere", 0700);
  const std::pair<const char*, std::function<void()>> plants[] = {
      {"open to others", [this] { folder.makeFolder(stores, 0755); }},
      {"link", [this] { folder.makeLink(stores, folder / "elsewhere"); }},
      {"file", [this] { folder.makeFile(stores, "a file where the folder should be"); }},
      {"folder of somebody else", [this] { EXPECT_EQ(chown(folder.makeFolder(stores, 0700).c_str(), 12345, 0), 0); }},
  };
  for (const auto& [name, plant] : plants) {
    SCOPED_TRACE(name);
    if (name == std::string("folder of somebody else") && !isRoot()) continue;
    (void)platform::removeItem(folder / stores);
    plant();
    const std::string around = folder / path::deletingLastComponent(stores);
    const auto before = treeSnapshot(around);
    store(kValue);
    EXPECT_EQ(treeSnapshot(around), before);
    EXPECT_THAT(folder.names("elsewhere"), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
  }
}

}  // namespace

}  // namespace hotfix
