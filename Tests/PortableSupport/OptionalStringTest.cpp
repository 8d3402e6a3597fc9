#include <type_traits>

#include "Support/OptionalString.h"
#include "Support/PropertyListValue.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

TEST(OptionalStringTest, NullPointerIsAnAbsentText) {
  const char* const none = nullptr;
  const char16_t* const noUnits = nullptr;
  EXPECT_FALSE(OptionalString(nullptr));
  EXPECT_FALSE(OptionalString(none));
  EXPECT_FALSE(OptionalUtf16(nullptr));
  EXPECT_FALSE(OptionalUtf16(noUnits));
  OptionalString text = "text";
  text = none;
  EXPECT_FALSE(text.has_value());
  EXPECT_STREQ(textOrNull(nullptr), "(null)");
}

TEST(OptionalStringTest, IsMadeFromEveryFormOfAText) {
  const char* const pointer = "text";
  EXPECT_EQ(*OptionalString("text"), "text");
  EXPECT_EQ(*OptionalString(pointer), "text");
  EXPECT_EQ(*OptionalString(std::string("te\0xt", 5)), std::string("te\0xt", 5));
  EXPECT_EQ(*OptionalString(std::string_view("text")), "text");
  EXPECT_EQ(*OptionalString(std::optional<std::string>("text")), "text");
  EXPECT_FALSE(OptionalString(std::optional<std::string>()));
  EXPECT_FALSE(OptionalString(std::nullopt));
  EXPECT_FALSE(OptionalString());
  EXPECT_TRUE(OptionalString(""));
}

TEST(OptionalStringTest, AbsentAndEmptyAreDifferent) {
  EXPECT_EQ(OptionalString(), OptionalString());
  EXPECT_NE(OptionalString(), OptionalString(""));
  EXPECT_EQ(OptionalString("a"), "a");
  EXPECT_NE(OptionalString("a"), "b");
  EXPECT_NE(OptionalString("a"), std::nullopt);
  EXPECT_TRUE(OptionalString() == std::optional<std::string>());
  EXPECT_TRUE(std::optional<std::string>("a") == OptionalString("a"));
  EXPECT_FALSE(OptionalString("") == std::optional<std::string>());
}

TEST(OptionalStringTest, OtherTextStandsInForAnAbsentOne) {
  EXPECT_EQ(OptionalString().value_or("other"), "other");
  EXPECT_EQ(OptionalString("").value_or("other"), "");
  OptionalString text = "text";
  EXPECT_EQ(text.value_or("other"), "text");
  EXPECT_EQ(*std::move(text), "text");
}

TEST(OptionalStringTest, NullPointerIsNoValueOfAPropertyList) {
  EXPECT_FALSE((std::is_constructible_v<PropertyListValue, std::nullptr_t>));
  EXPECT_FALSE((std::is_convertible_v<std::nullptr_t, std::optional<PropertyListValue>>));
  const char* const none = nullptr;
  EXPECT_EQ(PropertyListValue(none), PropertyListValue(""));
}

}  // namespace

}  // namespace hotfix
