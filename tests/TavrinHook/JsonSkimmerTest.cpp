#include "TavrinHook/JsonSkimmer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "tests/TavrinCore/Support/Json/JsonDocuments.hpp"
#include "tests/support/Random.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

constexpr std::array<std::string_view, 6> keys = {"session_id", "cwd",       "tool_name",
                                                  "a",          "sessionId", "texts"};

// What is left of `text` when it arrives `pieceSize` bytes at a time.
std::string skimmed(std::string_view text, std::size_t pieceSize = std::string_view::npos) {
  JsonSkimmer skimmer(keys);
  std::string held;
  while (!text.empty()) {
    held += text.substr(0, pieceSize);
    text.remove_prefix(std::min(pieceSize, text.size()));
    const std::size_t used = skimmer.add(held, false);
    EXPECT_LE(held.size() - used, JsonSkimmer::mostLeftOver);
    held.erase(0, used);
  }
  EXPECT_EQ(skimmer.add(held, true), held.size());
  return skimmer.take();
}

// The fields that a reader of the keys finds in a text, or why it rejects the text.
std::pair<std::optional<std::vector<JsonField>>, std::string> reading(std::string_view text) {
  try {
    const JsonFields fields = JsonFields::ofMessage(text, keys);
    std::vector<JsonField> all;
    for (std::size_t i = 0; i < keys.size(); ++i) all.push_back(fields[i]);
    return {all, fields.isObject() ? "object" : "another"};
  } catch (const JsonError& error) {
    return {std::nullopt, error.what()};
  }
}

// Expects that the text and what is left of it have the same fields, however many pieces it arrives in. If a
// character is damaged, the reason for rejecting the text may differ, because it depends on how many bytes
// follow.
void expectSameReading(const std::string& text) {
  const std::string left = skimmed(text);
  const auto [fields, kind] = reading(text);
  const auto [fieldsLeft, kindLeft] = reading(left);
  EXPECT_EQ(fieldsLeft, fields) << text << '\n' << left;
  if (fields || Text::isValidUtf8(text)) {
    EXPECT_EQ(kindLeft, kind) << text << '\n' << left;
  }
  for (const std::size_t pieceSize : {1U, 2U, 5U, 13U}) {
    EXPECT_EQ(skimmed(text, pieceSize), left) << pieceSize << ' ' << text;
  }
}

TEST(JsonSkimmer, OnlyStringsUnderTheKeysKeepTheirContent) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"a":"one","b":"two"})", R"({"a":"one","b":""})"},
      {R"({"b":{"a":"one","c":["two",{"d":"three"}]},"a":"four"})",
       R"({"b":{"":"","":["",{"":""}]},"a":"four"})"},
      {R"({"texts":["one","two",{"three":"four"}]})", R"({"texts":["one","two",{"three":"four"}]})"},
      {R"({ "b" : "two" , "a" : "one" })", R"({ "b" : "" , "a" : "one" })"},
      {R"({"b":"\"a\":\"one\"","a":"\"b\":\"two\""})", R"({"b":"","a":"\"b\":\"two\""})"},
      {R"({"b":"back\\","a":"slash\\"})", R"({"b":"","a":"slash\\"})"},
      {R"("bare text")", R"("bare text")"},
      {R"(["a","b"])", R"(["a","b"])"},
      {R"({"b":12,"c":[true,null,1.5e3]})", R"({"b":12,"c":[true,null,1.5e3]})"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(skimmed(text), expected);
    expectSameReading(text);
  }
}

TEST(JsonSkimmer, AKeySpeltWithAnEscapeKeepsItsValue) {
  EXPECT_EQ(skimmed(R"({"\u0061":"one","c\u0077d":"two"})"), R"({"\u0061":"one","c\u0077d":"two"})");
}

