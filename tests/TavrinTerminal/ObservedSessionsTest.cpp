#include "TavrinTerminal/ObservedSessions.hpp"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

TEST(ObservedSessions, ARecordAsObservedHasTheStateTimeAndAttentionThatAreTrue) {
  Session saved;
  saved.sessionId = "a";
  saved.state = SessionState::needsYou;
  saved.attentionId = "SAVED";
  ObservedSession observed;
  observed.record = saved;
  observed.since = dateFromSeconds(7);
  ObservedSession waiting = observed;
  waiting.state = SessionState::needsYou;
  waiting.attentionId = "DERIVED";

  const std::vector<Session> records = asObserved({observed, waiting});
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].sessionId, "a");
  EXPECT_EQ(records[0].state, SessionState::idle);
  EXPECT_EQ(records[0].stateSince, dateFromSeconds(7));
  EXPECT_EQ(records[0].attentionId, std::nullopt);
  EXPECT_EQ(records[1].attentionId, "DERIVED");
  EXPECT_EQ(*observed.record, saved);
}

}  // namespace
}  // namespace tavrin
