#include "TavrinCore/Support/Json/JsonFields.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/TavrinCore/Support/Json/JsonDocuments.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using Kind = JsonField::Kind;
using Reader = std::optional<JsonFields> (*)(std::string_view, std::span<const std::string_view>);

constexpr std::array<std::string_view, 1> keyA = {"a"};

std::optional<JsonFields> readMessage(std::string_view document,
                                      std::span<const std::string_view> keys = keyA) {
  try {
    return JsonFields::ofMessage(document, keys);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

std::optional<JsonFields> readRecord(std::string_view document,
                                     std::span<const std::string_view> keys = keyA) {
  return JsonFields::ofRecord(document, keys);
}

JsonField fieldA(Reader reader, std::string_view document) {
  const auto fields = reader(document, keyA);
  return fields ? (*fields)[0] : JsonField{.kind = Kind::absent, .text = "refused", .texts = {}};
}

JsonField textField(std::string text) {
  return {.kind = Kind::text, .text = std::move(text), .texts = {}};
}

// The expected text of a field that holds `value`. Only a number's spelling may differ.
JsonField fieldOf(const boost::json::value& value) {
  if (value.is_null()) return {.kind = Kind::null, .text = {}, .texts = {}};
  if (value.is_string()) return textField(std::string(value.as_string()));
  if (value.is_number()) return {.kind = Kind::number, .text = {}, .texts = {}};
  JsonField another{.kind = Kind::another, .text = {}, .texts = {}};
  if (!value.is_array()) return another;
  JsonField texts{.kind = Kind::texts, .text = {}, .texts = {}};
  for (const auto& element : value.as_array()) {
    if (!element.is_string()) return another;
    texts.texts.emplace_back(element.as_string());
  }
  return texts;
}

TEST(JsonFields, EveryDocumentIsJudgedAndReadAsByFoundation) {
  const auto documents = test::jsonDocuments();
  ASSERT_EQ(documents.size(), 172U);
  std::set<std::string> otherwise;
  for (const auto& document : documents) {
    SCOPED_TRACE(document.name);
    if (test::readOtherwise().contains(document.name)) otherwise.insert(document.name);

    std::vector<std::string_view> keys = {"no such key"};
    const boost::json::object* object = document.value ? document.value->if_object() : nullptr;
    if (object != nullptr) {
      for (const auto& member : *object) keys.emplace_back(member.key());
    }
    const auto fields = readMessage(document.text, keys);
    ASSERT_EQ(fields.has_value(), document.value.has_value());
    if (!fields) continue;
    EXPECT_EQ(fields->isObject(), object != nullptr);
    EXPECT_EQ((*fields)[0], JsonField());
    for (std::size_t i = 1; i < keys.size(); ++i) {
      const boost::json::value& value = object->at(keys[i]);
      JsonField field = (*fields)[i];
      if (field.kind == Kind::number) {
        EXPECT_DOUBLE_EQ(std::strtod(field.text.c_str(), nullptr), value.to_number<double>());
        field.text.clear();
      }
      EXPECT_EQ(field, fieldOf(value)) << keys[i];
    }
  }
  EXPECT_EQ(otherwise.size(), test::readOtherwise().size());
}

TEST(JsonFields, ARecordIsRefusedForTheSameReasonsExceptUnusedNumbers) {
  const std::set<std::string> numbersOutOfRange = {"1e400", "-1e400", "over max double", "400 digits"};
  std::size_t exceptions = 0;
  for (const auto& document : test::jsonDocuments()) {
    const bool isException = numbersOutOfRange.contains(document.name);
    exceptions += isException ? 1 : 0;
    const auto fields = readRecord(document.text, {});
    EXPECT_EQ(fields.has_value(), document.value.has_value() || isException) << document.name;
  }
  EXPECT_EQ(exceptions, numbersOutOfRange.size());
}

TEST(JsonFields, FieldsComeInTheOrderOfTheKeys) {
  constexpr std::array<std::string_view, 6> keys = {"z", "a", "", "b", "missing", "é"};
  const auto fields = readMessage(R"({"a":"1","b":["x","y"],"z":null,"\u00e9":1.50,"":true})", keys);
  ASSERT_TRUE(fields);
  EXPECT_TRUE(fields->isObject());
  EXPECT_EQ((*fields)[0].kind, Kind::null);
  EXPECT_EQ((*fields)[1], textField("1"));
  EXPECT_EQ((*fields)[2].kind, Kind::another);
  EXPECT_THAT((*fields)[3].texts, ElementsAre("x", "y"));
  EXPECT_EQ((*fields)[4], JsonField());
  EXPECT_EQ((*fields)[5].text, "1.50");
}

TEST(JsonFields, ADocumentThatIsNotAnObjectHasNoFields) {
  for (const char* document :
       {"[]", R"(["a"])", R"([{"a":"x"}])", R"("a")", "1", "true", "null", R"([["a"]])"}) {
    for (const Reader reader : {readMessage, readRecord}) {
      const auto fields = reader(document, keyA);
      ASSERT_TRUE(fields) << document;
      EXPECT_FALSE(fields->isObject()) << document;
      EXPECT_EQ((*fields)[0], JsonField()) << document;
    }
  }
}

TEST(JsonFields, ValuesOfInnerObjectsAndArraysAreNotTheFields) {
  constexpr std::array<std::string_view, 3> keys = {"a", "b", "c"};
  const auto fields = readMessage(
      R"({"o":{"a":"inner","b":1,"c":["x"]},"a":"outer","p":["a",{"a":"deep"}],"b":{"b":"x","c":["y"]},"q":[["a"]]})",
      keys);
  ASSERT_TRUE(fields);
  EXPECT_EQ((*fields)[0], textField("outer"));
  EXPECT_EQ((*fields)[1], (JsonField{.kind = Kind::another, .text = "", .texts = {}}));
  EXPECT_EQ((*fields)[2], JsonField());
}

TEST(JsonFields, AnArrayIsTextsOnlyWhenEveryElementIsAString) {
  for (const char* array : {R"([])", R"(["x"])", R"(["",""])", R"(["\n","é",])"}) {
    EXPECT_EQ(fieldA(readMessage, "{\"a\":" + std::string(array) + "}").kind, Kind::texts) << array;
  }
  for (const char* array : {"[1]", "[null]", "[true]", "[[]]", "[{}]", R"(["x",1])", R"([null,"x"])",
                            R"(["x",["y"]])", R"([["y"],"x"])", R"([{"y":"z"},"x"])", R"([1.5,"x"])"}) {
    EXPECT_EQ(fieldA(readMessage, "{\"a\":" + std::string(array) + "}").kind, Kind::another) << array;
  }
}

TEST(JsonFields, AMessageTakesTheLastOfEqualKeysAndARecordTheFirst) {
  struct Case {
    std::string_view document;
    JsonField first;
    JsonField last;
  };
  const JsonField null{.kind = Kind::null, .text = {}, .texts = {}};
  const JsonField five{.kind = Kind::number, .text = "5", .texts = {}};
  const JsonField list{.kind = Kind::texts, .text = {}, .texts = {"x", "y"}};
  const JsonField another{.kind = Kind::another, .text = {}, .texts = {}};
  const std::vector<Case> cases = {
      {R"({"a":"1","a":"2"})", textField("1"), textField("2")},
      {R"({"a":"1","b":3,"a":null})", textField("1"), null},
      {R"({"a":null,"a":"2"})", null, textField("2")},
      {R"({"a":5,"a":["x","y"]})", five, list},
      {R"({"a":["x","y"],"a":5})", list, five},
      {R"({"a":["x","y"],"a":[]})", list, {.kind = Kind::texts, .text = {}, .texts = {}}},
      {R"({"a":"1","a":{"a":"3"}})", textField("1"), another},
      {R"({"a":{"a":"3"},"a":"2"})", another, textField("2")},
      {R"({"a":"1","\u0061":"2"})", textField("1"), textField("2")},
      {R"({"a":"1","a":"2","a":["x","y"]})", textField("1"), list},
  };
  for (const Case& item : cases) {
    EXPECT_EQ(fieldA(readRecord, item.document), item.first) << item.document;
    EXPECT_EQ(fieldA(readMessage, item.document), item.last) << item.document;
  }
}

TEST(JsonFields, UnpairedSurrogateEscapesOfAMessageReadAsReplacementCharacters) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"(\ud83e)", "\ufffd"},
      {R"(\uD83E)", "\ufffd"},
      {R"(\udc00)", "\ufffd"},
      {R"(\ud800\udbff)", "\ufffd\ufffd"},
      {R"(\udc00\ud800)", "\ufffd\ufffd"},
      {R"(x\ud83ey)", "x\ufffdy"},
      {R"(\ud83e\u0041)", "\ufffdA"},
      {R"(\ud83e\n)", "\ufffd\n"},
      {R"(\ud83e\ud83d\ude00)", "\ufffd😀"},
      {R"(\ud83d\ude00\ude00)", "😀\ufffd"},
      {R"(\ud83d\ude00\ud83d\ude00\ud83d)", "😀😀\ufffd"},
      // An escaped backslash does not start an escape.
      {R"(\\ud83e)", R"(\ud83e)"},
      {R"(\\ud83e\ud83e)", "\\ud83e\ufffd"},
      {R"(\\\ud83e)", "\\\ufffd"},
      {R"(\\\\ud83e)", R"(\\ud83e)"},
      {R"(\ud83d\\ude00)", "\ufffd\\ude00"},
      {R"(\"\ud83e\")", "\"\ufffd\""},
      {R"(\/\ud83e\/)", "/\ufffd/"},
      // The neighbours of the surrogates in the table of code points are valid.
      {R"(\ud7ff\ue000\ud83e)", "\ud7ff\ue000\ufffd"},
  };
  for (const auto& [escaped, expected] : cases) {
    EXPECT_EQ(fieldA(readMessage, "{\"a\":\"" + escaped + "\"}"), textField(expected)) << escaped;
    EXPECT_THAT(fieldA(readMessage, "{\"a\":[\"" + escaped + "\"]}").texts, ElementsAre(expected)) << escaped;
    // As a key, where it must not hide the other key.
    const std::array<std::string_view, 2> keys = {expected, "other"};
    const auto fields = readMessage("{\"" + escaped + R"(":"x","other":"y"})", keys);
    ASSERT_TRUE(fields) << escaped;
    EXPECT_EQ((*fields)[0], textField("x")) << escaped;
    EXPECT_EQ((*fields)[1], textField("y")) << escaped;
  }
}

