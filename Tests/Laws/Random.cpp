#include "Tests/Laws/Random.h"

#include <unistd.h>

#include <cstdlib>

#include "Support/TextEncoding.h"

namespace hotfix::laws {

namespace {

constexpr std::uint64_t kDefaultSeed = 20261115;

std::uint64_t seed() {
  const char* text = std::getenv("HOTFIX_TEST_SEED");
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : kDefaultSeed;
}

}  // namespace

Random::Random(std::uint64_t seed, unsigned number) {
  std::seed_seq words{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32), std::uint32_t{number}};
  _engine.seed(words);
}

std::string Random::text(size_t most, const std::vector<std::string>& pieces, const std::string& marks) {
  std::string result;
  for (size_t left = below(most + 1); left > 0; --left) {
    if (isOneIn(3)) {
      result += oneOf(pieces);
    } else if (isOneIn(2)) {
      result += marks[below(marks.size())];
    } else {
      result += character();
    }
  }
  return result;
}

std::u16string Random::units(size_t most, const std::u16string& marks) {
  std::u16string result;
  for (size_t left = below(most + 1); left > 0; --left) {
    if (isOneIn(2)) {
      result += marks[below(marks.size())];
    } else if (isOneIn(4)) {
      result += static_cast<char16_t>(0xD800 + below(0x800));
    } else if (isOneIn(2)) {
      result += static_cast<char16_t>(below(0x10000));
    } else {
      result += static_cast<char16_t>(below(0x100));
    }
  }
  return result;
}

std::string Random::character() {
  char32_t number = 0;
  switch (below(8)) {
    case 0:
      number = static_cast<char32_t>(below(0x1F)) + 1;  // control characters
      break;
    case 1:
      number = static_cast<char32_t>(below(0x81)) + 0x7F;
      break;
    case 2:
      number = static_cast<char32_t>(below(0xD700)) + 0x100;
      break;
    case 3:
      number = static_cast<char32_t>(below(0x2000)) + 0xE000;
      break;
    case 4:
      number = static_cast<char32_t>(below(0x100000)) + 0x10000;
      break;
    default:
      number = static_cast<char32_t>(below(0x5F)) + 0x20;
  }
  std::u16string units;
  if (number < 0x10000) {
    units += static_cast<char16_t>(number);
  } else {
    units += static_cast<char16_t>(0xD800 + ((number - 0x10000) >> 10));
    units += static_cast<char16_t>(0xDC00 + ((number - 0x10000) & 0x3FF));
  }
  return text::utf8FromUtf16(units);
}

ScopedMemoryFolders::ScopedMemoryFolders() {
  static constexpr char kInMemory[] = "/dev/shm";
  if (std::getenv("TMPDIR") != nullptr || access(kInMemory, W_OK | X_OK) != 0) return;
  _isSet = setenv("TMPDIR", kInMemory, 1) == 0;
}

ScopedMemoryFolders::~ScopedMemoryFolders() {
  if (_isSet) unsetenv("TMPDIR");
}

void forCases(unsigned count, const std::function<void(Random&)>& law) {
  for (unsigned number = 0; number < count && !::testing::Test::HasFailure(); ++number) {
    SCOPED_TRACE("case " + std::to_string(number) + " of HOTFIX_TEST_SEED=" + std::to_string(seed()));
    Random random(seed(), number);
    law(random);
  }
}

}  // namespace hotfix::laws
