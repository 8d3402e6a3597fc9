#ifndef SUPPORT_KEYED_HASH_H_
#define SUPPORT_KEYED_HASH_H_

#include <cstdint>
#include <string_view>

namespace hotfix {

/// The secret key of a table's hashes. Nobody who prepares the texts may know or guess it.
struct HashKey {
  std::uint64_t first;
  std::uint64_t second;
};

/// SipHash-1-3 of a text (Aumasson and Bernstein, "SipHash: a fast short-input PRF", 2012; with one round for each
/// eight bytes and three at the end, as is usual for hash tables). Without the key, nobody can find texts with
/// colliding hashes.
std::uint64_t keyedHash(const HashKey& key, std::string_view text);

}  // namespace hotfix

#endif
