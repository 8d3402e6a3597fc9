#ifndef SUPPORT_KEYED_HASH_H_
#define SUPPORT_KEYED_HASH_H_

#include <cstdint>
#include <string_view>

namespace hotfix {

/// What makes the hashes of a table its own. Nobody who prepares the texts may know or foresee it.
struct HashKey {
  std::uint64_t first;
  std::uint64_t second;
};

/// SipHash-1-3 of a text (Aumasson and Bernstein, "SipHash: a fast short-input PRF", 2012; with one round for each
/// eight bytes and three at the end, as hash tables have it). Without the key nobody finds texts whose hashes collide.
std::uint64_t keyedHash(const HashKey& key, std::string_view text);

}  // namespace hotfix

#endif
