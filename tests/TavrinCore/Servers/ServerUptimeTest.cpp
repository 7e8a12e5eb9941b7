#include "TavrinCore/Servers/ServerUptime.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tavrin {
namespace {

TEST(ServerUptime, ShowsTheTwoLargestUnits) {
  const struct {
    double seconds;
    const char* label;
  } cases[] = {
      {0, "0s"},          {0.999, "0s"},    {42, "42s"},       {59, "59s"},           {59.999, "59s"},
      {60, "1m"},         {300, "5m"},      {3599, "59m"},     {3600, "1h 0m"},       {7500, "2h 5m"},
      {86399, "23h 59m"}, {86400, "1d 0h"}, {273600, "3d 4h"}, {86400e3, "1000d 0h"}, {-1, "0s"},
      {-0.5, "0s"},       {-86400, "0s"},
  };
  const Date since = dateFromSeconds(1'000'000'000);
  for (const auto& [seconds, label] : cases) {
    EXPECT_EQ(ServerUptime::label(since, since + std::chrono::duration<double>(seconds)), label) << seconds;
  }
}

TEST(ServerUptime, DatesOutOfAllBoundsHaveALabel) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double since;
    double now;
    const char* label;
  } cases[] = {
      {nan, 0, "0s"},
      {0, nan, "0s"},
      {infinity, infinity, "0s"},
      {infinity, 0, "0s"},
      {0, -infinity, "0s"},
      {0, infinity, "106751991167300d 15h"},
      {-infinity, 0, "106751991167300d 15h"},
      {0, 0x1p63, "106751991167300d 15h"},
      {-1e308, 1e308, "106751991167300d 15h"},
  };
  for (const auto& [since, now, label] : cases) {
    EXPECT_EQ(ServerUptime::label(dateFromSeconds(since), dateFromSeconds(now)), label)
        << since << " " << now;
  }
}

}  // namespace
}  // namespace tavrin