TEST(JsonSkimmer, WhatOnlyAParserCanJudgeStaysInApartFromTheRest) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"b":"x\ud83dy"})", R"({"b":" \ud83d"})"},
      {R"({"b":"x\ude00\ud83dy"})", R"({"b":" \ude00 \ud83d"})"},
      {R"({"b":"x\ud83dy\ude00"})", R"({"b":" \ud83d \ude00"})"},
      {R"({"b":"x\ud83d\ude00y"})", R"({"b":""})"},
      {R"({"b":"x\qy"})", R"({"b":" \q"})"},
      {R"({"b":"x\u12y4"})", R"({"b":" \u"})"},
      {"{\"b\":\"x\ny\"}", "{\"b\":\" \n\"}"},
      {"{\"b\":\"\xF0\x9F\x98\x80\"}", "{\"b\":\"\"}"},
      {"{\"b\":\"\xF0\x9Fx\x98\x80\"}", "{\"b\":\" \xF0 \x9F \x98 \x80\"}"},
      {"{\"b\":\"\xC0\x80\xED\xA0\x80\"}", "{\"b\":\" \xC0 \x80 \xED \xA0 \x80\"}"},
      {R"({"b":"never ends)", R"({"b":")"},
      {R"({"b":"ends in a backslash\)", R"({"b":" \)"},
      {R"({"b":"ends in an escape\u00)", R"({"b":" \u)"},
      {R"({"a":"ends in a backslash\)", R"({"a":"ends in a backslash\)"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(skimmed(text), expected);
    expectSameReading(text);
  }
}

TEST(JsonSkimmer, EveryByteOfALongStringIsSeenAtAnyOffset) {
  int count = 0;
  for (std::size_t position = 0; position < 20; ++position) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string content(20, 'x');
      content[position] = static_cast<char>(byte);
      expectSameReading(R"({"b":")" + content + R"(","a":"one"})");
      ++count;
    }
  }
  EXPECT_EQ(count, 5'120);
}

TEST(JsonSkimmer, EveryRecordedDocumentReadsTheSame) {
  int count = 0;
  for (const test::JsonDocument& document : test::jsonDocuments()) {
    SCOPED_TRACE(document.name);
    expectSameReading(document.text);
    expectSameReading(R"({"b":)" + document.text + R"(,"a":"one"})");
    expectSameReading(R"({"a":)" + document.text + R"(,"b":"two"})");
    ++count;
  }
  EXPECT_GT(count, 100);
}

TEST(JsonSkimmer, ARecordedEventReadsTheSame) {
  int count = 0;
  for (const test::Scenario& scenario : test::recordedScenarios()) {
    for (const test::RecordedEvent& event : scenario.events) {
      SCOPED_TRACE(event.file.string());
      const std::string text = test::readFile(event.file);
      EXPECT_EQ(reading(skimmed(text)), reading(text));
      EXPECT_EQ(skimmed(text, 17), skimmed(text));
      EXPECT_LE(skimmed(text).size(), text.size());
      ++count;
    }
  }
  EXPECT_GT(count, 400);
}

TEST(JsonSkimmer, ADocumentThatIsCutOffIsReportedAsSuch) {
  const std::string whole = R"({"a":"one \"\u00e9","b":{"a":"two\n\ud83d\ude00","c":["\\","x"]},"cwd":"/"})";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string text = whole.substr(0, size);
    EXPECT_EQ(reading(skimmed(text)), reading(text)) << text;
    EXPECT_THAT(reading(text).second, testing::HasSubstr("incomplete")) << text;
  }
}

TEST(JsonSkimmer, DamageReadsTheSame) {
  test::Random random(test::randomSeed());
  const std::string sound =
      R"({"a":"one \"\u00e9\ud83d\ude00","b":{"a":"two\n\ud83d\ude00","c":["\\","\u0041"]},)"
      "\"texts\":[\"three\",\"\xC3\xA9\"],\"d\":\"\xF0\x9F\x98\x80\xE2\x82\xAC\",\"cwd\":\"/\"}";
  constexpr std::string_view bytes = "\"\\{}[]:,u d8\n\x80\xC3\xF0";
  int count = 0;
  for (; count < 20'000; ++count) {
    std::string text = sound;
    for (std::size_t changes = random.below(3) + 1; changes > 0; --changes) {
      const std::size_t at = random.below(text.size());
      switch (random.below(3)) {
        case 0:
          text[at] = random.of(bytes);
          break;
        case 1:
          text.erase(at, 1 + random.below(4));
          break;
        default:
          text.insert(at, 1, random.of(bytes));
      }
    }
    expectSameReading(text);
    if (::testing::Test::HasFailure()) break;
  }
  EXPECT_EQ(count, 20'000);
}

}  // namespace
}  // namespace tavrin
