#include <gmock/gmock.h>

#include "MacInstaller/inspect/Document.h"
#include "MacInstaller/inspect/Show.h"

namespace hotfix {

namespace {

using document::fromText;
using document::Json;
using document::toText;

TEST(DocumentTest, TextIsAStringAndAnyOtherBytesAnObjectThatLosesNothing) {
  EXPECT_EQ(fromText(std::string("\xC3\xA4 b")), Json("\xC3\xA4 b"));
  const std::string odd("/a\xFF\0\x1B[31m", 9);
  const Json json = fromText(odd);
  EXPECT_EQ(document::field(json, "bytes"), Json("2f61ff001b5b33316d"));
  EXPECT_EQ(toText(json), OptionalString(odd));
  EXPECT_EQ(toText(Json::parse(document::toString(json))), OptionalString(odd));
  EXPECT_EQ(fromText(OptionalString()), Json(nullptr));
}

TEST(DocumentTest, ControlCharactersAreEscapedInTheDocument) {
  const std::string text = document::toString(Json{{"a", fromText(std::string("x\x1B[2J\n"))}});
  EXPECT_EQ(text.find('\x1B'), std::string::npos);
  EXPECT_EQ(toText(document::field(Json::parse(text), "a")), OptionalString("x\x1B[2J\n"));
}

TEST(DocumentTest, WhatIsNoTextOfOursIsNone) {
  for (const char* json : {"1", "null", "[]", "{}", R"({"bytes": "0"})", R"({"bytes": "zz"})", R"({"bytes": 1})"}) {
    EXPECT_EQ(toText(Json::parse(json)), std::nullopt) << json;
  }
}

TEST(DocumentTest, DamagedAndBottomlessInputIsNothing) {
  EXPECT_TRUE(document::parsed("{").is_null());
  EXPECT_TRUE(document::parsed("").is_null());
  EXPECT_TRUE(document::parsed("\"\xFF\"").is_null());
  EXPECT_EQ(document::parsed("[1]"), Json::parse("[1]"));
  EXPECT_NO_FATAL_FAILURE((void)document::parsed(std::string(1000000, '[')));
}

TEST(DocumentTest, FieldOfWhatHasNoneIsNull) {
  EXPECT_TRUE(document::field(Json(1), "a").is_null());
  EXPECT_TRUE(document::field(Json::parse("{\"b\": 1}"), "a").is_null());
}

TEST(DocumentTest, TimesAreIso) {
  EXPECT_EQ(document::isoTime(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(document::isoTime(1795000000), "2026-11-18T11:06:40Z");
}

// ----- For a person -----

TEST(ShowTest, CommandsCanBePastedWhateverIsInAPath) {
  Json status = Json::parse(R"({"document": "status", "state": "failed", "home": "/a"})");
  status["wayOut"] = Json::array({document::fromTexts({"cp", "/plain", "/two words", "it's"}),
                                  document::fromTexts({"cp", "/a\x1B[2J\xFF'\\\n", "\xC3\xA4"})});
  const std::string text = show::shown(status);
  EXPECT_THAT(text, ::testing::HasSubstr("  cp /plain '/two words' 'it'\\''s'\n"));
  EXPECT_THAT(text, ::testing::HasSubstr("  cp $'/a\\033[2J\\377\\'\\\\\\012' '\xC3\xA4'\n"));
}

TEST(ShowTest, InterruptedRunShowsHowFarItCame) {
  const Json status = Json::parse(R"({"document": "status", "state": "interrupted", "home": "/a", "progress":
      [{"step": "one", "done": true}, {"step": "two", "done": false}]})");
  EXPECT_THAT(show::shown(status), ::testing::HasSubstr("\nHow far it came\n  done     one\n  missing  two\n"));
}

TEST(ShowTest, NamesDriveNoTerminal) {
  Json status = Json::parse(R"({"document": "status", "state": "failed", "evidence": []})");
  status["home"] = document::fromText(std::string("/a\x1B[31m\x9B\n/b"));
  const std::string text = show::shown(status);
  EXPECT_EQ(text.find('\x1B'), std::string::npos);
  EXPECT_EQ(text.find('\x9B'), std::string::npos);
  EXPECT_THAT(text, ::testing::HasSubstr("/a?[31m"));
}

}  // namespace

}  // namespace hotfix
