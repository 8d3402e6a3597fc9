#include "Support/TextMap.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

std::string numbered(const std::string& text, int number) { return text + std::to_string(number); }

/// What sorted() gives, as texts that outlive the map's next change.
std::vector<std::pair<std::string, std::string>> sortedOf(const TextMap& map) {
  const std::vector<TextMap::Entry> entries = map.sorted();
  return {entries.begin(), entries.end()};
}

TEST(TextMapTest, EmptyMapHasNothing) {
  TextMap map;
  EXPECT_EQ(map.find(""), std::nullopt);
  EXPECT_EQ(map.find("key"), std::nullopt);
  map.remove("key");
  EXPECT_THAT(map.sorted(), IsEmpty());
}

TEST(TextMapTest, LaterValueReplacesEarlier) {
  TextMap map;
  map.set("key", "first");
  map.set("key", "");
  map.set("key", "a longer value than the first");
  EXPECT_EQ(map.find("key"), "a longer value than the first");
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("key", "a longer value than the first")));
}

TEST(TextMapTest, TextsMayBeEmptyAndHoldAnyByte) {
  TextMap map;
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

TEST(TextMapTest, RemovedKeyIsGoneAndMayComeBack) {
  TextMap map;
  map.set("key", "value");
  map.set("other", "stays");
  map.remove("key");
  EXPECT_EQ(map.find("key"), std::nullopt);
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("other", "stays")));
  map.set("key", "again");
  EXPECT_EQ(map.find("key"), "again");
}

TEST(TextMapTest, KeysAreInTheOrderOfTheirUnsignedBytes) {
  TextMap map;
  for (const char* key : {"\xC3\xA4", "b", "a", "B", "aa", ""}) map.set(key, "");
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("", ""), Pair("B", ""), Pair("a", ""), Pair("aa", ""), Pair("b", ""),
                                         Pair("\xC3\xA4", "")));
}

TEST(TextMapTest, EntriesMayLieInTheBlockThatTheMapWasMadeWith) {
  TextMap map("kv,xy");
  map.setPlaced(0, 1, 1);
  map.set("k", "appended behind the block");
  map.setPlaced(3, 1, 1);
  EXPECT_THAT(sortedOf(map), ElementsAre(Pair("k", "appended behind the block"), Pair("x", "y")));
}

TEST(TextMapTest, SupersededEntriesAreDropped) {
  constexpr int kKeys = 1000;
  TextMap map;
  std::map<std::string, std::string> expected;
  for (int number = 0; number < 100 * kKeys; ++number) {
    const std::string key = numbered("key.", number % kKeys);
    expected[key] = numbered("value ", number);
    map.set(key, expected[key]);
    ASSERT_LE(map.longestSearch(), 5U * kKeys);
  }
  EXPECT_EQ(map.find("key.7"), expected["key.7"]);
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
  TextMap map;
  std::map<std::string, std::string> expected;
  for (const std::string& key : keys) {
    map.set(key, "first");
    map.set(key, "of " + key);
    expected[key] = "of " + key;
  }
  for (int number = 0; number < kCount; number += 3) {
    map.remove(numbered("key.", number));
    expected.erase(numbered("key.", number));
  }
  EXPECT_THAT(sortedOf(map), testing::ElementsAreArray(expected.begin(), expected.end()));
  for (const std::string& key : keys) ASSERT_EQ(map.find(key).has_value(), expected.count(key) == 1) << key;
}

INSTANTIATE_TEST_SUITE_P(Orders, TextMapOrderTest,
                         testing::Values("sorted", "as numbered", "backwards", "two sorted files", "shuffled"));

// Otherwise a file of a few long keys and many short lines would take minutes.
TEST(TextMapTest, LongKeysAreNotComparedAgainForAFewEntries) {
  TextMap map;
  for (int number = 0; number < 100; ++number) map.set(numbered(std::string(1 << 16, 'k'), number), "");
  for (int number = 0; number < 100000; ++number) map.set(number % 2 == 0 ? "a" : "b", "");
  EXPECT_GT(map.longestSearch(), 50000U);
}

}  // namespace

}  // namespace hotfix
