#include "TavrinCore/Agents/AgentReadiness.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tavrin {
namespace {

TEST(AgentReadiness, OnlyActiveIsActive) {
  EXPECT_TRUE(AgentReadiness::active().isActive());
  EXPECT_FALSE(AgentReadiness::checking().isActive());
  EXPECT_FALSE(AgentReadiness::notInstalled().isActive());
  EXPECT_FALSE(AgentReadiness::inactive("", true).isActive());
}

TEST(AgentReadiness, InactiveKeepsWhatItWasGiven) {
  const AgentReadiness inactive = AgentReadiness::inactive("needs a look", true);
  EXPECT_EQ(inactive.kind(), AgentReadiness::Kind::inactive);
  EXPECT_EQ(inactive.reason(), "needs a look");
  EXPECT_TRUE(inactive.fixable());
  EXPECT_FALSE(AgentReadiness::inactive("needs a look", false).fixable());
}

TEST(AgentReadiness, InactiveValuesAreEqualWhenReasonAndFixableAre) {
  EXPECT_EQ(AgentReadiness::inactive("a", true), AgentReadiness::inactive("a", true));
  EXPECT_NE(AgentReadiness::inactive("a", true), AgentReadiness::inactive("a", false));
  EXPECT_NE(AgentReadiness::inactive("a", true), AgentReadiness::inactive("b", true));
}

TEST(AgentReadiness, TheFourKindsDiffer) {
  const std::vector<AgentReadiness> all = {AgentReadiness::inactive("", false),
                                           AgentReadiness::notInstalled(), AgentReadiness::checking(),
                                           AgentReadiness::active()};
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = 0; j < all.size(); ++j) EXPECT_EQ(all[i] == all[j], i == j) << i << " " << j;
  }
}

TEST(AgentReadiness, EachKindHasItsNameInMessages) {
  EXPECT_EQ(rawValue(AgentReadiness::inactive("", false).kind()), "inactive");
  EXPECT_EQ(rawValue(AgentReadiness::notInstalled().kind()), "notInstalled");
  EXPECT_EQ(rawValue(AgentReadiness::checking().kind()), "checking");
  EXPECT_EQ(rawValue(AgentReadiness::active().kind()), "active");
}

}  // namespace
}  // namespace tavrin
