#ifndef TESTS_LAWS_RANDOM_H_
#define TESTS_LAWS_RANDOM_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

/// Random inputs for tests of laws, the same on every system for the same seed.
namespace hotfix::laws {

class Random {
 public:
  /// The inputs of one case. Each case has its own, whatever the ones before it took.
  Random(std::uint64_t seed, unsigned number);

  /// A number below \a limit, which is not 0.
  size_t below(size_t limit) { return static_cast<size_t>(_engine() % limit); }
  bool isOneIn(size_t count) { return below(count) == 0; }
  std::uint64_t bits() { return _engine(); }

  template <typename Value>
  const Value& oneOf(const std::vector<Value>& values) {
    return values[below(values.size())];
  }

  /// A text of up to \a most pieces: the given ones, and of \a marks single characters.
  std::string text(size_t most, const std::vector<std::string>& pieces, const std::string& marks);

  /// UTF-16 units of all kinds, lone surrogates too, and often those that \a marks holds.
  std::u16string units(size_t most, const std::u16string& marks);

  /// Any character but U+0000 and surrogates, in UTF-8; mostly an ordinary one.
  std::string character();

 private:
  std::mt19937_64 _engine;
};

/// While it lives, temporary folders are made in memory, where the system has a folder for that and TMPDIR says nothing
/// else: every save waits for the disk, some thousand times.
class ScopedMemoryFolders {
 public:
  ScopedMemoryFolders();
  ScopedMemoryFolders(const ScopedMemoryFolders&) = delete;
  ScopedMemoryFolders& operator=(const ScopedMemoryFolders&) = delete;
  ~ScopedMemoryFolders();

 private:
  bool _isSet = false;
};

/// Runs a law for so many cases, up to the first that breaks it. The failure names the seed, which HOTFIX_TEST_SEED
/// sets, and the case.
void forCases(unsigned count, const std::function<void(Random&)>& law);

}  // namespace hotfix::laws

#endif
