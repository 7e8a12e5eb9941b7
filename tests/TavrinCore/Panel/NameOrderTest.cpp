#include "TavrinCore/Panel/NameOrder.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tavrin {
namespace {

using NameOrder::Key;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<Key> ungrouped(const std::vector<std::string>& names) {
  std::vector<Key> keys;
  for (const std::string& name : names) keys.push_back({.group = 0, .name = name});
  return keys;
}

TEST(NameOrder, TheGroupCountsBeforeTheName) {
  const std::vector<Key> keys = {{1, "a"}, {0, "z"}, {1, "B"}, {0, "c"}};
  EXPECT_THAT(NameOrder::order(keys), ElementsAre(3, 1, 0, 2));
}

TEST(NameOrder, NamesThatDifferOnlyInCaseStayInInputOrder) {
  EXPECT_THAT(NameOrder::order(ungrouped({"beta", "Alpha", "alpha", "ALPHA"})), ElementsAre(1, 2, 3, 0));
}

TEST(NameOrder, TheVerySameNameIsSortedByTheTie) {
  const auto later = [](std::size_t a, std::size_t b) { return a > b; };
  EXPECT_THAT(NameOrder::order(ungrouped({"b", "a", "b", "a"}), later), ElementsAre(3, 1, 2, 0));
}

// By the input, "alpha" 2 comes before "Alpha", and "Alpha" before "alpha" 1. By the tie, "alpha" 1 comes
// before "alpha" 2. No order can satisfy all of that.
TEST(NameOrder, SpellingsKeepTheirPlacesWhileTheirThingsAreSorted) {
  const std::vector<int> number = {2, 0, 1};
  EXPECT_THAT(NameOrder::order(ungrouped({"alpha", "Alpha", "alpha"}),
                               [&](std::size_t a, std::size_t b) { return number[a] < number[b]; }),
              ElementsAre(2, 1, 0));
}

TEST(NameOrder, ManyThingsOfOneNameAndOneTieStayInInputOrder) {
  const auto byTens = [](std::size_t a, std::size_t b) { return a / 10 > b / 10; };
  std::vector<std::size_t> expected;
  for (std::size_t ten = 10; ten-- > 0;) {
    for (std::size_t i = 0; i < 10; ++i) expected.push_back(10 * ten + i);
  }
  EXPECT_EQ(NameOrder::order(ungrouped(std::vector<std::string>(100, "app")), byTens), expected);
}

TEST(NameOrder, AnEmptyListIsInOrder) {
  EXPECT_THAT(NameOrder::order({}), IsEmpty());
}

TEST(NameOrder, EachSpellingIsRankedOnce) {
  std::vector<Key> keys;
  for (std::size_t i = 0; i < 10'000; ++i)
    keys.push_back({.group = static_cast<std::uint16_t>(i % 5), .name = "app " + std::to_string(i % 7)});
  std::vector<std::string> asked;
  const auto ranks = [&](std::span<const std::string_view> names) {
    asked.insert(asked.end(), names.begin(), names.end());
    return Collation::ranks(names);
  };
  EXPECT_EQ(NameOrder::order(keys, nullptr, ranks).size(), keys.size());
  EXPECT_THAT(asked, UnorderedElementsAre("app 0", "app 1", "app 2", "app 3", "app 4", "app 5", "app 6"));
}

// Compares the order with a plainer one: every pair follows the rules for pairs, where all of them can be
// kept.
TEST(NameOrder, EveryPairIsInOrderOnGeneratedInput) {
  test::Random random(test::randomSeed());
  constexpr int rounds = 300;
  std::size_t pairs = 0;
  for (int round = 0; round < rounds; ++round) {
    std::vector<Key> keys;
    std::vector<int> ties;
    const std::size_t count = random.below(30);
    for (std::size_t i = 0; i < count; ++i) {
      std::string name(1, static_cast<char>('a' + random.below(4)));
      if (random.below(3) == 0) name[0] = static_cast<char>(name[0] - 'a' + 'A');
      keys.push_back({.group = static_cast<std::uint16_t>(random.below(2)), .name = name});
      ties.push_back(static_cast<int>(random.below(5)));
    }
    const std::vector<std::size_t> order =
        NameOrder::order(keys, [&](std::size_t a, std::size_t b) { return ties[a] < ties[b]; });
    ASSERT_EQ(order.size(), count);
    std::vector<std::size_t> sorted = order;
    std::ranges::sort(sorted);
    for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(sorted[i], i) << "round " << round;

    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t j = i + 1; j < count; ++j) {
        const Key& a = keys[order[i]];
        const Key& b = keys[order[j]];
        ASSERT_LE(a.group, b.group) << "round " << round;
        if (a.group != b.group) continue;
        ASSERT_LE(std::tolower(a.name[0]), std::tolower(b.name[0])) << "round " << round;
        if (a.name == b.name) {
          ASSERT_LE(ties[order[i]], ties[order[j]]) << "round " << round;
          if (ties[order[i]] == ties[order[j]]) {
            ASSERT_LT(order[i], order[j]) << "round " << round;
          }
        }
        ++pairs;
      }
    }
  }
  EXPECT_GT(pairs, 10'000U);
}

}  // namespace
}  // namespace tavrin
