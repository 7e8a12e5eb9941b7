#include "TavrinCore/Support/FixedList.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include <string_view>
#include <type_traits>
#include <vector>

namespace tavrin {
namespace {

using Numbers = FixedList<int, 3>;

// Whether a list of these values is a constant that compiles.
template <int... values>
concept fits = requires {
  typename std::bool_constant<(Numbers{values...}.size() == sizeof...(values))>;
};

static_assert(fits<> && fits<1> && fits<1, 2, 3>);
static_assert(!fits<1, 2, 3, 4>, "a list longer than its capacity must not compile");

constexpr Numbers three = {3, 1, 2};
static_assert(three.size() == 3 && three[0] == 3 && three.contains(2) && !three.contains(0));

TEST(FixedList, KeepsItsValuesInOrder) {
  EXPECT_EQ(std::vector<int>(three.begin(), three.end()), (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(three.size(), 3U);
  EXPECT_FALSE(three.empty());
  EXPECT_EQ(three[2], 2);
}

TEST(FixedList, MayHoldFewerThanItsCapacityOrBeEmpty) {
  constexpr Numbers none;
  constexpr Numbers one = {7};
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.begin(), none.end());
  EXPECT_EQ(one.size(), 1U);
  EXPECT_TRUE(one.contains(7));
  // The unused room holds no values.
  EXPECT_FALSE(one.contains(0));
  EXPECT_FALSE(none.contains(0));
}

TEST(FixedList, IsEqualWhenTheValuesAreInTheSameOrder) {
  EXPECT_EQ(three, (Numbers{3, 1, 2}));
  EXPECT_NE(three, (Numbers{1, 2, 3}));
  EXPECT_NE(three, (Numbers{3, 1}));
  EXPECT_NE((Numbers{0}), Numbers());
  EXPECT_EQ(Numbers(), Numbers());
}

TEST(FixedList, FindsTextsByWhatTheySay) {
  constexpr FixedList<std::string_view, 2> names = {"claude", "codex"};
  EXPECT_TRUE(names.contains(std::string("codex")));
  EXPECT_FALSE(names.contains("Codex"));
  EXPECT_FALSE(names.contains(""));
}

// Once the constructor accepted any number of values at run time, and wrote past its end.
TEST(FixedList, RefusesMoreThanItsCapacity) {
  const auto makeTooLong = [](int first) { return FixedList<int, 2>{first, 2, 3}; };
  EXPECT_THROW(makeTooLong(1), std::length_error);
}

TEST(FixedList, CopiesAVectorUpToItsCapacity) {
  const std::vector<int> fitting = {3, 1, 2};
  EXPECT_EQ(Numbers(fitting), three);
  EXPECT_EQ(Numbers(std::vector<int>()), Numbers());
  EXPECT_THROW(Numbers(std::vector<int>(4)), std::length_error);
}

}  // namespace
}  // namespace tavrin
