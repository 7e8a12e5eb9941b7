#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Random.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

std::string printedAgain(std::string_view document) {
  const std::optional<json::value> value = Json::parse(document);
  return value ? Json::print(*value) : "not JSON";
}

TEST(JsonPrint, UsesTwoSpacesPerLevelAndEndsWithALineFeed) {
  EXPECT_EQ(printedAgain(R"({"b":[1,{"a":null,"c":[[true]]}],"a":"x"})"),
            R"({
  "b": [
    1,
    {
      "a": null,
      "c": [
        [
          true
        ]
      ]
    }
  ],
  "a": "x"
}
)");
}

TEST(JsonPrint, EmptyArraysAndObjectsTakeNoLines) {
  EXPECT_EQ(printedAgain("{}"), "{}\n");
  EXPECT_EQ(printedAgain("[]"), "[]\n");
  EXPECT_EQ(printedAgain(R"({"a":{},"b":[],"c":[[],{}]})"),
            "{\n  \"a\": {},\n  \"b\": [],\n  \"c\": [\n    [],\n    {}\n  ]\n}\n");
}

TEST(JsonPrint, KeysKeepTheirOrder) {
  EXPECT_EQ(printedAgain(R"({"z":1,"a":2,"M":3,"":4})"),
            "{\n  \"z\": 1,\n  \"a\": 2,\n  \"M\": 3,\n  \"\": 4\n}\n");
}

TEST(JsonPrint, OnlyWhatMustBeEscapedIs) {
  EXPECT_EQ(Json::print(json::value("a/b \"q\" \\ \b\f\n\r\t \x01\x1f\x0b \x7f é 日本 😀 \u2028\u2019")),
            "\"a/b \\\"q\\\" \\\\ \\b\\f\\n\\r\\t \\u0001\\u001f\\u000b \x7f é 日本 😀 \u2028\u2019\"\n");
  EXPECT_EQ(Json::print(json::value(std::string_view("\0", 1))), "\"\\u0000\"\n");
}

TEST(JsonPrint, KeysAreEscapedAsTextsAre) {
  EXPECT_EQ(printedAgain(R"({"a\"\n/é":1})"), "{\n  \"a\\\"\\n/é\": 1\n}\n");
}

TEST(JsonPrint, BareValuesArePrintedAlone) {
  EXPECT_EQ(Json::print(json::value(nullptr)), "null\n");
  EXPECT_EQ(Json::print(json::value(true)), "true\n");
  EXPECT_EQ(Json::print(json::value(false)), "false\n");
  EXPECT_EQ(Json::print(json::value("")), "\"\"\n");
}

TEST(JsonPrint, NumbersInTheirUsualFormComeBackAsTheyStood) {
  const std::vector<std::string> numbers = {"0",
                                            "-1",
                                            "5",
                                            "9007199254740993",
                                            "9223372036854775807",
                                            "-9223372036854775808",
                                            "9223372036854775808",
                                            "18446744073709551615",
                                            "5.0",
                                            "0.0",
                                            "-0.0",
                                            "-5.0",
                                            "0.5",
                                            "-0.5",
                                            "1.1",
                                            "0.1",
                                            "0.30000000000000004",
                                            "100.25",
                                            "9007199254740992.0",
                                            "18446744073709550000.0",
                                            "-9223372036854775000.0",
                                            "-9223372036854776000",
                                            "18446744073709552000",
                                            "100000000000000000000",
                                            "-100000000000000000000",
                                            "123456789012345680000",
                                            "1e+21",
                                            "-1e+21",
                                            "1.5e+300",
                                            "1.7976931348623157e+308",
                                            "0.000001",
                                            "0.00000123",
                                            "1e-7",
                                            "1.5e-7",
                                            "-2.5e-8",
                                            "2.2250738585072014e-308",
                                            "5e-324"};
  for (const std::string& number : numbers) EXPECT_EQ(printedAgain(number), number + "\n");
}

