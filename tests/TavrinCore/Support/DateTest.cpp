#include "TavrinCore/Support/Date.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "tests/support/Random.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

std::optional<double> parsedSeconds(std::string_view text) {
  const std::optional<Date> date = Iso8601::parse(text);
  return date ? std::optional(secondsOf(*date)) : std::nullopt;
}

// macOS's Foundation changes to the Julian calendar before 15 October 1582. We use the Gregorian calendar at
// all times, so these dates differ by that many days.
const std::map<std::string, int> daysApartInTheJulianCalendar = {
    {"0000-01-01T00:00:00Z", 2},
    {"0001-01-01T00:00:00Z", 2},
    {"0001-01-03T00:00:00Z", 2},
    {"1582-10-10T00:00:00Z", -10},
};

TEST(Date, EveryDateTextIsReadAndWrittenAsByFoundation) {
  const auto lines = test::jsonLines("platform/dates.jsonl");
  ASSERT_EQ(lines.size(), 84U);
  std::set<std::string> julian;
  int read = 0;
  int written = 0;
  for (const auto& value : lines) {
    const auto& line = value.as_object();
    const std::string text = test::bytesOf(line);
    SCOPED_TRACE(text);
    // A line that starts with a text shows how the text is read. A line that starts with seconds shows how
    // they are written.
    const bool isRead = line.begin()->key() == "text";
    (isRead ? read : written) += 1;
    if (line.at("seconds").is_null()) {
      EXPECT_EQ(parsedSeconds(text), std::nullopt);
      continue;
    }
    const double seconds = line.at("seconds").to_number<double>();
    const auto exception = daysApartInTheJulianCalendar.find(text);
    const double apart = exception == daysApartInTheJulianCalendar.end() ? 0 : exception->second * 86'400.0;
    if (apart != 0) julian.insert(text);
    if (isRead) {
      EXPECT_EQ(parsedSeconds(text), seconds + apart);
    } else {
      EXPECT_EQ(Iso8601::text(dateFromSeconds(seconds + apart)), text);
    }
  }
  EXPECT_EQ(read, 55);
  EXPECT_EQ(written, 29);
  EXPECT_EQ(julian.size(), daysApartInTheJulianCalendar.size());
}

TEST(Date, WholeSecondsComeBackFromTheirText) {
  const unsigned seed = test::randomSeed();
  test::Random random(seed);
  // Up to the year 9999.
  constexpr std::size_t latest = 253'402'300'799;
  for (int i = 0; i < 20'000; ++i) {
    const auto seconds = static_cast<std::time_t>(random.below(latest + 1));
    const std::string text = Iso8601::text(dateFromSeconds(static_cast<double>(seconds)));
    ASSERT_EQ(parsedSeconds(text), static_cast<double>(seconds)) << text << ", seed " << seed;
    // The C library's calendar says the same.
    std::tm parts{};
    ASSERT_NE(::gmtime_r(&seconds, &parts), nullptr);
    std::string expected(64, '\0');
    expected.resize(std::strftime(expected.data(), expected.size(), "%Y-%m-%dT%H:%M:%SZ", &parts));
    ASSERT_EQ(text, expected) << seconds << ", seed " << seed;
  }
}

TEST(Date, EveryDayOfFourCenturiesIsWrittenAndReadInOrder) {
  std::string before;
  int days = 0;
  // 1900-01-01 to 2299-12-31. Three of the four century years are not leap years.
  for (double seconds = -2'208'988'800; seconds < 10'413'792'000; seconds += 86'400) {
    const std::string text = Iso8601::text(dateFromSeconds(seconds + 86'399.5));
    ASSERT_EQ(text.substr(10), "T23:59:59Z");
    ASSERT_LT(before, text);
    ASSERT_EQ(parsedSeconds(text), seconds + 86'399);
    before = text;
    ++days;
  }
  EXPECT_EQ(days, 146'097);
  EXPECT_EQ(before, "2299-12-31T23:59:59Z");
}

TEST(Date, OutOfReachIsWrittenAsTheNearestDate) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::string first = "0000-01-01T00:00:00Z";
  const std::string last = "32767-12-31T23:59:59Z";
  EXPECT_EQ(Iso8601::text(dateFromSeconds(-infinity)), first);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(-1e300)), first);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(-62'167'219'201.0)), first);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(-62'167'219'200.0)), first);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(-62'167'219'199.0)), "0000-01-01T00:00:01Z");
  EXPECT_EQ(Iso8601::text(dateFromSeconds(971'890'963'199.0)), last);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(971'890'963'200.0)), last);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(1e300)), last);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(infinity)), last);
  EXPECT_EQ(Iso8601::text(dateFromSeconds(std::numeric_limits<double>::quiet_NaN())), "1970-01-01T00:00:00Z");
  EXPECT_EQ(parsedSeconds(first), -62'167'219'200.0);
  EXPECT_EQ(parsedSeconds(last), 971'890'963'199.0);
}

TEST(Date, TextsThatAreNotAnInternetDateTimeAreRefused) {
  for (const char* text : {
           "2025-01-31T09:15:02",      "2025-01-31T09:15:02.5",     "2025-01-31T09:15:02.Z",
           "2025-01-31T09:15:02.5",    "2025-01-31T09:15:02,5Z",    "2025-01-31T09:15:02+",
           "2025-01-31T09:15:02-",     "2025-01-31T09:15:02+:00",   "2025-01-31T09:15:02+24",
           "2025-01-31T09:15:02+0160", "2025-01-31T09:15:02+01:60", "2025-01-31T09:15:Z",
           "2025-01-31T09::02Z",       "2025-01-31T:15:02Z",        "2025-01-T09:15:02Z",
           "2025--31T09:15:02Z",       "-01-31T09:15:02Z",          "2025-01-32T09:15:02Z",
           "2025-001-31T09:15:02Z",    "2025-01-31T009:15:02Z",     "2025-01-31T09:15:002Z",
           "32768-01-01T00:00:00Z",    "99999-01-01T00:00:00Z",     "100000-01-01T00:00:00Z",
           "2025-01-31T-9:15:02Z",     "2025-01-31T09:15:02gmt",    "2025-01-31T09:15:02GM",
           "2025-01-31T09:15:02UTC",
       }) {
    EXPECT_EQ(parsedSeconds(text), std::nullopt) << text;
  }
}

TEST(Date, EveryTruncationBeforeTheZoneIsRefused) {
  constexpr std::string_view text = "2025-01-31T09:15:02.123Z";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_EQ(parsedSeconds(text.substr(0, length)), std::nullopt) << length;
  }
  EXPECT_EQ(parsedSeconds(text), 1'738'314'902.123);
}

TEST(Date, AFractionOfAnyLengthIsRead) {
  EXPECT_EQ(parsedSeconds("1970-01-01T00:00:00.1Z"), 0.1);
  EXPECT_EQ(parsedSeconds("2025-01-31T09:15:02." + std::string(400, '9') + "Z"), 1'738'314'903.0);
  EXPECT_EQ(parsedSeconds("1970-01-01T00:00:00." + std::string(400, '0') + "1Z"), 0.0);
  EXPECT_EQ(parsedSeconds("1970-01-01T00:00:00.5" + std::string(10'000, '0') + "+00:00"), 0.5);
}

}  // namespace
}  // namespace tavrin