TEST(JsonFields, MendingSurrogatesChangesNothingElse) {
  for (const char* document : {
           R"({"a":"\ud83e",b:1})",
           R"({"a":"\ud83e"} x)",
           R"({"a":"\ud83e\x"})",
           R"({"a":"\ud83)",
           R"({"a":"\ud83e)",
           R"({"a":"\ud83"})",
           R"({"a":"\ud83e","b":"\ud83g"})",
           R"({"a":\ud83e})",
           R"(\ud83e)",
           "{\"a\":\"\\ud83e\xff\"}",
           "{\"a\":\"\\ud83e\n\"}",
           R"({"a":"\ud83e","b":1e400})",
           R"({"a":"\u-83e"})",
           R"({"a":"\u d83"})",
       }) {
    EXPECT_FALSE(readMessage(document)) << document;
  }
}

TEST(JsonFields, AnUnpairedSurrogateEscapeOfARecordIsAnErrorOnlyInAFieldThatWasAskedFor) {
  for (const char* document : {
           R"({"a":"x","b":"\ud83e"})",
           R"({"b":"\ud83e","a":"x"})",
           R"({"\ud83e":1,"a":"x"})",
           R"({"\udc00":"\udc00","a":"x"})",
           R"({"a":"x","b":{"a":"\ud83e"}})",
           R"({"a":"x","b":["\ud83e"]})",
           R"({"a":"x","a":"\ud83e"})",
       }) {
    EXPECT_EQ(fieldA(readRecord, document), textField("x")) << document;
  }
  for (const char* document : {
           R"({"a":"\ud83e"})",
           R"({"a":"\udc00x"})",
           R"({"a":["x","\ud83e"]})",
           R"({"a":"\ud83e","a":"x"})",
           R"({"b":"\ud83e","a":"\ud83e"})",
           R"({"b":"\ud83e"]})",
       }) {
    EXPECT_FALSE(readRecord(document)) << document;
  }
  // U+FFFD itself, raw or escaped, is an ordinary character.
  EXPECT_EQ(fieldA(readRecord, R"({"a":"\ufffd","b":"\ud83e"})"), textField("\ufffd"));
  EXPECT_EQ(fieldA(readRecord, "{\"a\":\"\ufffd\",\"b\":\"\\ud83e\"}"), textField("\ufffd"));
}