TEST(JsonPrint, NumbersInOtherFormsKeepTheirValueAndKind) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"1e3", "1000.0"},
      {"1E+3", "1000.0"},
      {"5e0", "5.0"},
      {"5.50", "5.5"},
      {"1e-3", "0.001"},
      {"1e21", "1e+21"},
      {"1E21", "1e+21"},
      {"1e20", "100000000000000000000"},
      {"-0", "0"},
      {"-0e0", "-0.0"},
      {"1.0e-07", "1e-7"},
      {"18446744073709551616", "18446744073709552000"},
      {"-9223372036854775809", "-9223372036854776000"},
  };
  for (const auto& [written, printed] : cases) {
    EXPECT_EQ(printedAgain(written), printed + "\n") << written;
    EXPECT_EQ(printedAgain(printed), printed + "\n") << written;
  }
}

TEST(JsonPrint, RandomDoublesReadBackBitForBitAsDoubles) {
  test::Random random(test::randomSeed());
  int finite = 0;
  for (int i = 0; i < 200'000; ++i) {
    // First any bit pattern, then numbers of ordinary size.
    double number = std::bit_cast<double>(random.any<std::uint64_t>());
    if (i % 2 == 1)
      number = std::ldexp(static_cast<double>(random.any<std::uint64_t>() >> random.below(64)),
                          -static_cast<int>(random.below(40)));
    if (!std::isfinite(number)) continue;
    ++finite;
    const std::string printed = Json::print(json::value(number));
    const std::optional<json::value> back = Json::parse(printed);
    ASSERT_TRUE(back && back->is_double()) << printed;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back->get_double()), std::bit_cast<std::uint64_t>(number))
        << printed;
  }
  EXPECT_GT(finite, 190'000);
}

TEST(JsonPrint, IntegersReadBackAsIntegers) {
  test::Random random(test::randomSeed());
  for (int i = 0; i < 50'000; ++i) {
    const std::uint64_t bits = random.any<std::uint64_t>() >> random.below(64);
    ASSERT_EQ(Json::parse(Json::print(json::value(bits))), json::value(bits));
    const auto negative = -static_cast<std::int64_t>(bits >> 1U);
    ASSERT_EQ(Json::parse(Json::print(json::value(negative))), json::value(negative));
  }
}

TEST(JsonPrint, ADoubleThatNoDocumentCanHoldIsNull) {
  EXPECT_EQ(Json::print(json::value(std::numeric_limits<double>::infinity())), "null\n");
  EXPECT_EQ(Json::print(json::value(std::numeric_limits<double>::quiet_NaN())), "null\n");
}

TEST(JsonPrint, ADocumentAsDeepAsCanBeReadIsPrinted) {
  const std::string deep = std::string(512, '[') + std::string(512, ']');
  const std::string printed = printedAgain(deep);
  EXPECT_EQ(printedAgain(printed), printed);
  EXPECT_TRUE(printed.ends_with("\n]\n"));
}

TEST(JsonLookUp, AnArrayOfObjectsHoldsOnlyObjects) {
  EXPECT_NE(Json::objects(*Json::parse("[{},{}]")), nullptr);
  EXPECT_NE(Json::objects(*Json::parse("[]")), nullptr);
  for (const char* document : {"[{},1]", "[null]", "[[]]", "{}", "null", "\"[]\"", "3"})
    EXPECT_EQ(Json::objects(*Json::parse(document)), nullptr) << document;
}

TEST(JsonLookUp, AValueOfAnotherTypeIsAsGoodAsMissing) {
  const json::value document = *Json::parse(R"({"o":{"x":1},"a":[{}],"t":"text","n":7,"z":null,"m":[1]})");
  const json::object& object = document.get_object();
  EXPECT_EQ(Json::textAt(object, "t"), "text");
  EXPECT_NE(Json::objectAt(object, "o"), nullptr);
  EXPECT_NE(Json::objectsAt(object, "a"), nullptr);
  for (const char* key : {"o", "a", "n", "z", "m", "missing"})
    EXPECT_EQ(Json::textAt(object, key), std::nullopt);
  for (const char* key : {"a", "t", "n", "z", "m", "missing"})
    EXPECT_EQ(Json::objectAt(object, key), nullptr);
  for (const char* key : {"o", "t", "n", "z", "m", "missing"})
    EXPECT_EQ(Json::objectsAt(object, key), nullptr);
}

}  // namespace
}  // namespace tavrin
