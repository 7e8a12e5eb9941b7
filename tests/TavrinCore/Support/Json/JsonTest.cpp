#include "TavrinCore/Support/Json/Json.hpp"

#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "tests/TavrinCore/Support/Json/JsonDocuments.hpp"

namespace tavrin {
namespace {

using boost::json::value;

// The reference parser may be off by a unit in the last place.
bool areClose(double a, double b) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  return std::signbit(a) == std::signbit(b) && std::nextafter(a, -infinity) <= b &&
         b <= std::nextafter(a, infinity);
}

bool areSame(const value& a, const value& b) {
  if (a.kind() != b.kind()) return false;
  if (a.is_double()) return areClose(a.as_double(), b.as_double());
  if (a.is_array()) {
    const auto& left = a.as_array();
    const auto& right = b.as_array();
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), areSame);
  }
  if (!a.is_object()) return a == b;
  const auto& left = a.as_object();
  const auto& right = b.as_object();
  return left.size() == right.size() && std::all_of(left.begin(), left.end(), [&](const auto& member) {
           const value* other = right.if_contains(member.key());
           return other != nullptr && areSame(member.value(), *other);
         });
}

TEST(Json, EveryDocumentHasTheValueThatFoundationReads) {
  const auto documents = test::jsonDocuments();
  ASSERT_EQ(documents.size(), 172U);
  std::set<std::string> otherwise;
  for (const auto& document : documents) {
    SCOPED_TRACE(document.name);
    if (test::readOtherwise().contains(document.name)) otherwise.insert(document.name);
    const auto parsed = Json::parse(document.text);
    ASSERT_EQ(parsed.has_value(), document.value.has_value());
    if (!parsed) continue;
    EXPECT_TRUE(areSame(*parsed, *document.value)) << boost::json::serialize(*parsed);
  }
  EXPECT_EQ(otherwise.size(), test::readOtherwise().size());
}

TEST(Json, KeysKeepTheirOrderAndTheLastOfEqualOnesCounts) {
  const auto parsed = Json::parse(R"({"z":1,"a":2,"\u006d":3,"z":4,"b":5})");
  ASSERT_TRUE(parsed && parsed->is_object());
  std::vector<std::string> keys;
  for (const auto& member : parsed->as_object()) keys.emplace_back(member.key());
  EXPECT_EQ(keys, (std::vector<std::string>{"z", "a", "m", "b"}));
  EXPECT_EQ(parsed->at("z"), value(4));
}

TEST(Json, NumbersComeAs64BitIntegersWhereTheyFit) {
  EXPECT_TRUE(Json::parse("9223372036854775807")->is_int64());
  EXPECT_TRUE(Json::parse("-9223372036854775808")->is_int64());
  EXPECT_TRUE(Json::parse("9223372036854775808")->is_uint64());
  EXPECT_TRUE(Json::parse("18446744073709551615")->is_uint64());
  EXPECT_TRUE(Json::parse("18446744073709551616")->is_double());
  EXPECT_TRUE(Json::parse("-9223372036854775809")->is_double());
  EXPECT_TRUE(Json::parse("1.0")->is_double());
  EXPECT_TRUE(Json::parse("1e0")->is_double());
  EXPECT_EQ(Json::parse("18446744073709551615")->as_uint64(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Json::parse("-9223372036854775808")->as_int64(), std::numeric_limits<std::int64_t>::min());
}

TEST(Json, OtherNumbersComeAsTheNearestDouble) {
  const std::vector<std::string> numbers = {
      "0.1",
      "-0.0",
      "0.30000000000000004",
      "1e23",
      "8.5e22",
      "9007199254740993.0",
      "123456789012345678901234567890",
      "1234567890123456789012345678901234567890",
      "5e-324",
      "2.4703282292062328e-324",
      "2.4703282292062327e-324",
      "2.2250738585072011e-308",
      "2.2250738585072014e-308",
      "1.7976931348623157e308",
      "1e-400",
      "-1e-400",
      "7.2057594037927933e16",
      "0." + std::string(400, '0') + "1",
      "1" + std::string(300, '0'),
      "0.1234567890123456789012345678901234567890",
      "6.02214076E+23",
      "3.141592653589793238462643383279502884197",
      "9214843084008499.0",
      "0.500000000000000166533453693773481063544750213623046875",
      "30078505129381147446200",
      "1777820000000000000001",
      "0e99999999999999999999",
  };
  for (const std::string& number : numbers) {
    const auto parsed = Json::parse("[" + number + "]");
    ASSERT_TRUE(parsed) << number;
    const double expected = std::strtod(number.c_str(), nullptr);
    const value& element = parsed->at(0);
    ASSERT_TRUE(element.is_double()) << number;
    EXPECT_EQ(element.as_double(), expected) << number;
  }
  EXPECT_TRUE(std::signbit(Json::parse("-0.0")->as_double()));
  for (const char* number :
       {"1e400", "-1e400", "1.8e308", "1.797693134862315808e308", "1e99999999999999999999"}) {
    EXPECT_FALSE(Json::parse(number)) << number;
  }
}

TEST(Json, UnpairedSurrogateEscapesReadAsReplacementCharacters) {
  const auto parsed =
      Json::parse(R"({"\ud83e":["\udc00","\\ud83e","\ud83d\ude00\ud83d"],"x":{"y":"\ud83e"}})");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(*parsed, (value{{"\ufffd", {"\ufffd", "\\ud83e", "😀\ufffd"}}, {"x", {{"y", "\ufffd"}}}}));
  EXPECT_FALSE(Json::parse(R"({"a":"\ud83e"} x)"));
  EXPECT_FALSE(Json::parse(R"({"a":"\ud83e)"));
}

TEST(Json, DeepNestingIsReadAndRefusedOnASmallStack) {
  constexpr std::size_t levels = 100'000;
  int refused = 0;
  bool deepestAccepted = false;
  test::onAStackOf(test::smallStack, [&] {
    for (const std::string& document :
         {test::repeated("[", levels), test::repeated("[", levels) + test::repeated("]", levels),
          test::repeated("{\"a\":", levels), test::nested(levels), test::nested(513)}) {
      refused += Json::parse(document) ? 0 : 1;
    }
    // Its value is destroyed on the same stack.
    deepestAccepted = Json::parse(test::nested(512)).has_value();
  });
  EXPECT_EQ(refused, 5);
  EXPECT_TRUE(deepestAccepted);
}

}  // namespace
}  // namespace tavrin