TEST(JsonFields, ANumberBeyondADoubleIsAnErrorInAMessageAndInARecordOnlyNoInteger) {
  for (const std::string& number :
       std::vector<std::string>{"1e400", "-1e400", "1.8e308", "1e99999999999999999999"}) {
    for (const char* key : {"a", "b"}) {
      const std::string document = "{\"" + std::string(key) + "\":" + number + "}";
      EXPECT_FALSE(readMessage(document)) << document;
      EXPECT_TRUE(readRecord(document)) << document;
    }
    const JsonField field = fieldA(readRecord, "{\"a\":" + number + "}");
    EXPECT_EQ(field.kind, Kind::number) << number;
    EXPECT_EQ(field.asInt32(), std::nullopt) << number;
    EXPECT_EQ(field.asUInt64(), std::nullopt) << number;
  }
  // The last accepted number rounds down to the largest double. The first rejected one would round up.
  for (const char* number : {"1e-400", "1.7976931348623157e308", "1.7976931348623158e308",
                             "-1.7976931348623158e+308", "1.797693134862315807e308"}) {
    EXPECT_TRUE(readMessage("{\"a\":" + std::string(number) + "}")) << number;
  }
  EXPECT_FALSE(readMessage(R"({"a":1.797693134862315808e308})"));
}

