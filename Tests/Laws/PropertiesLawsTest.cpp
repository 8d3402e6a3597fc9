#include "MacInstaller/InstanceService.h"
#include "MacInstaller/JavaProperties.h"
#include "Tests/Laws/PropertiesModel.h"
#include "Tests/Laws/Random.h"
#include "Tests/MacInstaller/PropertiesHelpers.h"
#include "Tests/Support/InstanceFixture.h"

namespace hotfix {

namespace {

using laws::Entries;
using laws::forCases;
using laws::Random;

/// A text that is rich in what the format treats in a way of its own.
std::string anyText(Random& random, size_t most) {
  static const std::vector<std::string> pieces = {"\\u00e9", "\\\\", "-X",   "\\ ",         "u",
                                                  "key",     " ",    "\xC3", "\xED\xA0\x80"};
  return random.text(most, pieces, "\\#!=: \t\nuX-a");
}

Entries anyEntries(Random& random) {
  Entries entries;
  for (size_t left = random.below(8); left > 0; --left) {
    std::string key = anyText(random, 6);
    if (random.isOneIn(8)) key.insert(0, "-X");
    entries[key] = anyText(random, 10);
  }
  return entries;
}

Entries plainEntries(Random& random) {
  static const std::vector<std::string> pieces = {"rcp", ".install.id", "value", "-X", "users"};
  Entries entries;
  for (size_t left = random.below(8); left > 0; --left) {
    std::string key = "k" + random.text(5, pieces, "abc.-_#!$%0189");
    std::string value = random.text(8, pieces, "abc \\=:#!/$%&0189u");
    if (laws::isKept(key, value)) entries[key] = value;
  }
  return entries;
}

void put(const Entries& entries, JavaProperties& properties) {
  for (const auto& [key, value] : entries) ASSERT_TRUE(properties.setProperty(value, key));
}

bool isPlainText(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); });
}

// The base that comes first is made first.
class PropertiesLawsTest : laws::ScopedMemoryFolders, public InstanceTest {
 protected:
  void save(const Entries& entries, const std::string& name) const {
    JavaProperties properties;
    put(entries, properties);
    ASSERT_TRUE(properties.savePropertiesToFile(folder / name));
  }

  Entries load(const std::string& name) const { return entriesOf(JavaProperties(folder / name)); }

  /// Expects that \a merged has all keys of both, with the values of \a given where it has some.
  static void expectMerged(const Entries& merged, const Entries& own, const Entries& given) {
    Entries expected = given;
    expected.insert(own.begin(), own.end());
    EXPECT_EQ(merged, expected);
  }
};

TEST_F(PropertiesLawsTest, PlainEntriesAreReadAsTheyWereSaved) {
  forCases(1000, [this](Random& random) {
    Entries entries = plainEntries(random);
    save(entries, "file");
    entries[""] = "";  // from the end of the file, which is a line too
    EXPECT_EQ(load("file"), entries);
  });
}

TEST_F(PropertiesLawsTest, JustWhatTheFormatCannotHoldIsLost) {
  forCases(2000, [this](Random& random) {
    const Entries entries = anyEntries(random);
    save(entries, "file");
    EXPECT_EQ(load("file"), laws::afterSaving(entries)) << folder.read("file");
    EXPECT_TRUE(isPlainText(folder.read("file")));
  });
}

TEST_F(PropertiesLawsTest, EveryShortLineIsSavedAsAsciiAndSettlesAfterOneMoreRound) {
  Entries rounds;  // what each text becomes when it is read and saved
  const auto round = [&](const std::string& text) {
    const auto [entry, isNew] = rounds.emplace(text, "");
    if (isNew) {
      folder.makeFile("file", text);
      EXPECT_TRUE(JavaProperties(folder / "file").savePropertiesToFile(std::nullopt));
      entry->second = folder.read("file");
    }
    return entry->second;
  };
  std::vector<std::string> lines = {""};
  for (size_t at = 0; at < lines.size(); ++at) {
    const std::string line = lines[at];
    const std::string first = round(line);
    const std::string second = round(first);
    ASSERT_EQ(round(second), second) << line;
    ASSERT_TRUE(isPlainText(first)) << line;
    if (line.size() == 5) continue;
    for (const char next : std::string("a=\\ #u")) lines.push_back(line + next);
  }
  EXPECT_EQ(lines.size(), 1U + 6 + 36 + 216 + 1296 + 7776);
}

TEST_F(PropertiesLawsTest, EqualEntriesGiveEqualBytesHoweverTheyWerePutIn) {
  forCases(500, [this](Random& random) {
    const Entries entries = anyEntries(random);
    save(entries, "file");
    std::vector<std::pair<std::string, std::string>> order(entries.begin(), entries.end());
    for (size_t left = order.size(); left > 1; --left) std::swap(order[left - 1], order[random.below(left)]);
    JavaProperties properties;
    for (const auto& [key, value] : order) {
      if (random.isOneIn(2)) properties.setProperty("an earlier value", key);
      properties.setProperty(value, key);
      const std::string other = anyText(random, 6);
      if (entries.count(other) == 0) properties.setProperty("to be removed", other);
      if (entries.count(other) == 0) properties.removePropertyForKey(other);
    }
    ASSERT_TRUE(properties.savePropertiesToFile(folder / "second"));
    EXPECT_EQ(folder.read("second"), folder.read("file"));
  });
}

TEST_F(PropertiesLawsTest, MergeLosesNoKey) {
  forCases(500, [this](Random& random) {
    folder.makeFile("given", anyText(random, 60));
    const Entries own = anyEntries(random);
    folder.makeFile("own");
    JavaProperties properties(folder / "own");
    put(own, properties);
    properties.removePropertyForKey("");
    Entries expected = own;
    expected.erase("");
    properties.mergeWithJavaProperties(folder / "given");
    expectMerged(entriesOf(properties), expected, load("given"));
    EXPECT_EQ(load("own"), laws::afterSaving(entriesOf(properties)));
  });
}

TEST_F(PropertiesLawsTest, CustomizationKeepsItsKeysAndTakesTheGivenOnes) {
  const std::string customization = inHome("plugin_customization.ini");
  InstanceService instance(home());
  forCases(200, [&](Random& random) {
    const Entries own = plainEntries(random);
    const Entries given = plainEntries(random);
    save(own, customization);
    save(given, "given");
    EXPECT_TRUE(instance.mergePluginCustomizationWithRcphome(folder / "given"));
    Entries expected = given;
    expected[""] = "";
    expectMerged(load(customization), own, expected);
  });
}

}  // namespace

}  // namespace hotfix
