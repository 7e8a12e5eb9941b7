#include "TavrinCore/Sessions/SessionState.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrin {
namespace {

TEST(SessionState, NamesAndSeverityComeInTheFixedOrder) {
  std::vector<std::string> lines;
  for (const SessionState state : allSessionStates) {
    lines.push_back(std::string(rawValue(state)) + "|" + std::to_string(severity(state)) + "|" +
                    std::string(label(state)) + "|" + pillLabel(state));
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"idle|0|idle|Idle", "working|1|burning|Burning",
                                             "needsYou|2|needs you|Needs you"}));
}

TEST(SessionState, EachRawValueReadsBackAsItsState) {
  for (const SessionState state : allSessionStates)
    EXPECT_EQ(sessionStateFromRawValue(rawValue(state)), state);
}

TEST(SessionState, AnyOtherTextIsNotAState) {
  for (const char* text :
       {"", "Idle", "IDLE", "needsyou", "needs you", "needs_you", "burning", " idle", "idle "}) {
    EXPECT_EQ(sessionStateFromRawValue(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tavrin