TEST(JsonFields, OnlyNumbersThatAreIntegersAndFitAreIntegers) {
  struct Case {
    std::string_view digits;
    std::optional<std::int32_t> asInt32;
    std::optional<std::uint64_t> asUInt64;
  };
  constexpr auto no = std::nullopt;
  const std::vector<Case> cases = {
      {"0", 0, 0},
      {"5", 5, 5},
      {"5.0", 5, 5},
      {"5.000", 5, 5},
      {"5e0", 5, 5},
      {"5E+0", 5, 5},
      {"5e-0", 5, 5},
      {"5e1", 50, 50},
      {"50e-1", 5, 5},
      {"5.5", no, no},
      {"5.5e1", 55, 55},
      {"55e-1", no, no},
      {"5e-1", no, no},
      {"0.5", no, no},
      {"0.05e2", 5, 5},
      {"1.10e1", 11, 11},
      {"100e-2", 1, 1},
      {"105e-1", no, no},
      {"-0", 0, 0},
      {"-0.0", 0, 0},
      {"0.000", 0, 0},
      {"0e5", 0, 0},
      {"0e-5", 0, 0},
      {"1e-400", no, no},
      {"-1", -1, no},
      {"-1.0", -1, no},
      {"-5e1", -50, no},
      {"2147483647", 2147483647, 2147483647},
      {"2147483647.0", 2147483647, 2147483647},
      {"2147483648", no, 2147483648},
      {"-2147483648", std::numeric_limits<std::int32_t>::min(), no},
      {"-2147483648.0", std::numeric_limits<std::int32_t>::min(), no},
      {"-2147483649", no, no},
      {"1e9", 1'000'000'000, 1'000'000'000},
      {"1e10", no, 10'000'000'000},
      {"9007199254740993", no, 9'007'199'254'740'993},
      {"9007199254740993.0", no, 9'007'199'254'740'993},
      {"9223372036854775808", no, 9'223'372'036'854'775'808U},
      {"1e19", no, 10'000'000'000'000'000'000U},
      {"18446744073709551615", no, 18'446'744'073'709'551'615U},
      // Read as a double first, and as a double it is 2^64.
      {"18446744073709551615.0", no, no},
      {"1.8446744073709551615e19", no, no},
      {"18446744073709551616", no, no},
      {"1e20", no, no},
      {"99999999999999999999", no, no},
  };
  for (const Case& item : cases) {
    const JsonField field = fieldA(readRecord, "{\"a\":" + std::string(item.digits) + "}");
    EXPECT_EQ(field.kind, Kind::number) << item.digits;
    EXPECT_EQ(field.text, item.digits);
    EXPECT_EQ(field.asInt32(), item.asInt32) << item.digits;
    EXPECT_EQ(field.asUInt64(), item.asUInt64) << item.digits;
    EXPECT_EQ(field.asText(), nullptr) << item.digits;
  }
  for (const char* value : {R"("5")", "null", "true", "[5]", R"(["5"])", "{}"}) {
    const JsonField field = fieldA(readRecord, "{\"a\":" + std::string(value) + "}");
    EXPECT_EQ(field.asInt32(), no) << value;
    EXPECT_EQ(field.asUInt64(), no) << value;
  }
}

TEST(JsonFields, AFieldWithAnExponentAtTheEndOfItsRangeIsNotAnInteger) {
  for (const char* digits :
       {"1.5e-9223372036854775808", "15e-9223372036854775808", "1.5e9223372036854775807"}) {
    JsonField field;
    field.kind = Kind::number;
    field.text = digits;
    EXPECT_EQ(field.asInt32(), std::nullopt) << digits;
    EXPECT_EQ(field.asUInt64(), std::nullopt) << digits;
  }
}

TEST(JsonFields, AnExponentOfAnyLengthIsRead) {
  for (const char* zero :
       {"0e99999999999999999999", "0E+2147483648", "-0.0e-99999999999999999999", "0.000e2147483647"}) {
    const std::string document = "{\"a\":" + std::string(zero) + "}";
    EXPECT_EQ(fieldA(readMessage, document).asInt32(), 0) << zero;
    EXPECT_EQ(fieldA(readRecord, document).asUInt64(), 0U) << zero;
  }
  for (const char* tiny : {"1e-2147483648", "5e-99999999999999999999", "-1.5E-18446744073709551617"}) {
    const std::string document = "{\"b\":" + std::string(tiny) + ",\"a\":" + tiny + "}";
    EXPECT_EQ(fieldA(readMessage, document).kind, Kind::number) << tiny;
    EXPECT_EQ(fieldA(readMessage, document).asInt32(), std::nullopt) << tiny;
    EXPECT_EQ(fieldA(readRecord, document).asUInt64(), std::nullopt) << tiny;
  }
  EXPECT_EQ(fieldA(readMessage, R"({"a":5e00000000000000000001})").asInt32(), 50);
  // An exponent inside a text does not count.
  EXPECT_EQ(fieldA(readMessage, R"({"b":0e99999999999,"a":"\"1e99999999999\ud83e"})"),
            textField("\"1e99999999999\ufffd"));
}

TEST(JsonFields, AHugeExponentOrALongRowOfDigitsIsReadAtOnce) {
  const std::string zeros(500'000, '0');
  const JsonField field = fieldA(readRecord, "{\"a\":7." + zeros + "}");
  EXPECT_EQ(field.asInt32(), 7);
  EXPECT_EQ(field.asUInt64(), 7U);
  EXPECT_EQ(fieldA(readRecord, "{\"a\":1" + zeros + "}").asUInt64(), std::nullopt);
  EXPECT_EQ(fieldA(readRecord, "{\"a\":7" + zeros + "e-500000}").asInt32(), 7);
  EXPECT_EQ(fieldA(readRecord, R"({"a":1e999999999999})").asUInt64(), std::nullopt);
}

TEST(JsonFields, NestingGoesTo512LevelsAndNoFurther) {
  for (const Reader reader : {readMessage, readRecord}) {
    EXPECT_TRUE(reader(test::nested(512), keyA));
    EXPECT_TRUE(reader(test::nested(511), keyA));
    EXPECT_FALSE(reader(test::nested(513), keyA));
    EXPECT_TRUE(reader(test::repeated("[", 512) + test::repeated("]", 512), keyA));
    EXPECT_FALSE(reader(test::repeated("[", 513) + test::repeated("]", 513), keyA));
    EXPECT_TRUE(reader(test::repeated("{\"a\":", 512) + "1" + test::repeated("}", 512), keyA));
    EXPECT_FALSE(reader(test::repeated("{\"a\":", 513) + "1" + test::repeated("}", 513), keyA));
    // The field itself is on the first level.
    EXPECT_TRUE(reader("{\"a\":" + test::nested(511) + "}", keyA));
    EXPECT_FALSE(reader("{\"a\":" + test::nested(512) + "}", keyA));
  }
}

TEST(JsonFields, DeepNestingIsRefusedOnASmallStack) {
  constexpr std::size_t levels = 100'000;
  int refused = 0;
  bool deepestAccepted = false;
  test::onAStackOf(test::smallStack, [&] {
    for (const std::string& document :
         {test::repeated("[", levels), test::repeated("[", levels) + test::repeated("]", levels),
          test::repeated("{\"a\":", levels), test::nested(levels), "{\"a\":" + test::nested(levels) + "}",
          R"({"b":"\ud83e","a":)" + test::nested(levels) + "}"}) {
      refused += readMessage(document) ? 0 : 1;
      refused += readRecord(document) ? 0 : 1;
    }
    deepestAccepted = readMessage(test::nested(512)).has_value();
  });
  EXPECT_EQ(refused, 12);
  EXPECT_TRUE(deepestAccepted);
}

TEST(JsonFields, EveryTruncationOfADocumentIsRefused) {
  const std::string document =
      R"({"a":"x\"\\\/\b\u00e9\ud83d\ude00","b":["y",1,-2.5e+3,true,false,null,{"c":[[]]}],"d":18446744073709551615})";
  ASSERT_TRUE(readMessage(document));
  ASSERT_TRUE(readRecord(document));
  for (std::size_t length = 0; length < document.size(); ++length) {
    EXPECT_FALSE(readMessage(document.substr(0, length))) << length;
    EXPECT_FALSE(readRecord(document.substr(0, length))) << length;
  }
}

TEST(JsonFields, AnErrorDoesNotQuoteTheDocument) {
  for (const char* document :
       {"", "secret", R"({"a":"secret)", R"({"a":"secret\ud83e)", R"({"secret":1e400})"}) {
    try {
      JsonFields::ofMessage(document, keyA);
      ADD_FAILURE() << document;
    } catch (const JsonError& error) {
      const std::string what = error.what();
      EXPECT_TRUE(what.starts_with("not a JSON document: ")) << what;
      EXPECT_EQ(what.find("secret"), std::string::npos) << what;
      EXPECT_EQ(what.find('\n'), std::string::npos) << what;
    }
  }
}

TEST(JsonFields, LongTextsAndKeysArriveWhole) {
  // The parser delivers long texts, and texts with escapes, in parts.
  for (const std::size_t length : {1U, 100U, 4095U, 4096U, 4097U, 100'000U}) {
    const std::string raw(length, 'x');
    const std::string escaped = test::repeated("\\u0041y\\n", length);
    const std::string plain = test::repeated("Ay\n", length);
    const std::array<std::string_view, 2> keys = {raw, plain};
    std::string document = "{";
    for (const std::string_view part : {raw, escaped}) {
      document.append("\"").append(part).append("\":[\"").append(escaped).append("\",\"").append(raw).append(
          "\"],");
    }
    const auto fields = readMessage(document + "}", keys);
    ASSERT_TRUE(fields) << length;
    EXPECT_THAT((*fields)[0].texts, ElementsAre(plain, raw)) << length;
    EXPECT_THAT((*fields)[1].texts, ElementsAre(plain, raw)) << length;
  }
}

}  // namespace
}  // namespace tavrin
