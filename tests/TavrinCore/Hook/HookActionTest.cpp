#include "TavrinCore/Hook/HookAction.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tavrin {
namespace {

TEST(HookAction, SettingCarriesItsState) {
  for (const SessionState state : allSessionStates) {
    const HookAction action = HookAction::set(state);
    EXPECT_EQ(action.state(), state);
    EXPECT_FALSE(action.isRemove());
    EXPECT_FALSE(action.isIgnore());
  }
}

TEST(HookAction, RemovingAndIgnoringCarryNoState) {
  EXPECT_TRUE(HookAction::remove().isRemove());
  EXPECT_FALSE(HookAction::remove().isIgnore());
  EXPECT_EQ(HookAction::remove().state(), std::nullopt);
  EXPECT_TRUE(HookAction::ignore().isIgnore());
  EXPECT_FALSE(HookAction::ignore().isRemove());
  EXPECT_EQ(HookAction::ignore().state(), std::nullopt);
}

TEST(HookAction, EachEqualsOnlyItself) {
  std::vector<HookAction> actions = {HookAction::remove(), HookAction::ignore()};
  for (const SessionState state : allSessionStates) actions.push_back(HookAction::set(state));
  for (std::size_t i = 0; i < actions.size(); ++i) {
    for (std::size_t j = 0; j < actions.size(); ++j) EXPECT_EQ(actions[i] == actions[j], i == j) << i << j;
  }
}

}  // namespace
}  // namespace tavrin
