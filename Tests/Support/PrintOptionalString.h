#ifndef TESTS_SUPPORT_PRINT_OPTIONAL_STRING_H_
#define TESTS_SUPPORT_PRINT_OPTIONAL_STRING_H_

#include <gtest/gtest.h>

#include <ostream>

#include "Support/OptionalString.h"

namespace hotfix {

/// Shows an optional text in the messages of tests. It is part of the precompiled header, so that all tests use it.
template <typename Char>
void PrintTo(const BasicOptionalString<Char>& text, std::ostream* stream) {
  *stream << (text ? ::testing::PrintToString(*text) : "(absent)");
}

}  // namespace hotfix

#endif
