#include "Support/KeyedHash.h"

#include <cstddef>

namespace hotfix {

namespace {

std::uint64_t rotated(std::uint64_t word, int bits) { return (word << bits) | (word >> (64 - bits)); }

std::uint64_t byteAt(const char* bytes, size_t index) {
  return std::uint64_t{static_cast<unsigned char>(bytes[index])} << (8 * index);
}

/// Eight bytes, little-endian. Written out, so that compilers generate one load.
std::uint64_t wordAt(const char* bytes) {
  return byteAt(bytes, 0) | byteAt(bytes, 1) | byteAt(bytes, 2) | byteAt(bytes, 3) | byteAt(bytes, 4) |
         byteAt(bytes, 5) | byteAt(bytes, 6) | byteAt(bytes, 7);
}

struct State {
  std::uint64_t v0, v1, v2, v3;

  void round() {
    v0 += v1;
    v2 += v3;
    v1 = rotated(v1, 13) ^ v0;
    v3 = rotated(v3, 16) ^ v2;
    v0 = rotated(v0, 32);
    v2 += v1;
    v0 += v3;
    v1 = rotated(v1, 17) ^ v2;
    v3 = rotated(v3, 21) ^ v0;
    v2 = rotated(v2, 32);
  }
  void take(std::uint64_t word) {
    v3 ^= word;
    round();
    v0 ^= word;
  }
};

}  // namespace

std::uint64_t keyedHash(const HashKey& key, std::string_view text) {
  // "somepseudorandomlygeneratedbytes", from the paper.
  State state = {key.first ^ 0x736f6d6570736575U, key.second ^ 0x646f72616e646f6dU, key.first ^ 0x6c7967656e657261U,
                 key.second ^ 0x7465646279746573U};
  const char* bytes = text.data();
  size_t left = text.size();
  for (; left >= 8; left -= 8, bytes += 8) state.take(wordAt(bytes));
  std::uint64_t last = static_cast<std::uint64_t>(text.size()) << 56;
  if (left > 0 && text.size() >= 8) {
    last |=
        wordAt(bytes + left - 8) >> (64 - 8 * left);  // also in one load, which includes bytes that were already used
  } else {
    for (size_t index = 0; index < left; ++index) last |= byteAt(bytes, index);
  }
  state.take(last);
  state.v2 ^= 0xff;
  state.round();
  state.round();
  state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace hotfix
