#include "MacInstaller/JavaProperties.h"
#include "Support/TextEncoding.h"
#include "Tests/MacInstaller/PropertiesHelpers.h"
#include "Tests/Platform/HostCalls.h"
#include "Tests/Support/FakeHost.h"

namespace hotfix {

namespace {

using Entries = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

/// Files at "file" in the test's folder, read and saved.
class JavaPropertiesTest : public FakeHostTest {
 protected:
  /// What the reader makes of a file of just this text.
  Entries read(const std::string& text) const {
    folder.makeFile("file", text);
    return entriesOf(JavaProperties(folder / "file"));
  }

  /// The text that a file of this text becomes when it is read and saved.
  std::string savedAgain(const std::string& text) const {
    folder.makeFile("file", text);
    EXPECT_TRUE(JavaProperties(folder / "file").savePropertiesToFile(std::nullopt));
    return folder.read("file");
  }

  /// The text of a saved map.
  std::string saved(const Entries& entries) const {
    JavaProperties properties;
    for (const auto& [key, value] : entries) properties.setProperty(value, key);
    EXPECT_TRUE(properties.savePropertiesToFile(folder / "file"));
    return folder.read("file");
  }
};

// ----- Objects and entries -----

TEST_F(JavaPropertiesTest, NewObjectHasNoEntries) {
  const JavaProperties properties;
  EXPECT_TRUE(properties.propertyNames().empty());
  EXPECT_EQ(properties.getPropertyForKey("a"), std::nullopt);
  EXPECT_EQ(properties.getPropertyForKey(""), std::nullopt);
}

TEST_F(JavaPropertiesTest, MissingFileReadsAsEmptyAndASaveCreatesIt) {
  JavaProperties properties(folder / "file");
  EXPECT_TRUE(properties.propertyNames().empty());
  properties.setProperty("v", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), "k=v\n");
  EXPECT_TRUE(log().empty());
}

TEST_F(JavaPropertiesTest, ReadingAloneCreatesNoFile) {
  { const JavaProperties properties(folder / "file"); }
  EXPECT_FALSE(folder.has("file"));
}

TEST_F(JavaPropertiesTest, WhatCannotBeReadIsEmptyWithoutAMessage) {
  folder.makeFolder("folder");
  folder.makeFifo("fifo");
  folder.makeLink("loop", "loop");
  folder.makeFile("plain");
  for (const char* name : {"folder", "fifo", "loop", "plain/below", "missing/below"}) {
    EXPECT_EQ(entriesOf(JavaProperties(folder / name)), Entries()) << name;
  }
  EXPECT_EQ(entriesOf(JavaProperties(OptionalString(""))), Entries());
  EXPECT_TRUE(log().empty());
}

TEST_F(JavaPropertiesTest, AbsentPathMeansNoBackingFile) {
  JavaProperties properties{OptionalString()};
  EXPECT_TRUE(properties.setProperty("v", "k"));
  EXPECT_EQ(properties.getPropertyForKey("k"), "v");
  EXPECT_FALSE(properties.savePropertiesToFile(std::nullopt));
}

TEST_F(JavaPropertiesTest, TildeInAPathIsExpanded) {
  if (!hasHome()) GTEST_SKIP() << "the user has no home folder";
  folder.makeFile("file", "k=v");
  JavaProperties properties(throughHome(folder / "file"));
  EXPECT_EQ(properties.getPropertyForKey("k"), "v");
  properties.setProperty("new", "k");
  EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(folder.read("file"), "k=new\n");
  EXPECT_TRUE(properties.savePropertiesToFile(throughHome(folder / "other")));
  EXPECT_EQ(folder.read("other"), "k=new\n");
}

TEST_F(JavaPropertiesTest, SetOfAnAbsentKeyOrValueIsRefusedAndLogged) {
  JavaProperties properties;
  properties.setProperty("1", "k");
  EXPECT_FALSE(properties.setProperty(std::nullopt, "k"));
  EXPECT_FALSE(properties.setProperty("1", std::nullopt));
  EXPECT_FALSE(properties.setProperty(std::nullopt, std::nullopt));
  EXPECT_EQ(entriesOf(properties), (Entries{{"k", "1"}}));
  EXPECT_THAT(log(), ElementsAre(Pair(3, HasSubstr("object")), Pair(3, HasSubstr("key")), Pair(3, HasSubstr("key"))));
}

TEST_F(JavaPropertiesTest, SetReplacesAnEarlierValueAndRemoveTakesOneKeyAway) {
  JavaProperties properties;
  for (const char* key : {"a", "", "A"}) EXPECT_TRUE(properties.setProperty("old", key));
  EXPECT_TRUE(properties.setProperty("", "a"));
  properties.removePropertyForKey("A");
  properties.removePropertyForKey("missing");
  EXPECT_EQ(entriesOf(properties), (Entries{{"", "old"}, {"a", ""}}));
}

TEST_F(JavaPropertiesTest, NamesAreTheKeysSorted) {
  JavaProperties properties;
  for (const char* key : {"b", "a", "", "C", "10", "9"}) properties.setProperty("value", key);
  const Lines keys = {"", "10", "9", "C", "a", "b"};
  EXPECT_EQ(properties.propertyNames(), keys);
  EXPECT_EQ(properties.allProperties(), keys);
}

TEST_F(JavaPropertiesTest, ChangesStayInMemoryUntilASave) {
  folder.makeFile("file", "k=v");
  {
    JavaProperties properties(folder / "file");
    properties.setProperty("new", "k");
    properties.removePropertyForKey("k");
  }
  EXPECT_EQ(folder.read("file"), "k=v");
}

TEST_F(JavaPropertiesTest, AbsentKeyIsNotThere) {
  JavaProperties properties;
  properties.setProperty("v", "");
  EXPECT_EQ(properties.getPropertyForKey(std::nullopt), std::nullopt);
  properties.removePropertyForKey(nullptr);
  EXPECT_EQ(properties.getPropertyForKey(""), "v");
}

// ----- Reading: lines -----

/// What files of these texts are read as.
struct Reading {
  std::string name;
  std::vector<std::pair<std::string, Entries>> files;
};
std::ostream& operator<<(std::ostream& stream, const Reading& reading) { return stream << reading.name; }

class JavaPropertiesReadingTest : public JavaPropertiesTest, public ::testing::WithParamInterface<Reading> {};

TEST_P(JavaPropertiesReadingTest, IsRead) {
  for (const auto& [text, entries] : GetParam().files) EXPECT_EQ(read(text), entries) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Lines, JavaPropertiesReadingTest,
    ::testing::Values(
        Reading{"KeyAndValueWithBlanksAroundTheSeparator", {{"key = value", {{"key", "value"}}}}},
        Reading{"LinesEndAtALineFeed", {{"a=1\nb=2", {{"a", "1"}, {"b", "2"}}}}},
        Reading{"CarriageReturnAtTheEndIsTrimmed", {{"a=1\r\nb=2\r", {{"a", "1"}, {"b", "2"}}}}},
        Reading{"CarriageReturnInsideEndsNoLine", {{"a=1\rb=2", {{"a", "1\rb=2"}}}}},
        Reading{"BlankLineIsTheEmptyKey",
                {{"\na=b", {{"", ""}, {"a", "b"}}}, {"a=b\n \t \nc=d", {{"", ""}, {"a", "b"}, {"c", "d"}}}}},
        Reading{"LineFeedAtTheEndMakesABlankLastLine", {{"a=b\n", {{"", ""}, {"a", "b"}}}, {"=v\n", {{"", ""}}}}},
        Reading{"EmptyFileIsOneBlankLine", {{"", {{"", ""}}}}},
        Reading{"LaterLineOfTheSameKeyWins", {{"a=1\nb=2\na=3", {{"a", "3"}, {"b", "2"}}}, {"a=1\na", {{"a", ""}}}}},
        Reading{"NumberSignBeginsAComment", {{"#a=1\nb=2", {{"b", "2"}}}, {"   # note", {}}, {"\t\xA0#", {}}}},
        Reading{"NumberSignElsewhereIsOrdinary", {{"a#b=c#d # e", {{"a#b", "c#d # e"}}}, {"a #b", {{"a", "#b"}}}}},
        Reading{"EscapedNumberSignBeginsNoComment", {{"\\#a=b", {{"#a", "b"}}}}},
        Reading{"ExclamationMarkBeginsNoComment", {{"! note", {{"!", "note"}}}}},
        Reading{"OtherBlanksDoNotSeparate",
                {{"a\fb\vc\xA0"
                  "d",
                  {{"a\fb\vc\xC2\xA0"
                    "d",
                    ""}}}}},
        Reading{"SeparatorAfterTheValueHasBegunBelongsToIt", {{"a=b=c:d e\tf", {{"a", "b=c:d e\tf"}}}}},
        Reading{"MissingValueIsEmpty", {{"key=", {{"key", ""}}}, {"key", {{"key", ""}}}, {"key : = ", {{"key", ""}}}}},
        Reading{"MissingKeyIsEmpty", {{"=value", {{"", "value"}}}, {": = value", {{"", "value"}}}, {"=", {{"", ""}}}}},
        Reading{"EscapedSeparatorStillSeparates",
                {{"a\\=b=c", {{"a", "b=c"}}}, {"a\\:b", {{"a", "b"}}}, {"a\\ b=c", {{"a", "b=c"}}}}},
        Reading{"EscapesInAValueLoseTheirBackslash", {{"k=v\\=w\\:x\\#y\\!z\\ e", {{"k", "v=w:x#y!z e"}}}}},
        Reading{"EscapesInAKeyLoseTheirBackslash", {{"a\\#b\\!c=v", {{"a#b!c", "v"}}}}},
        Reading{"EscapedSeparatorBeforeTheValueIsDropped", {{"k=\\=\\:\\ v", {{"k", "v"}}}}},
        Reading{"OtherBackslashesAreOrdinary",
                {{"a\\b=\\n\\t\\r\\x", {{"a\\b", "\\n\\t\\r\\x"}}}, {"k=a\\\tb", {{"k", "a\\\tb"}}}}},
        Reading{"RunOfBackslashesBecomesOne",
                {{"dir=top\\\\", {{"dir", "top\\"}}},
                 {"a=\\\\\\b", {{"a", "\\b"}}},
                 {"a=\\\\\\\\", {{"a", "\\"}}},
                 {"a=\\\\b\\\\\\\\c", {{"a", "\\b\\c"}}}}},
        Reading{"SecondOfAPairIsAnEscapeOfItsOwn",
                {{"a=x\\\\=b", {{"a", "x=b"}}}, {"a\\\\=b", {{"a", "b"}}}, {"a=x\\\\ y", {{"a", "x y"}}}}},
        Reading{"BackslashAtTheEndIsOrdinaryUnlessASpaceIsBeforeIt",
                {{"a=b\\", {{"a", "b\\"}}},
                 {"a=\\", {{"a", "\\"}}},
                 {"a=b\t\\", {{"a", "b\t\\"}}},
                 {"a=b \\\\", {{"a", "b \\"}}},
                 {"a=b\\\nc=d", {{"a", "b\\"}, {"c", "d"}}}}},
        Reading{"LoneBackslashIsAKey",
                {{"\\", {{"\\", ""}}}, {"\\\nk=v", {{"\\", ""}, {"k", "v"}}}, {" \\\nk=v", {{"\\", ""}, {"k", "v"}}}}},
        Reading{"SpaceBeforeTheBackslashMayBeTheSeparator", {{"k \\\nx=y", {{"", "x=y"}}}}},
        Reading{"EscapedSpaceBeforeTheBackslashContinuesToo",
                {{"k=v\\ \\\nw", {{"", "w"}}}, {"\\ \\\nw", {{"", "w"}}}}},
        Reading{"UnicodeEscapesAreNotDecoded", {{"v=\\u00e9", {{"v", "\\u00e9"}}}}},
        Reading{"ContinuedLineIsLostAndTheNextIsUnderTheEmptyKey", {{"k = one \\\ntwo", {{"", "two"}}}}},
        Reading{"LineAfterTheContinuationIsOrdinaryAgain", {{"k = one \\\ntwo\na=b", {{"", "two"}, {"a", "b"}}}}},
        Reading{"ContinuationGoesOnOverLinesWithoutAValue",
                {{"k = v \\\n\na=b", {{"", "a=b"}}}, {"k = v \\\n : = \na=b", {{"", "a=b"}}}}},
        Reading{"SeparatorsAtTheStartOfAContinuationAreDropped", {{"k = v \\\n = : w x", {{"", "w x"}}}}},
        Reading{"ContinuationMayBeContinued", {{"k = 1 \\\n2 \\\n3 \\\n4\na=b", {{"", "4"}, {"a", "b"}}}}},
        Reading{"ContinuationAtTheEndOfTheFileStoresNothing", {{"k = v \\", {}}, {"k = v \\\n", {}}}},
        Reading{"ContinuationKeepsAnEarlierValueOfTheKey", {{"k=old\nk=new \\\nmore", {{"", "more"}, {"k", "old"}}}}},
        Reading{"CommentDoesNotEndAContinuation", {{"k = one \\\n# comment\ntwo", {{"", "two"}}}}},
        Reading{"ContinuedCommentContinuesNothing", {{"# comment \\\na=b", {{"a", "b"}}}}},
        Reading{"BlanksAfterTheBackslashAreTrimmedBeforeItIsLookedAt", {{"k = one \\ \t\r\ntwo", {{"", "two"}}}}},
        Reading{"OptionLineKeepsTheSeparatorInTheValue",
                {{"-Xdock:name=App", {{"-Xdock", ":name=App"}}},
                 {"-Xmx512m", {{"-Xmx512m", ""}}},
                 {"-Xa = b", {{"-Xa", " = b"}}},
                 {"-Xa==", {{"-Xa", "=="}}},
                 {"  -Xa=b", {{"-Xa", "=b"}}},
                 {"-X=b", {{"-X", "=b"}}},
                 {"-X", {{"-X", ""}}}}},
        Reading{"OptionLineLosesTheBackslashOfAnEscapedSeparator", {{"-Xa\\=b", {{"-Xa", "=b"}}}}},
        Reading{"OnlyMinusAndCapitalXMakeAnOptionLine",
                {{"-xa:b", {{"-xa", "b"}}},
                 {"Xa:b", {{"Xa", "b"}}},
                 {"--Xa:b", {{"--Xa", "b"}}},
                 {"-a:b", {{"-a", "b"}}},
                 {"- Xa:b", {{"-", "Xa:b"}}},
                 {"\\-Xa:b", {{"\\-Xa", "b"}}}}},
        Reading{"LineOfOneCharacterAfterAnOptionLineIsReadAsOne",
                {{"-Xa\n=", {{"-Xa", ""}, {"", "="}}},
                 {"-Xa\n:\n=", {{"-Xa", ""}, {"", "="}}},
                 {"-X\n:", {{"-X", ""}, {"", ":"}}}}},
        Reading{"LineOfOneCharacterAfterAnyOtherLineIsOrdinary",
                {{"a=b\n=", {{"a", "b"}, {"", ""}}}, {"=", {{"", ""}}}}},
        Reading{
            "LineOfTwoCharactersEndsTheOptionLines",
            {{"-Xa\nbc\n=", {{"-Xa", ""}, {"bc", ""}, {"", ""}}}, {"-Xa\nb=\n=", {{"-Xa", ""}, {"b", ""}, {"", ""}}}}},
        Reading{"BlankLinesAndCommentsDoNotEndTheOptionLines",
                {{"-Xa\n\n=", {{"-Xa", ""}, {"", "="}}},
                 {"-Xa\n# long comment\n=", {{"-Xa", ""}, {"", "="}}},
                 {"-Xa\nb\n=", {{"-Xa", ""}, {"b", ""}, {"", "="}}}}},
        Reading{"ContinuationOfAnOptionLineIsOne", {{"-Xa b \\\n=d", {{"", "=d"}}}, {"-Xa b \\\n=d\n:", {{"", ":"}}}}},
        Reading{"SeparatorAloneDoesNotEndTheContinuationOfAnOptionLine", {{"-Xa \\\n=\nx=1", {{"", "x=1"}}}}},
        Reading{"ContinuedLineBeginsNoOptionLine", {{"k \\\n-Xa:b", {{"", "-Xa:b"}}}, {"k \\\n-Xa:b\n=", {{"", ""}}}}},
        Reading{"EveryByteIsOneCharacter",
                {{"\xE9=\xFC", {{"\xC3\xA9", "\xC3\xBC"}}}, {"k=\xC3\xA9", {{"k", "\xC3\x83\xC2\xA9"}}}}},
        Reading{"HostileFilesAreAnswered",
                {{std::string(100000, '\n'), {{"", ""}}},
                 {std::string(100000, '\\'), {{"\\", ""}}},
                 {std::string(100000, '='), {{"", ""}}},
                 {std::string(100000, ' '), {{"", ""}}},
                 {std::string(100000, '\0'), {{std::string(100000, '\0'), ""}}},
                 {"\xFF\xFE" + std::string("a\0=\0b\0", 6),
                  {{std::string("\xC3\xBF\xC3\xBE"
                                "a\0",
                                6),
                    std::string("\0b\0", 3)}}}}}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(JavaPropertiesTest, BothEndsOfALineAreTrimmed) {
  for (const char* blank : {"\t", "\v", "\f", "\r", " ", "\x85", "\xA0", " \t\r\f\v\xA0\x85 "}) {
    EXPECT_EQ(read(blank + std::string("a=b") + blank), (Entries{{"a", "b"}})) << ::testing::PrintToString(blank);
  }
}

TEST_F(JavaPropertiesTest, OtherControlCharactersAreNotTrimmed) {
  for (int byte = 1; byte < 0x20; ++byte) {
    if (byte >= '\t' && byte <= '\r') continue;
    const std::string control(1, static_cast<char>(byte));
    EXPECT_EQ(read(control + "a=b" + control), (Entries{{control + "a", "b" + control}})) << byte;
  }
  EXPECT_EQ(read("\x7F"
                 "a=b\x7F"),
            (Entries{{"\x7F"
                      "a",
                      "b\x7F"}}));
}

// ----- Reading: separators -----

TEST_F(JavaPropertiesTest, EverySeparatorSeparates) {
  for (const char* separator : {"=", ":", " ", "\t", " = ", "\t:\t", "==", ":=", " : = \t"}) {
    EXPECT_EQ(read("a" + std::string(separator) + "b"), (Entries{{"a", "b"}})) << separator;
  }
}

// ----- Reading: bytes -----

TEST_F(JavaPropertiesTest, NulByteIsOrdinary) {
  const std::string key("a\0b", 3);
  const std::string value("c\0d", 3);
  EXPECT_EQ(read(key + "=" + value), (Entries{{key, value}}));
}

TEST_F(JavaPropertiesTest, AllBytesAreRead) {
  const auto bytes = [](int from, int to) {
    std::string text;
    for (int byte = from; byte <= to; ++byte) text += static_cast<char>(static_cast<unsigned char>(byte));
    return text;
  };
  // The tab at the end of the first line and the blanks at the start of the second are trimmed; the space separates.
  EXPECT_EQ(read(bytes(0, 0xFF)),
            (Entries{{bytes(0, 0x08), ""}, {bytes(0x0E, 0x1F), text::utf8FromLatin1(bytes('!', 0xFF))}}));
}

TEST_F(JavaPropertiesTest, LinesOfTheSameKeyTakeNoMemoryOfTheirOwn) {
  constexpr size_t kSize = size_t{8} << 20U;
  const std::string file = folder.makeFile("many lines", std::string(kSize, '\n') + "a=b");
  const size_t before = host::peakMemory();
  const JavaProperties properties(file);
  EXPECT_LT(host::peakMemory() - before, 8 * kSize);
  EXPECT_EQ(properties.getPropertyForKey("a"), "b");
}

TEST_F(JavaPropertiesTest, LineOfTenMegabytes) {
  const std::string value(10000000, 'x');
  EXPECT_EQ(read("k=" + value), (Entries{{"k", value}}));
  EXPECT_EQ(savedAgain("k=" + value), "k=" + value + "\n");
}

// ----- Saving -----

TEST_F(JavaPropertiesTest, EntriesAreSavedAsEscapedLinesWithoutTheEmptyKey) {
  const struct {
    Entries entries;
    std::string text;
  } rows[] = {
      {{}, ""},
      {{{"", "v"}, {"k", ""}}, "k=\n"},
      {{{"k", "\U0001F600"}}, "k=\\ud83d\\ude00\n"},
      {{{"k", "v\nother=1\r#"}}, "k=v\\u000aother\\=1\\u000d\\#\n"},
      {{{std::string("a\0b", 3), "v"}}, "a\\u0000b=v\n"},
      {{{"b", "2"}, {"a b", " x=y "}, {"#", "!"}, {"\u00E9", "\u20AC"}, {"C", "c\\u0041\\d\\"}},
       "\\#=\\!\nC=c\\u0041\\\\d\\\\\na\\ b= x\\=y \nb=2\n\\u00e9=\\u20ac\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(saved(row.entries), row.text);
}

TEST_F(JavaPropertiesTest, FileThatIsReadAndSavedHoldsItsEntriesOnly) {
  const struct {
    const char *text, *savedText;
  } rows[] = {
      {"\n\na=b\n\n", "a=b\n"},    {"# header\n\nz : 1\n! x\n\na   2\n", "\\!=x\na=2\nz=1\n"},
      {"k = one \\\ntwo", ""},     {"v=\\u00e9\n", "v=\\u00e9\n"},
      {"-Xmx512m", "-Xmx512m=\n"}, {"-Xdock:name=App", "-Xdock=\\:name\\=App\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(savedAgain(row.text), row.savedText) << row.text;
}

TEST_F(JavaPropertiesTest, SeparatorInAKeyAndBackslashBeforeAMarkDoNotSurviveSavingAndReading) {
  saved({{"a b", "1"}, {"x=y", "2"}, {"p:q", "3"}, {"marks", "a#b!c=d:e"}, {"k", "a\\#b\\ c\\\\d\\e"}});
  EXPECT_EQ(
      entriesOf(JavaProperties(folder / "file")),
      (Entries{{"a", "b=1"}, {"x", "y=2"}, {"p", "q=3"}, {"marks", "a#b!c=d:e"}, {"k", "a#b c\\d\\e"}, {"", ""}}));
}

TEST_F(JavaPropertiesTest, SaveToAPathLeavesTheBackingFileAlone) {
  folder.makeFile("file", "k=v");
  EXPECT_TRUE(JavaProperties(folder / "file").savePropertiesToFile(folder / "other"));
  EXPECT_EQ(folder.read("other"), "k=v\n");
  EXPECT_EQ(folder.read("file"), "k=v");
}

// ----- Saving: the file -----

TEST_F(JavaPropertiesTest, SaveReplacesTheFileAlsoWhereItIsALink) {
  folder.makeFile("file", "k=v", 0640);
  ASSERT_EQ(link((folder / "file").c_str(), (folder / "second name").c_str()), 0);
  folder.makeLink("link", "second name");
  for (const char* name : {"file", "link"}) {
    JavaProperties properties(folder / name);
    properties.setProperty("new", "k");
    EXPECT_TRUE(properties.savePropertiesToFile(std::nullopt));
    EXPECT_TRUE(S_ISREG(folder.attributes(name).st_mode)) << name;
    EXPECT_EQ(folder.mode(name), 0640U) << name;
    EXPECT_EQ(folder.read(name), "k=new\n");
  }
  EXPECT_EQ(folder.read("second name"), "k=v");
  EXPECT_EQ(folder.names(), (Lines{"file", "link", "outside", "second name"}));
}

TEST_F(JavaPropertiesTest, FailedSaveIsAnsweredAndLeavesNothing) {
  folder.makeFile("folder/inside", "text");
  folder.makeFile("plain");
  JavaProperties properties;
  properties.setProperty("v", "k");
  for (const char* name : {"folder", "missing/file", "plain/file"}) {
    EXPECT_FALSE(properties.savePropertiesToFile(folder / name)) << name;
  }
  EXPECT_FALSE(properties.savePropertiesToFile(OptionalString("")));
  EXPECT_EQ(folder.names(), (Lines{"folder", "outside", "plain"}));
  EXPECT_EQ(folder.names("folder"), (Lines{"inside"}));
  EXPECT_EQ(log(), (LogLines{{3, "Not saved: " + (folder / "folder") + " exists, but cannot be read."}}));
}

TEST_F(JavaPropertiesTest, FileThatCannotBeReadIsNotReplaced) {
  const std::string fifo = folder.makeFifo("fifo");  // there, but nothing to read from
  JavaProperties properties(fifo);
  properties.setProperty("v", "k");
  EXPECT_FALSE(properties.savePropertiesToFile(std::nullopt));
  EXPECT_EQ(log(), (LogLines{{3, "Not saved: " + fifo + " exists, but cannot be read."}}));
  folder.makeFolder("folder");
  folder.makeLink("link", "fifo");
  for (const std::string& spelling :
       {fifo, folder / "/fifo", folder / "./fifo", folder / "folder/../fifo", folder / "link"}) {
    clearLog();
    EXPECT_FALSE(properties.savePropertiesToFile(spelling));
    EXPECT_EQ(log(), (LogLines{{3, "Not saved: " + spelling + " exists, but cannot be read."}}));
  }
  EXPECT_TRUE(S_ISFIFO(folder.attributes("fifo").st_mode));
  EXPECT_TRUE(S_ISLNK(folder.attributes("link").st_mode));
  clearLog();
  EXPECT_FALSE(JavaProperties(folder.makeFile("file", "k=v")).savePropertiesToFile(fifo));
  EXPECT_EQ(log(), (LogLines{{3, "Not saved: " + fifo + " exists, but cannot be read."}}));
  EXPECT_TRUE(S_ISFIFO(folder.attributes("fifo").st_mode));
  clearLog();
  const std::string circle = folder.makeLink("circle", "circle");  // what is there cannot even be looked up
  EXPECT_FALSE(JavaProperties(circle).savePropertiesToFile(std::nullopt));
  EXPECT_EQ(log(), (LogLines{{3, "Not saved: " + circle + " exists, but cannot be read."}}));
  clearLog();
  EXPECT_TRUE(properties.savePropertiesToFile(folder / "other"));
  EXPECT_EQ(folder.read("other"), "k=v\n");
  EXPECT_TRUE(log().empty());
}

// ----- Merging -----

TEST_F(JavaPropertiesTest, MergeTakesTheOthersEntriesAndSavesAtOnce) {
  folder.makeFile("file", "a=own\nb=own\nc=own");
  folder.makeFile("other", "b=other\nc=\nd=other\n");
  JavaProperties properties(folder / "file");
  properties.mergeWithJavaProperties(folder / "other");
  EXPECT_EQ(entriesOf(properties), (Entries{{"", ""}, {"a", "own"}, {"b", "other"}, {"c", ""}, {"d", "other"}}));
  EXPECT_EQ(folder.read("file"), "a=own\nb=other\nc=\nd=other\n");
  EXPECT_EQ(folder.read("other"), "b=other\nc=\nd=other\n");
}

TEST_F(JavaPropertiesTest, MergeWithNothingThereDoesNotEvenSave) {
  folder.makeFile("file", "# comment\na=own");
  folder.makeFile("other", "a=other");
  JavaProperties properties(folder / "file");
  properties.setProperty("new", "a");
  properties.mergeWithJavaProperties(folder / "missing");
  properties.mergeWithJavaProperties(std::nullopt);
  properties.mergeWithJavaProperties(OptionalString(""));
  properties.mergeWithJavaProperties(throughHome(folder / "other"));  // it is looked for without expanding the tilde
  EXPECT_EQ(entriesOf(properties), (Entries{{"a", "new"}}));
  EXPECT_EQ(folder.read("file"), "# comment\na=own");
}

TEST_F(JavaPropertiesTest, MergeThatChangesNothingStillSaves) {
  folder.makeFolder("folder");
  for (const char* other : {"folder", "file"}) {
    folder.makeFile("file", "# comment\na=own");
    JavaProperties(folder / "file").mergeWithJavaProperties(folder / other);
    EXPECT_EQ(folder.read("file"), "a=own\n") << other;
  }
}

TEST_F(JavaPropertiesTest, MergeWithoutABackingFileHappensInMemory) {
  folder.makeFile("other", "a=other");
  JavaProperties properties;
  properties.mergeWithJavaProperties(folder / "other");
  EXPECT_EQ(properties.getPropertyForKey("a"), "other");
  EXPECT_EQ(folder.names(), (Lines{"other", "outside"}));
}

}  // namespace

}  // namespace hotfix
