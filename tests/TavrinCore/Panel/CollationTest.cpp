#include "TavrinCore/Panel/Collation.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Panel/CollationPlatform.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;

// The names in their order. Equal names are joined with "=".
std::vector<std::string> order(const std::vector<std::string_view>& names, const std::string& locale) {
  const std::vector<std::size_t> ranks = Collation::ranks(names, locale);
  std::vector<std::pair<std::size_t, std::size_t>> places;
  for (std::size_t i = 0; i < names.size(); ++i) places.emplace_back(ranks[i], i);
  std::ranges::sort(places);
  std::vector<std::string> order;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::string name(names[places[i].second]);
    if (i > 0 && places[i - 1].first == places[i].first) {
      order.back() += "=" + name;
    } else {
      order.push_back(name);
    }
  }
  return order;
}

TEST(Collation, OrdersNamesAsFoundationDoes) {
  std::vector<std::string> names;
  std::vector<std::size_t> groups;
  std::size_t group = 0;
  for (const boost::json::value& line : test::jsonLines("platform/order.jsonl")) {
    for (const boost::json::value& name : line.as_array()) {
      names.emplace_back(name.as_string());
      groups.push_back(group);
    }
    ++group;
  }
  ASSERT_EQ(group, 63U);
  ASSERT_EQ(names.size(), 84U);

  const std::vector<std::string_view> views(names.begin(), names.end());
  const std::vector<std::size_t> ranks = Collation::ranks(views, "en");
  for (std::size_t a = 0; a < names.size(); ++a) {
    for (std::size_t b = 0; b < names.size(); ++b) {
      EXPECT_EQ(ranks[a] <=> ranks[b], groups[a] <=> groups[b]) << names[a] << " and " << names[b];
    }
  }
}

TEST(Collation, FollowsTheLanguage) {
  EXPECT_THAT(order({"zebra", "älg", "alg"}, "en"), ElementsAre("alg", "älg", "zebra"));
  EXPECT_THAT(order({"zebra", "älg", "alg"}, "sv"), ElementsAre("alg", "zebra", "älg"));
}

TEST(Collation, TurkishAndAzerbaijaniHaveTwoLettersI) {
  EXPECT_THAT(order({"i", "I", "ı", "İ"}, "en"), ElementsAre("i=I", "İ", "ı"));
  EXPECT_THAT(order({"i", "I", "ı", "İ"}, "tr"), ElementsAre("I=ı", "i=İ"));
  EXPECT_THAT(order({"i", "I", "ı", "İ"}, "az"), ElementsAre("I=ı", "i=İ"));
}

TEST(Collation, SharpSIsDoubleSAnywhere) {
  EXPECT_THAT(order({"Straße", "STRASSE", "strasse", "STRAẞE", "strate"}, "de"),
              ElementsAre("Straße=STRASSE=strasse=STRAẞE", "strate"));
}

TEST(Collation, AnUnknownLanguageHasSomeOrder) {
  EXPECT_THAT(order({"b", "A", "a"}, "xx_YY"), ElementsAre("A=a", "b"));
  EXPECT_THAT(order({"b", "A", "a"}, std::string(1000, 'x')), ElementsAre("A=a", "b"));
}

TEST(Collation, TheUsersOwnOrderIsBlindToCase) {
  EXPECT_THAT(order({"beta", "Alpha", "alpha", "Beta"}, ""), ElementsAre("Alpha=alpha", "beta=Beta"));
}

TEST(Collation, TakesAnyBytes) {
  const std::string huge(1'000'000, 'a');
  const std::string hugeAndUpper(1'000'000, 'A');
  const std::vector<std::string_view> names = {"",           "\xff\xfe",  std::string_view("a\0b", 3),
                                               "a\xc3",      huge,        hugeAndUpper,
                                               "\U0001f600", "\u202eabc", "שלום"};
  const std::vector<std::size_t> ranks = Collation::ranks(names, "en");
  ASSERT_EQ(ranks.size(), names.size());
  EXPECT_EQ(ranks[0], 0U);
  EXPECT_EQ(ranks[4], ranks[5]);
}

TEST(Collation, NoNamesHaveNoRanks) {
  EXPECT_TRUE(Collation::ranks({}).empty());
}

TEST(Collation, WithoutACollatorNamesComeByCodePointInLowerCase) {
  const std::vector<std::string_view> names = {"b", "A", "a", "\u00e9", "B", "z"};
  EXPECT_EQ(Collation::plainRanks(names), (std::vector<std::size_t>{2, 0, 0, 5, 2, 4}));
}

TEST(Collation, DistinguishesNamesByPunctuationInEveryLanguage) {
  const std::vector<std::string_view> names = {"my-app", "myapp", "my app", "my_app", "My-App"};
  for (const char* locale : {"en", "th", "en@colAlternate=shifted"}) {
    EXPECT_THAT(order(names, locale), ElementsAre("my app", "my_app", "my-app=My-App", "myapp")) << locale;
  }
}

TEST(Collation, TreatsALetterAndASeparateDotAsTheLetter) {
  const std::vector<std::string_view> names = {"Ispir", "\u0130stanbul", "I\u0307stanbul", "istanbul",
                                               "Izmir"};
  const std::vector<std::size_t> ranks = Collation::ranks(names, "tr");
  EXPECT_EQ(ranks[1], ranks[2]);
  EXPECT_EQ(ranks[2], ranks[3]);
  EXPECT_LT(ranks[4], ranks[1]);
}

// Half a million accents on one letter once took minutes, because accents are sorted.
TEST(Collation, LooksAtAsMuchOfANameAsFitsAScreen) {
  std::string accents = "a";
  for (int i = 0; i < 500'000; ++i) accents += i % 2 == 0 ? "\u0301" : "\u0334";
  const std::string longer = accents + "b";
  const std::vector<std::size_t> ranks =
      Collation::ranks(std::vector<std::string_view>{accents, longer}, "en");
  EXPECT_EQ(ranks[0], ranks[1]);
}

}  // namespace
}  // namespace tavrin
