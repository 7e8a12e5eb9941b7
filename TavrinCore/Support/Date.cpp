#include "TavrinCore/Support/Date.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace tavrin::Iso8601 {

namespace {

constexpr std::int64_t secondsPerDay = 86'400;

// 0000-01-01T00:00:00Z and 32767-12-31T23:59:59Z. std::chrono::year ends with the latter.
constexpr double earliest = -62'167'219'200.0;
constexpr double latest = 971'890'963'199.0;

void appendDigits(std::string& out, unsigned value, unsigned width) {
  std::array<char, 10> digits{};
  std::size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0 || count < width);
  while (count > 0) out += digits[--count];
}

// Reads the parts of a date and time from the front of a text, and removes them.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool skip(char expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool skip(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  // A number of 1 to `width` ASCII digits.
  std::optional<unsigned> number(std::size_t width) {
    unsigned value = 0;
    std::size_t count = 0;
    while (count < width && count < rest_.size() && isDigit(rest_[count])) {
      value = value * 10 + static_cast<unsigned>(rest_[count++] - '0');
    }
    if (count == 0) return std::nullopt;
    rest_.remove_prefix(count);
    return value;
  }

  // The digits after a decimal point as a fraction, or 0 if there is no point.
  double fraction() {
    if (rest_.size() < 2 || rest_[0] != '.' || !isDigit(rest_[1])) return 0;
    rest_.remove_prefix(1);
    double value = 0;
    double scale = 1;
    while (!rest_.empty() && isDigit(rest_.front())) {
      // More than 17 digits do not change a double.
      if (scale < 1e17) {
        value = value * 10 + (rest_.front() - '0');
        scale *= 10;
      }
      rest_.remove_prefix(1);
    }
    return value / scale;
  }

 private:
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view rest_;
};

// Seconds east of UTC.
std::optional<int> zone(Scanner& scanner) {
  if (scanner.skip('Z') || scanner.skip('z') || scanner.skip("GMT")) return 0;
  int sign = 0;
  if (scanner.skip('+')) sign = 1;
  if (scanner.skip('-')) sign = -1;
  if (sign == 0) return std::nullopt;
  const auto hours = scanner.number(2);
  if (!hours || *hours > 23) return std::nullopt;
  scanner.skip(':');
  const auto minutes = scanner.number(2).value_or(0);
  if (minutes > 59) return std::nullopt;
  return sign * static_cast<int>(*hours * 3600 + minutes * 60);
}

}  // namespace

std::string text(Date date) {
  const double seconds = secondsOf(date);
  const auto whole = static_cast<std::int64_t>(
      std::isnan(seconds) ? 0.0 : std::floor(std::clamp(seconds, earliest, latest)));
  const std::chrono::sys_seconds point{std::chrono::seconds(whole)};
  const auto day = std::chrono::floor<std::chrono::days>(point);
  const std::chrono::year_month_day calendar(day);
  const auto ofDay = static_cast<unsigned>((point - day).count());

  std::string out;
  out.reserve(20);
  appendDigits(out, static_cast<unsigned>(static_cast<int>(calendar.year())), 4);
  out += '-';
  appendDigits(out, static_cast<unsigned>(calendar.month()), 2);
  out += '-';
  appendDigits(out, static_cast<unsigned>(calendar.day()), 2);
  out += 'T';
  appendDigits(out, ofDay / 3600, 2);
  out += ':';
  appendDigits(out, ofDay / 60 % 60, 2);
  out += ':';
  appendDigits(out, ofDay % 60, 2);
  out += 'Z';
  return out;
}

std::optional<Date> parse(std::string_view text) {
  Scanner scanner(text);
  const auto year = scanner.number(5);
  if (!year || *year > 32'767 || !scanner.skip('-')) return std::nullopt;
  const auto month = scanner.number(2);
  if (!month || *month < 1 || *month > 12 || !scanner.skip('-')) return std::nullopt;
  const auto day = scanner.number(2);
  if (!day || *day < 1 || *day > 31 || !scanner.skip('T')) return std::nullopt;
  const auto hour = scanner.number(2);
  if (!hour || !scanner.skip(':')) return std::nullopt;
  const auto minute = scanner.number(2);
  if (!minute || !scanner.skip(':')) return std::nullopt;
  const auto second = scanner.number(2);
  if (!second) return std::nullopt;
  const double fraction = scanner.fraction();
  const auto offset = zone(scanner);
  if (!offset) return std::nullopt;

  const std::chrono::sys_days firstOfMonth =
      std::chrono::year(static_cast<int>(*year)) / std::chrono::month(*month) / std::chrono::day(1);
  const auto days = std::int64_t{firstOfMonth.time_since_epoch().count()} + *day - 1;
  const std::int64_t ofDay = std::int64_t{3600} * *hour + std::int64_t{60} * *minute + *second;
  const std::int64_t whole = days * secondsPerDay + ofDay - *offset;
  return dateFromSeconds(static_cast<double>(whole) + fraction);
}

}  // namespace tavrin::Iso8601
