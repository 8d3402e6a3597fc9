#ifndef TESTS_SUPPORT_TEST_H_
#define TESTS_SUPPORT_TEST_H_

// The headers that nearly every test needs, so that a test file includes only its own.

// IWYU pragma: begin_exports
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
// IWYU pragma: end_exports

namespace hotfix {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::Optional;
using ::testing::Pair;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

}  // namespace hotfix

#endif
