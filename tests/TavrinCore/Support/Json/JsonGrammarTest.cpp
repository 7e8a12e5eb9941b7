#include "TavrinCore/Support/Json/JsonGrammar.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrin {
namespace {

TEST(JsonGrammar, MendingReplacesUnpairedSurrogateEscapesAndLeavesWholeOnes) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {R"("\ud83e")", R"("\ufffd")"},
      {R"("\uDBFF\uDC00\uDC00")", R"("\uDBFF\uDC00\ufffd")"},
      {R"("\ud800\ud800\udfff\udfff")", R"("\ufffd\ud800\udfff\ufffd")"},
      {R"("\udc00\ud800")", R"("\ufffd\ufffd")"},
      {R"("\ud83ex\ude00")", R"("\ufffdx\ufffd")"},
      {R"("\ud83e\u0041\\ud83e\\\ud83e")", R"("\ufffd\u0041\\ud83e\\\ufffd")"},
      {R"("\ud7ff\ue000")", R"("\ud7ff\ue000")"},
      // Half an escape at the end, and no escape.
      {R"("\ud83e\ude0)", R"("\ufffd\ude0)"},
      {R"("\ud83)", R"("\ud83)"},
      {R"("\)", R"("\)"},
      {R"("\u-83e\u+83e\u 83e\u0xd8")", R"("\u-83e\u+83e\u 83e\u0xd8")"},
      {"", ""},
  };
  for (const auto& [document, expected] : cases) {
    EXPECT_EQ(JsonGrammar::mended(document, "\\ufffd"), expected) << document;
  }
  EXPECT_EQ(JsonGrammar::mended(R"("\ud83e")", "\\ufffe"), R"("\ufffe")");
}

TEST(JsonGrammar, EveryPairOfUtf16UnitsIsMendedIfItIsNotASurrogatePair) {
  // The ends of each range, in all combinations.
  const std::vector<std::pair<std::string_view, char>> units = {
      {"\\u0000", 'o'}, {"\\ud7ff", 'o'}, {"\\ud800", 'l'}, {"\\udbff", 'l'},
      {"\\udc00", 't'}, {"\\udfff", 't'}, {"\\ue000", 'o'}, {"\\uffff", 'o'},
  };
  int cases = 0;
  for (const auto& [first, firstKind] : units) {
    for (const auto& [second, secondKind] : units) {
      const bool isPair = firstKind == 'l' && secondKind == 't';
      std::string expected(firstKind == 'o' || isPair ? first : "\\ufffd");
      expected += secondKind == 'o' || isPair ? second : "\\ufffd";
      EXPECT_EQ(JsonGrammar::mended(std::string(first) + std::string(second), "\\ufffd"), expected);
      ++cases;
    }
  }
  EXPECT_EQ(cases, 64);
}

TEST(JsonGrammar, MendingCapsExponentsOutsideOfTexts) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"1e1234567890", "1e0999999999"},
      {"[1E+99999999999,0.5e-99999999999]", "[1E+00999999999,0.5e-00999999999]"},
      {"1e999999999", "1e999999999"},
      {"1e00000000000000000001", "1e00000000000000000001"},
      {"1e0001234567890", "1e0000999999999"},
      {R"({"1e99999999999":"1e99999999999"})", R"({"1e99999999999":"1e99999999999"})"},
      {R"(["\"1e99999999999","\\",1e99999999999])", R"(["\"1e99999999999","\\",1e00999999999])"},
      {"12345678901234567890", "12345678901234567890"},
      {"true,false,e,1e,1e+", "true,false,e,1e,1e+"},
  };
  for (const auto& [document, expected] : cases) {
    EXPECT_EQ(JsonGrammar::mended(document, "\\ufffd"), expected) << document;
  }
}

TEST(JsonGrammar, MendingTwiceIsMendingOnce) {
  const std::string document = R"({"\ud83e":["\udc00",1e99999999999,"\\ud83e"],"b":-0.1E-12345678901})";
  const std::string once = JsonGrammar::mended(document, "\\ufffd");
  EXPECT_NE(once, document);
  EXPECT_EQ(once.size(), document.size());
  EXPECT_EQ(JsonGrammar::mended(once, "\\ufffd"), once);
}

TEST(JsonGrammar, TheNearestDoubleIsTheRoundedOneAndInfiniteBeyondTheLargest) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double largest = std::numeric_limits<double>::max();
  EXPECT_EQ(JsonGrammar::nearestDouble(0.1, "0.1"), 0.1);
  EXPECT_EQ(JsonGrammar::nearestDouble(0.30000000000000010, "0.30000000000000004"), 0.30000000000000004);
  EXPECT_EQ(JsonGrammar::nearestDouble(infinity, "1.7976931348623158e308"), largest);
  EXPECT_EQ(JsonGrammar::nearestDouble(-infinity, "-1.7976931348623158e308"), -largest);
  EXPECT_EQ(JsonGrammar::nearestDouble(infinity, "1e309"), infinity);
  EXPECT_EQ(JsonGrammar::nearestDouble(0, "1e-400"), 0);
  EXPECT_EQ(JsonGrammar::nearestDouble(0, "5e-324"), std::numeric_limits<double>::denorm_min());
}

// A number too small to differ from zero lost its sign, so "-1e-400" was not what strtod(3) returns.
TEST(JsonGrammar, ADoubleOutOfRangeKeepsItsSign) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(std::signbit(JsonGrammar::nearestDouble(-0.0, "-1e-400")));
  EXPECT_FALSE(std::signbit(JsonGrammar::nearestDouble(0.0, "1e-400")));
  EXPECT_EQ(JsonGrammar::nearestDouble(-infinity, "-1e309"), -infinity);
}

}  // namespace
}  // namespace tavrin
