#include "TavrinCore/Panel/UpdateStatusText.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <limits>

namespace tavrin {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(UpdateStatusText, TheAgeHasOneUnit) {
  const struct {
    double seconds;
    const char* text;
  } cases[] = {
      {0, "just now"},         {119.999, "just now"},
      {-1, "just now"},        {-1e18, "just now"},
      {-infinity, "just now"}, {nan, "just now"},
      {120, "2 minutes ago"},  {179.9, "2 minutes ago"},
      {300, "5 minutes ago"},  {3599, "59 minutes ago"},
      {3600, "an hour ago"},   {7199.9, "an hour ago"},
      {7200, "2 hours ago"},   {86399, "23 hours ago"},
      {86400, "yesterday"},    {172799.9, "yesterday"},
      {172800, "2 days ago"},  {259199, "2 days ago"},
      {259200, "3 days ago"},  {86400e15, "1000000000000000 days ago"},
  };
  for (const auto& [seconds, text] : cases) {
    EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(0), dateFromSeconds(seconds)), text) << seconds;
  }
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(1'700'000'120), dateFromSeconds(1'700'000'000)),
            "just now");
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(1'700'000'000), dateFromSeconds(1'700'000'120)),
            "2 minutes ago");
}

TEST(UpdateStatusText, DatesThatAreNotNumbersAreJustNow) {
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(nan), dateFromSeconds(0)), "just now");
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(infinity), dateFromSeconds(infinity)), "just now");
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(infinity), dateFromSeconds(0)), "just now");
}

TEST(UpdateStatusTextDeathTest, MoreDaysThan64BitsHoldEndTheProcess) {
  const char* const message = "Fatal error: the time since the last check for updates exceeds 64 bits";
  const auto aborts = testing::KilledBySignal(SIGABRT);
  for (const double seconds : {infinity, 1e300, 0x1p63 * 86400}) {
    EXPECT_EXIT(UpdateStatusText::relative(dateFromSeconds(0), dateFromSeconds(seconds)), aborts, message);
    EXPECT_EXIT(UpdateStatusText::subtitle(dateFromSeconds(0), dateFromSeconds(seconds), true), aborts,
                message);
  }
  EXPECT_EQ(UpdateStatusText::relative(dateFromSeconds(0), dateFromSeconds(0x1p62 * 86400)),
            "4611686018427387904 days ago");
}

TEST(UpdateStatusText, SaysWhenUpdatesWereChecked) {
  const Date now = dateFromSeconds(1'000'000);
  const Date earlier = dateFromSeconds(1'000'000 - 300);
  EXPECT_EQ(UpdateStatusText::subtitle(std::nullopt, now, true), "Checks daily · not checked yet");
  EXPECT_EQ(UpdateStatusText::subtitle(std::nullopt, now, false), "Not checked yet");
  EXPECT_EQ(UpdateStatusText::subtitle(earlier, now, true), "Checks daily · checked 5 minutes ago");
  EXPECT_EQ(UpdateStatusText::subtitle(earlier, now, false), "Checked 5 minutes ago");
  EXPECT_EQ(UpdateStatusText::subtitle(now, earlier, false), "Checked just now");
  EXPECT_EQ(UpdateStatusText::subtitle(now, earlier, true), "Checks daily · checked just now");
  EXPECT_EQ(UpdateStatusText::subtitle(dateFromSeconds(nan), now, true), "Checks daily · checked just now");
}

}  // namespace
}  // namespace tavrin
