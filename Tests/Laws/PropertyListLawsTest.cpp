#include <limits>

#include "Platform/PropertyList.h"
#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"
#include "Tests/Laws/PropertyListModel.h"
#include "Tests/Laws/Random.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Test.h"

namespace hotfix {

namespace {

using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;
using Integer = PropertyListValue::Integer;
using laws::forCases;
using laws::Random;

std::string anyText(Random& random) {
  static const std::vector<std::string> pieces = {"]]>",  "<![CDATA[", "&amp;",  "&#10;",  "</string>",
                                                  "<!--", "\r\n",      "CF$UID", "\uFEFF", std::string(1, '\0')};
  return random.text(12, pieces, "<>&\"'\t\n\r abc");
}

std::string anyBytes(Random& random) {
  std::string bytes(random.below(200), '\0');
  for (char& byte : bytes) byte = static_cast<char>(static_cast<unsigned char>(random.bits() & 0xFF));
  return bytes;
}

double anyReal(Random& random) {
  static const std::vector<double> corners = {0.0,
                                              -0.0,
                                              0.1,
                                              1e300,
                                              -1.5,
                                              std::numeric_limits<double>::infinity(),
                                              -std::numeric_limits<double>::infinity(),
                                              std::numeric_limits<double>::denorm_min(),
                                              std::numeric_limits<double>::max()};
  if (random.isOneIn(3)) return random.oneOf(corners);
  const std::uint64_t bits = random.bits();  // numbers of all sizes, and now and then none
  double real = 0;
  static_assert(sizeof real == sizeof bits);
  std::memcpy(&real, &bits, sizeof real);
  return real;
}

/// A moment in the years -10,000 to 20,000.
double anyMoment(Random& random) {
  constexpr double kFirst = -378715046400;
  constexpr size_t kDays = 10957200;
  return kFirst + static_cast<double>(random.below(kDays)) * 86400 + static_cast<double>(random.below(86400)) +
         (random.isOneIn(2) ? 0.25 : 0);
}

Integer anyInteger(Random& random) {
  const std::uint64_t bits = random.bits() >> random.below(64);
  if (random.isOneIn(2)) return {bits, false};
  return {~(bits >> 1), true};
}

PropertyListValue anyValue(Random& random, int level) {
  switch (level == 0 ? 7 + random.below(2) : random.below(level < 5 ? 10 : 7)) {
    case 0:
      return PropertyListValue(random.isOneIn(2));
    case 1:
      return PropertyListValue(anyInteger(random));
    case 2:
      return PropertyListValue(anyReal(random));
    case 3:
      return PropertyListValue(Date{anyMoment(random)});
    case 4:
      return PropertyListValue(Data{anyBytes(random)});
    case 7: {
      Array array;
      for (size_t left = random.below(7); left > 0; --left) array.push_back(anyValue(random, level + 1));
      return PropertyListValue(std::move(array));
    }
    case 8:
    case 9: {
      Dictionary dictionary;
      for (size_t left = random.below(7); left > 0; --left) {
        dictionary.insert_or_assign(anyText(random), anyValue(random, level + 1));
      }
      return PropertyListValue(std::move(dictionary));
    }
    default:
      return PropertyListValue(anyText(random));
  }
}

TEST(PropertyListLawsTest, WrittenListIsReadAsItWas) {
  forCases(2000, [](Random& random) {
    const PropertyListValue value = anyValue(random, 0);
    const OptionalString xml = property_list::toXml(value);
    ASSERT_TRUE(xml);
    const PropertyListValue expected = laws::afterWriting(value);
    const std::optional<PropertyListValue> read = property_list::read(*xml);
    ASSERT_TRUE(read) << *xml;
    EXPECT_TRUE(laws::areSame(*read, expected)) << *xml;
    EXPECT_EQ(property_list::toXml(*read), property_list::toXml(expected));
  });
}

TEST(PropertyListLawsTest, DictionaryIsReadFromAFileAsItWas) {
  const laws::ScopedMemoryFolders inMemory;
  const TemporaryFolder folder;
  forCases(300, [&folder](Random& random) {
    Dictionary dictionary;
    for (size_t left = random.below(6); left > 0; --left)
      dictionary.insert_or_assign(anyText(random), anyValue(random, 2));
    ASSERT_TRUE(platform::writeDictionary(folder / "file", dictionary));
    const std::optional<Dictionary> read = platform::readDictionary(folder / "file");
    ASSERT_TRUE(read) << folder.read("file");
    EXPECT_TRUE(laws::areSame(PropertyListValue(*read), laws::afterWriting(PropertyListValue(dictionary))));
  });
}

TEST(PropertyListLawsTest, TextThatIsNoUtf8IsNeverWritten) {
  static const std::vector<std::string> illFormed = {"\xC3",     "\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                                     "\xC0\x80", "\xFF"};
  forCases(500, [](Random& random) {
    const PropertyListValue bad(anyText(random) + random.oneOf(illFormed) + anyText(random));
    PropertyListValue value = bad;
    for (size_t left = random.below(4); left > 0; --left) {
      if (random.isOneIn(2)) {
        value = PropertyListValue(Array{anyValue(random, 4), value});
      } else if (value.asString() != nullptr) {
        value = PropertyListValue(Dictionary{{*value.asString(), anyValue(random, 4)}});
      } else {
        value = PropertyListValue(Dictionary{{anyText(random), value}});
      }
    }
    EXPECT_FALSE(property_list::toXml(value));
  });
}

}  // namespace

}  // namespace hotfix
