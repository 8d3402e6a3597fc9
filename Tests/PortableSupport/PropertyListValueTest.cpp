#include <cmath>
#include <cstdint>
#include <limits>

#include "Support/PropertyListValue.h"
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

/// How many of the accessors answer.
int accessorsThatAnswer(const PropertyListValue& value) {
  return (value.asString() != nullptr) + (value.asBoolean() != nullptr) + (value.asInteger() != nullptr) +
         (value.asReal() != nullptr) + (value.asDate() != nullptr) + (value.asData() != nullptr) +
         (value.asArray() != nullptr) + (value.asDictionary() != nullptr);
}

TEST(PropertyListValueTest, DefaultIsTheEmptyString) {
  const PropertyListValue value;
  ASSERT_NE(value.asString(), nullptr);
  EXPECT_EQ(*value.asString(), "");
}

TEST(PropertyListValueTest, EachTypeAnswersToItsAccessorOnly) {
  const Array values = oneOfEach();
  ASSERT_EQ(values.size(), 8U);
  for (const PropertyListValue& value : values) EXPECT_EQ(accessorsThatAnswer(value), 1);

  ASSERT_NE(values[0].asString(), nullptr);
  EXPECT_EQ(*values[0].asString(), "text");
  ASSERT_NE(values[1].asBoolean(), nullptr);
  EXPECT_TRUE(*values[1].asBoolean());
  ASSERT_NE(values[2].asInteger(), nullptr);
  EXPECT_EQ(values[2].asInteger()->bits, 7U);
  ASSERT_NE(values[3].asReal(), nullptr);
  EXPECT_EQ(*values[3].asReal(), 1.5);
  ASSERT_NE(values[4].asDate(), nullptr);
  EXPECT_EQ(values[4].asDate()->secondsSince2001, 60);
  ASSERT_NE(values[5].asData(), nullptr);
  EXPECT_EQ(values[5].asData()->bytes, std::string("\0x", 2));
  ASSERT_NE(values[6].asArray(), nullptr);
  EXPECT_EQ(*values[6].asArray(), Array{"element"});
  ASSERT_NE(values[7].asDictionary(), nullptr);
  EXPECT_EQ(values[7].asDictionary()->at("key"), PropertyListValue("value"));
}

TEST(PropertyListValueTest, LiteralIsAStringNotABoolean) {
  const Array array{"a"};
  EXPECT_NE(array[0].asString(), nullptr);
  const Dictionary dictionary{{"k", "v"}};
  EXPECT_NE(dictionary.at("k").asString(), nullptr);
}

TEST(PropertyListValueTest, StringKeepsNulCharacters) {
  const std::string text("a\0b", 3);
  ASSERT_NE(PropertyListValue(text).asString(), nullptr);
  EXPECT_EQ(*PropertyListValue(text).asString(), text);
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

TEST(PropertyListValueTest, DifferentContentOfOneTypeDiffers) {
  EXPECT_NE(PropertyListValue("a"), PropertyListValue("b"));
  EXPECT_NE(PropertyListValue(true), PropertyListValue(false));
  EXPECT_NE(PropertyListValue::integer(1), PropertyListValue::integer(2));
  EXPECT_NE(PropertyListValue(1.5), PropertyListValue(2.5));
  EXPECT_NE(PropertyListValue(Date{1}), PropertyListValue(Date{2}));
  EXPECT_NE(PropertyListValue(Data{"a"}), PropertyListValue(Data{"b"}));
  EXPECT_NE(PropertyListValue(Array{"a"}), PropertyListValue(Array{"a", "a"}));
  EXPECT_NE(PropertyListValue(Dictionary{{"k", "a"}}), PropertyListValue(Dictionary{{"k", "b"}}));
  EXPECT_NE(PropertyListValue(Dictionary{{"k", "a"}}), PropertyListValue(Dictionary{{"l", "a"}}));
}

TEST(PropertyListValueTest, MinusOneDiffersFromTheLargestNumber) {
  const PropertyListValue largest(Integer{std::numeric_limits<std::uint64_t>::max(), false});
  EXPECT_NE(PropertyListValue::integer(-1), largest);
}

TEST(PropertyListValueTest, NumbersOfDifferentTypesDiffer) {
  EXPECT_NE(PropertyListValue::integer(1), PropertyListValue(1.0));
  EXPECT_NE(PropertyListValue::integer(1), PropertyListValue(true));
  EXPECT_NE(PropertyListValue(1.0), PropertyListValue(Date{1}));
  EXPECT_NE(PropertyListValue("a"), PropertyListValue(Data{"a"}));
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

TEST(PropertyListValueTest, CopyOfEachTypeIsEqual) {
  for (const PropertyListValue& value : oneOfEach()) {
    const PropertyListValue constructed(value);
    EXPECT_EQ(constructed, value);
    PropertyListValue assigned(Array{"other"});
    assigned = value;
    EXPECT_EQ(assigned, value);
  }
}

TEST(PropertyListValueTest, MoveTakesEachType) {
  for (const PropertyListValue& value : oneOfEach()) {
    PropertyListValue source = value;
    PropertyListValue constructed(std::move(source));
    EXPECT_EQ(constructed, value);
    PropertyListValue assigned(Array{"other"});
    assigned = std::move(constructed);
    EXPECT_EQ(assigned, value);
  }
}

TEST(PropertyListValueTest, ValueThatWasMovedFromCanBeUsed) {
  PropertyListValue source(Array{"a"});
  const PropertyListValue target(std::move(source));
  EXPECT_EQ(target, PropertyListValue(Array{"a"}));
  const PropertyListValue copy = source;  // NOLINT(bugprone-use-after-move): what this test is about
  EXPECT_EQ(copy, source);
  source = PropertyListValue(true);
  EXPECT_EQ(source, PropertyListValue(true));
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
