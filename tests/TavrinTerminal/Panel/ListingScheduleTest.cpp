#include "TavrinTerminal/Panel/ListingSchedule.hpp"

#include <gtest/gtest.h>

namespace tavrin::test {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

// A panel that is opened at a time that a test chooses, and lists as the panel does: at first, and when its
// timer ends.
class ListingScheduleTest : public testing::Test {
 protected:
  // How many listings there are while nobody presses a key.
  int listingsWithin(seconds time) {
    int count = 0;
    for (const auto end = now + time; now <= end; now += ListingSchedule::interval) {
      if (!schedule.begins(now)) break;
      schedule.ended();
      ++count;
    }
    return count;
  }

  ListingSchedule::Time now{seconds(1'000'000)};
  ListingSchedule schedule{now};
};

TEST_F(ListingScheduleTest, ListsAtFirstAndEveryThirtySeconds) {
  EXPECT_EQ(listingsWithin(seconds(90)), 4);
}

TEST_F(ListingScheduleTest, ListsNotAtAllAfterFiveMinutesWithoutAKey) {
  EXPECT_EQ(listingsWithin(minutes(60)), 11);  // the last of them at five minutes sharp
  EXPECT_FALSE(schedule.begins(now + minutes(1000)));
}

TEST_F(ListingScheduleTest, AKeyBeginsAnewAfterThat) {
  listingsWithin(minutes(60));
  now += minutes(1000);
  EXPECT_TRUE(schedule.pressed(now));
  EXPECT_EQ(listingsWithin(minutes(60)), 11);
}

TEST_F(ListingScheduleTest, KeysInTimeKeepItListing) {
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(listingsWithin(minutes(4)), 9);
    EXPECT_FALSE(schedule.pressed(now));
  }
}

TEST_F(ListingScheduleTest, OneListingWaitsForTheOther) {
  EXPECT_TRUE(schedule.begins(now));
  EXPECT_FALSE(schedule.begins(now));
  EXPECT_FALSE(schedule.pressed(now));
  schedule.ended();
  EXPECT_TRUE(schedule.begins(now));
}

}  // namespace
}  // namespace tavrin::test
