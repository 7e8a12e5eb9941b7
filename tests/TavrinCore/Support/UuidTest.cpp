#include "TavrinCore/Support/Uuid.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <set>
#include <string>

namespace tavrin {
namespace {

TEST(Uuid, IsARandomOneInUpperCase) {
  std::set<std::string> all;
  for (int i = 0; i < 2'000; ++i) {
    const std::string uuid = Uuid::random();
    ASSERT_THAT(uuid, testing::MatchesRegex("[0-9A-F]+-[0-9A-F]+-4[0-9A-F]+-[89AB][0-9A-F]+-[0-9A-F]+"));
    ASSERT_EQ(uuid.size(), 36U);
    for (const std::size_t dash : {8U, 13U, 18U, 23U}) ASSERT_EQ(uuid[dash], '-');
    EXPECT_TRUE(all.insert(uuid).second) << uuid;
  }
}

TEST(Uuid, EveryFreeDigitTakesEveryValue) {
  // In 2,000 draws, one of 16 values is missing at a place once in 10^56 runs.
  std::array<std::set<char>, 36> seen;
  for (int i = 0; i < 2'000; ++i) {
    const std::string uuid = Uuid::random();
    for (std::size_t place = 0; place < seen.size(); ++place) seen.at(place).insert(uuid.at(place));
  }
  for (std::size_t place = 0; place < seen.size(); ++place) {
    const bool isDash = place == 8 || place == 13 || place == 18 || place == 23;
    const std::size_t values = isDash || place == 14 ? 1 : place == 19 ? 4 : 16;
    EXPECT_EQ(seen.at(place).size(), values) << place;
  }
}

}  // namespace
}  // namespace tavrin
