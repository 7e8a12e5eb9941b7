#include "TavrinCore/Support/ByteOrder.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::size_t> sorted(const std::vector<std::string_view>& texts) {
  return ByteOrder::sorted(texts);
}

TEST(ByteOrder, BytesAreComparedWithoutASign) {
  EXPECT_THAT(sorted({"\xff", "a", "\x80", "Z", ""}), ElementsAre(4, 3, 1, 2, 0));
  EXPECT_THAT(sorted({"b", "a\x80"}), ElementsAre(1, 0));
  EXPECT_THAT(sorted({}), IsEmpty());
}

TEST(ByteOrder, EqualTextsKeepTheirOrder) {
  EXPECT_THAT(sorted({"b", "a", "b", "a"}), ElementsAre(1, 3, 0, 2));
}

TEST(ByteOrder, AZeroByteComesAfterTheEndOfAText) {
  const std::string_view zero("a\0", 2);
  EXPECT_THAT(sorted({zero, "a"}), ElementsAre(1, 0));
}

TEST(ByteOrder, WhatAllTextsBeginWithDoesNotCount) {
  EXPECT_THAT(sorted({"common beginning 2", "common beginning 1", "common beginning "}),
              ElementsAre(2, 1, 0));
  EXPECT_THAT(sorted({"same text for all", "same text for all"}), ElementsAre(0, 1));
  EXPECT_THAT(sorted({"12345678 and b", "12345678 and a", "1"}), ElementsAre(2, 1, 0));
}

TEST(ByteOrder, TheFirstDifferenceDecidesWhereverItIs) {
  for (std::size_t place = 1; place < 40; ++place) {
    const std::string same(place, 'x');
    const std::string greater = same + "\x80" + std::string(40, 'a');
    const std::string less = same + "y" + std::string(40, 'z');
    EXPECT_THAT(sorted({greater, less, same, "a"}), ElementsAre(3, 2, 1, 0)) << "place " << place;
  }
}

TEST(ByteOrder, AgreesWithAPlainStableSortOnGeneratedTexts) {
  test::Random random(test::randomSeed());
  for (int round = 0; round < 500; ++round) {
    const std::string start(random.below(12), 'x');
    std::vector<std::string> texts;
    for (std::size_t i = random.below(40); i > 0; --i) {
      std::string text = start;
      for (std::size_t length = random.below(12); length > 0; --length) {
        text += static_cast<char>(random.below(3) == 0 ? 0 : 0x7f + random.below(3));
      }
      texts.push_back(text);
    }
    std::vector<std::size_t> expected(texts.size());
    std::iota(expected.begin(), expected.end(), std::size_t{0});
    std::ranges::stable_sort(expected, {}, [&](std::size_t i) { return texts[i]; });
    EXPECT_EQ(sorted({texts.begin(), texts.end()}), expected) << "round " << round;
  }
}

}  // namespace
}  // namespace tavrin
