#include "TavrinCore/Support/CountingSort.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(CountingSort, TheLowerNumberComesFirst) {
  const auto length = [](const std::string& text) { return text.size(); };
  EXPECT_THAT(countingSorted(std::vector<std::string>{"ccc", "a", "", "bb"}, length),
              ElementsAre("", "a", "bb", "ccc"));
  EXPECT_THAT(countingSorted(std::vector<std::string>{}, length), IsEmpty());
}

TEST(CountingSort, AgreesWithAPlainStableSortOnGeneratedItems) {
  using Item = std::pair<std::uint16_t, std::size_t>;
  test::Random random(test::randomSeed());
  for (int round = 0; round < 300; ++round) {
    std::vector<Item> items(random.below(50));
    for (std::size_t i = 0; i < items.size(); ++i)
      items[i] = {static_cast<std::uint16_t>(random.below(20)), i};
    std::vector<Item> expected = items;
    std::ranges::stable_sort(expected, {}, &Item::first);
    EXPECT_EQ(countingSorted(items, [](const Item& item) { return item.first; }), expected)
        << "round " << round;
  }
}

}  // namespace
}  // namespace tavrin
