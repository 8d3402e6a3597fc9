#include "Support/KeyedHash.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

constexpr HashKey kKey = {0x0706050403020100U, 0x0f0e0d0c0b0a0908U};

// Texts of the bytes 0, 1, 2 ... under the key of the paper's own vectors. Made with another implementation of
// SipHash-1-3 than the one here.
TEST(KeyedHashTest, TextsOfEachLengthHaveTheHashOfTheConstruction) {
  const std::pair<size_t, std::uint64_t> expected[] = {
      {0, 0xabac0158050fc4dcU}, {1, 0xc9f49bf37d57ca93U},  {7, 0xd3927d989bb11140U},  {8, 0x369095118d299a8eU},
      {9, 0x25a48eb36c063de4U}, {15, 0xd320d86d2a519956U}, {16, 0xcc4fdd1a7d908b66U}, {63, 0x9d199062b7bbb3a8U}};
  for (const auto& [length, hash] : expected) {
    std::string text;
    while (text.size() < length) text += static_cast<char>(text.size());
    EXPECT_EQ(keyedHash(kKey, text), hash) << length;
  }
}

TEST(KeyedHashTest, EveryBitOfKeyAndTextCounts) {
  const std::string text = "a text of more than eight bytes";
  for (int bit = 0; bit < 64; ++bit) {
    const std::uint64_t flipped = std::uint64_t{1} << bit;
    EXPECT_NE(keyedHash({kKey.first ^ flipped, kKey.second}, text), keyedHash(kKey, text));
    EXPECT_NE(keyedHash({kKey.first, kKey.second ^ flipped}, text), keyedHash(kKey, text));
  }
  for (size_t bit = 0; bit < text.size() * 8; ++bit) {
    std::string other = text;
    other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << (bit % 8)));
    EXPECT_NE(keyedHash(kKey, other), keyedHash(kKey, text));
  }
  EXPECT_NE(keyedHash(kKey, std::string(1, '\0')), keyedHash(kKey, ""));
}

}  // namespace

}  // namespace hotfix
