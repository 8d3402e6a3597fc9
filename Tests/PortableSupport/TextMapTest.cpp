#include "Support/TextMap.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

constexpr HashKey kHashKey = {0x0706050403020100U, 0x0f0e0d0c0b0a0908U};

std::string numbered(const std::string& text, int number) { return text + std::to_string(number); }

/// What sorted() gives, as texts that outlive the map's next change.
std::vector<std::pair<std::string, std::string>> sortedOf(const TextMap& map) {
  const std::vector<TextMap::Entry> entries = map.sorted();
  return {entries.begin(), entries.end()};
}

class TextMapTest : public testing::Test {
 protected:
  TextMap map{kHashKey};
};

TEST_F(TextMapTest, EmptyMapHasNothing) {
  EXPECT_EQ(map.find(""), std::nullopt);
  EXPECT_EQ(map.find("key"), std::nullopt);
  map.remove("key");
  map.index();
  EXPECT_THAT(map.sorted(), IsEmpty());
}

TEST_F(TextMapTest, LaterValueReplacesEarlier) {
  map.set("key", "first");
  map.set("key", "");
  map.set("key", "a longer value than the first");
  EXPECT_EQ(map.find("key"), "a longer value than the first");
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("key", "a longer value than the first")));
}

TEST_F(TextMapTest, TextsMayBeEmptyAndHoldAnyByte) {
  const std::string key("a\0b", 3);
  const std::string value("\0\xFF", 2);
  map.set("", "value");
  map.set("a", "");
  map.set(key, value);
  EXPECT_EQ(map.find(""), "value");
  EXPECT_EQ(map.find("a"), "");
  EXPECT_EQ(map.find(key), value);
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("", "value"), Pair("a", ""), Pair(key, value)));
}

TEST_F(TextMapTest, RemovedKeyIsGoneAndMayComeBack) {
  map.set("key", "value");
  map.set("other", "stays");
  map.remove("key");
  EXPECT_EQ(map.find("key"), std::nullopt);
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("other", "stays")));
  map.set("key", "again");
  EXPECT_EQ(map.find("key"), "again");
}

TEST_F(TextMapTest, KeysAreInTheOrderOfTheirUnsignedBytes) {
  for (const char* key : {"\xC3\xA4", "b", "a", "B", "aa", ""}) map.set(key, "");
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("", ""), Pair("B", ""), Pair("a", ""), Pair("aa", ""), Pair("b", ""),
                                         Pair("\xC3\xA4", "")));
}

TEST_F(TextMapTest, AppendedEntriesAreThereFromTheIndexOn) {
  map.set("key", "old");
  map.append("key", "new");
  EXPECT_EQ(map.find("key"), "old");
  map.index();
  EXPECT_EQ(map.find("key"), "new");
}

TEST_F(TextMapTest, EntriesMayLieInTheBlockThatTheMapWasMadeWith) {
  TextMap placed(kHashKey, "kv,xy");
  placed.appendPlaced(0, 1, 1);
  placed.append("k", "appended behind the block");
  placed.appendPlaced(3, 1, 1);
  placed.index();
  EXPECT_THAT(sortedOf(placed), ElementsAre(Pair("k", "appended behind the block"), Pair("x", "y")));
}

TEST_F(TextMapTest, RoomForManyChangesNothing) {
  map.set("before", "1");
  map.reserve(10000);
  map.set("after", "2");
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("after", "2"), Pair("before", "1")));
}

// What somebody would write into a file who knows the library's own hash.
TEST_F(TextMapTest, KeysThatArePreparedForTheLibrarysHashAreFoundAtOnce) {
  constexpr size_t kCount = 5000;
  constexpr size_t kSlots = 8192;
  std::map<std::string, std::string> expected;
  for (int number = 0; expected.size() < kCount; ++number) {
    const std::string key = numbered("key.", number);
    // All of them belong into one small part of the table.
    if (std::hash<std::string_view>()(key) % kSlots >= kSlots / 256) continue;
    map.append(key, "first");
    map.append(key, "of " + key);
    if (expected.size() % 1000 == 0) map.remove(key);
    expected[key] = "of " + key;
  }
  map.index();
  EXPECT_LT(map.longestSearch(), 500U);
  for (const auto& [key, value] : expected) ASSERT_EQ(map.find(key), value);
  map.set("another", "one");
  map.remove("another");
  EXPECT_THAT(sortedOf(map), testing::ElementsAreArray(expected.begin(), expected.end()));
}

// The whole order, for orders of arrival that are sorted in different ways.
class TextMapOrderTest : public testing::TestWithParam<const char*> {};

TEST_P(TextMapOrderTest, ManyKeysAreSortedAndFound) {
  constexpr int kCount = 5000;
  const std::string order = GetParam();
  std::vector<std::string> keys;
  for (int number = 0; number < kCount; ++number) keys.push_back(numbered("key.", number));  // in six ordered runs
  if (order != "as numbered") std::sort(keys.begin(), keys.end());
  if (order == "backwards") std::reverse(keys.begin(), keys.end());
  if (order == "two sorted files") std::rotate(keys.begin(), keys.begin() + kCount / 3, keys.end());
  if (order == "shuffled") {
    for (size_t index = 0; index < keys.size(); ++index) std::swap(keys[index], keys[(index * 7919) % keys.size()]);
  }
  TextMap map(kHashKey);
  std::map<std::string, std::string> expected;
  for (const std::string& key : keys) {
    map.append(key, "first");
    map.append(key, "of " + key);
    expected[key] = "of " + key;
  }
  map.index();
  for (int number = 0; number < kCount; number += 3) {
    map.remove(numbered("key.", number));
    expected.erase(numbered("key.", number));
  }
  EXPECT_THAT(sortedOf(map), testing::ElementsAreArray(expected.begin(), expected.end()));
  for (const std::string& key : keys) ASSERT_EQ(map.find(key).has_value(), expected.count(key) == 1) << key;
}

INSTANTIATE_TEST_SUITE_P(Orders, TextMapOrderTest,
                         testing::Values("sorted", "as numbered", "backwards", "two sorted files", "shuffled"));

}  // namespace

}  // namespace hotfix
