#include "TavrinCore/Sessions/SharedSession.hpp"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

Session named(const std::string& id) {
  Session record;
  record.sessionId = id;
  return record;
}

TEST(SharedSession, CopiesShareOneRecord) {
  const SharedSession one(named("a"));
  const SharedSession copy = one;
  EXPECT_EQ(&*copy, &*one);
  EXPECT_EQ(copy->sessionId, "a");
}

TEST(SharedSession, AreEqualIfTheirRecordsAre) {
  EXPECT_EQ(SharedSession(named("a")), SharedSession(named("a")));
  EXPECT_NE(SharedSession(named("a")), SharedSession(named("b")));
  EXPECT_NE(SharedSession(), SharedSession(named("a")));
  EXPECT_EQ(SharedSession(), SharedSession(Session()));
}

TEST(SharedSession, WithoutARecordItIsEmpty) {
  EXPECT_EQ(*SharedSession(), Session());
  SharedSession taken(named("a"));
  const SharedSession taker = std::move(taken);
  EXPECT_EQ(*taken, Session());  // NOLINT(bugprone-use-after-move): its header says so
  EXPECT_EQ(taker->sessionId, "a");
}

}  // namespace
}  // namespace tavrin
