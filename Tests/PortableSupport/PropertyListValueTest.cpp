#include <cmath>
#include <cstdint>
#include <limits>

#include "Support/PropertyListValue.h"
#include "Tests/Support/PropertyLists.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;

/// A value of each type.
Array oneOfEach() {
  Array values;
  values.emplace_back("text");
  values.emplace_back(true);
  values.push_back(PropertyListValue::integer(7));
  values.emplace_back(1.5);
  values.emplace_back(Date{60});
  values.emplace_back(Data{std::string("\0x", 2)});
  values.emplace_back(Array{"element"});
  values.emplace_back(Dictionary{{"key", "value"}});
  return values;
}

TEST(PropertyListValueTest, EachTypeAnswersToItsAccessorOnly) {
  EXPECT_EQ(shown(PropertyListValue(oneOfEach())),
            "['text', true, 7, real 1.5, date 60, <0078>, ['element'], {'key': 'value'}]");
  for (const PropertyListValue& value : oneOfEach()) {
    const bool answers[] = {value.asString() != nullptr, value.asBoolean() != nullptr,   value.asInteger() != nullptr,
                            value.asReal() != nullptr,   value.asDate() != nullptr,      value.asData() != nullptr,
                            value.asArray() != nullptr,  value.asDictionary() != nullptr};
    EXPECT_EQ(std::count(std::begin(answers), std::end(answers), true), 1) << shown(value);
  }
}

TEST(PropertyListValueTest, TextsAreStringsAndKeepNulCharacters) {
  EXPECT_EQ(shown(PropertyListValue()), "''");
  EXPECT_EQ(shown(PropertyListValue(std::string("a\0b", 3))), std::string("'a\0b'", 5));
  EXPECT_EQ(shown(PropertyListValue(Array{"a literal"})), "['a literal']");
}

TEST(PropertyListValueTest, IntegerHoldsTheRangeOfTheSignedType) {
  const PropertyListValue least = PropertyListValue::integer(std::numeric_limits<std::int64_t>::min());
  ASSERT_NE(least.asInteger(), nullptr);
  EXPECT_TRUE(least.asInteger()->isNegative);
  EXPECT_EQ(least.asInteger()->bits, std::uint64_t{1} << 63);

  const PropertyListValue most = PropertyListValue::integer(std::numeric_limits<std::int64_t>::max());
  ASSERT_NE(most.asInteger(), nullptr);
  EXPECT_FALSE(most.asInteger()->isNegative);
  EXPECT_EQ(most.asInteger()->bits, (std::uint64_t{1} << 63) - 1);
}

TEST(PropertyListValueTest, EqualValuesOfEachTypeAreEqual) {
  const Array values = oneOfEach();
  const Array same = oneOfEach();
  for (size_t left = 0; left < values.size(); ++left) {
    for (size_t right = 0; right < same.size(); ++right) {
      EXPECT_EQ(values[left] == same[right], left == right) << left << ", " << right;
      EXPECT_EQ(values[left] != same[right], left != right) << left << ", " << right;
    }
  }
}

TEST(PropertyListValueTest, DifferentContentOrTypeDiffers) {
  const std::pair<PropertyListValue, PropertyListValue> rows[] = {
      {"a", "b"},
      {PropertyListValue(true), PropertyListValue(false)},
      {PropertyListValue::integer(1), PropertyListValue::integer(2)},
      {PropertyListValue::integer(-1), PropertyListValue(Integer{std::numeric_limits<std::uint64_t>::max(), false})},
      {PropertyListValue(1.5), PropertyListValue(2.5)},
      {PropertyListValue(Date{1}), PropertyListValue(Date{2})},
      {PropertyListValue(Data{"a"}), PropertyListValue(Data{"b"})},
      {PropertyListValue(Array{"a"}), PropertyListValue(Array{"a", "a"})},
      {PropertyListValue(Dictionary{{"k", "a"}}), PropertyListValue(Dictionary{{"k", "b"}})},
      {PropertyListValue(Dictionary{{"k", "a"}}), PropertyListValue(Dictionary{{"l", "a"}})},
      {PropertyListValue::integer(1), PropertyListValue(1.0)},
      {PropertyListValue::integer(1), PropertyListValue(true)},
      {PropertyListValue(1.0), PropertyListValue(Date{1})},
      {"a", PropertyListValue(Data{"a"})},
  };
  for (const auto& [one, other] : rows) EXPECT_NE(one, other) << shown(one);
}

TEST(PropertyListValueTest, RealThatIsNoNumberEqualsNothing) {
  const PropertyListValue value(std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(value == value);
  EXPECT_TRUE(value != value);
}

TEST(PropertyListValueTest, CopyIsDeep) {
  PropertyListValue original(Dictionary{{"list", PropertyListValue(Array{"a"})}});
  const PropertyListValue copy = original;
  ASSERT_EQ(copy, original);
  original.asDictionary()->at("list").asArray()->push_back("b");
  ASSERT_NE(copy.asDictionary(), nullptr);
  EXPECT_EQ(copy.asDictionary()->at("list"), PropertyListValue(Array{"a"}));
}

TEST(PropertyListValueTest, EachTypeIsCopiedAndMoved) {
  for (const PropertyListValue& value : oneOfEach()) {
    PropertyListValue copy(value);
    EXPECT_EQ(copy, value);
    PropertyListValue assigned(Array{"other"});
    assigned = value;
    EXPECT_EQ(assigned, value);
    PropertyListValue moved(std::move(copy));
    EXPECT_EQ(moved, value);
    assigned = PropertyListValue(Array{"other"});
    assigned = std::move(moved);
    EXPECT_EQ(assigned, value);
  }
}

TEST(PropertyListValueTest, ValueThatWasMovedFromCanBeUsed) {
  for (const PropertyListValue& value : oneOfEach()) {
    PropertyListValue source(value);
    const PropertyListValue target(std::move(source));
    EXPECT_EQ(target, value);
    const PropertyListValue copy = source;  // NOLINT(bugprone-use-after-move): what this test is about
    EXPECT_EQ(copy, PropertyListValue());
    source = PropertyListValue(true);
    EXPECT_EQ(source, PropertyListValue(true));
  }
}

TEST(PropertyListValueTest, PartCanBeAssignedToItsWhole) {
  PropertyListValue copied(Array{PropertyListValue(Dictionary{{"k", "v"}})});
  copied = copied.asArray()->front();
  EXPECT_EQ(copied, PropertyListValue(Dictionary{{"k", "v"}}));

  PropertyListValue moved(Array{PropertyListValue(Dictionary{{"k", "v"}})});
  moved = std::move(moved.asArray()->front());
  EXPECT_EQ(moved, PropertyListValue(Dictionary{{"k", "v"}}));
}

TEST(PropertyListValueTest, AssignmentToItselfKeepsTheValue) {
  PropertyListValue value(Array{"a"});
  PropertyListValue& same = value;
  value = same;
  EXPECT_EQ(value, PropertyListValue(Array{"a"}));
  value = std::move(same);
  EXPECT_EQ(value, PropertyListValue(Array{"a"}));
}

}  // namespace

}  // namespace hotfix
