#include "TavrinTerminal/LineDiff.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tavrin {

namespace {

using Lines = std::vector<std::string_view>;

// The lines of a text, each with its line feed; the last may have none.
Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return lines;
}

struct Change {
  char sign;  // ' ', '-' or '+'
  std::string_view line;
};

// A shortest script of changes from `before` to `after` (E. Myers, "An O(ND) Difference Algorithm", 1986):
// for each number of changes, how far each diagonal gets.
std::vector<Change> script(const Lines& before, const Lines& after) {
  const auto n = static_cast<std::int64_t>(before.size());
  const auto m = static_cast<std::int64_t>(after.size());
  constexpr std::int64_t mostChanges = 1000;
  const std::int64_t most = std::min(n + m, mostChanges);
  const auto at = [](std::int64_t index) { return static_cast<std::size_t>(index); };

  std::vector<std::vector<std::int64_t>> rounds;
  std::vector<std::int64_t> reach(at(2 * most + 3), 0);
  const std::int64_t middle = most + 1;
  const auto goesDown = [&](const std::vector<std::int64_t>& row, std::int64_t k, std::int64_t d) {
    return k == -d || (k != d && row[at(middle + k - 1)] < row[at(middle + k + 1)]);
  };
  bool isFound = false;
  for (std::int64_t d = 0; d <= most && !isFound; ++d) {
    rounds.push_back(reach);
    for (std::int64_t k = -d; k <= d && !isFound; k += 2) {
      std::int64_t x = goesDown(reach, k, d) ? reach[at(middle + k + 1)] : reach[at(middle + k - 1)] + 1;
      while (x < n && x - k < m && before[at(x)] == after[at(x - k)]) ++x;
      reach[at(middle + k)] = x;
      isFound = x >= n && x - k >= m;
    }
  }

  std::vector<Change> changes;
  if (!isFound) {
    for (const std::string_view line : before) changes.push_back({'-', line});
    for (const std::string_view line : after) changes.push_back({'+', line});
    return changes;
  }
  // Goes back from the end, through the rows that led there.
  std::int64_t x = n;
  std::int64_t y = m;
  for (auto d = static_cast<std::int64_t>(rounds.size()) - 1; d >= 0; --d) {
    const std::vector<std::int64_t>& row = rounds[at(d)];
    const std::int64_t k = x - y;
    const std::int64_t from = goesDown(row, k, d) ? k + 1 : k - 1;
    const std::int64_t startX = d == 0 ? 0 : row[at(middle + from)];
    const std::int64_t startY = d == 0 ? 0 : startX - from;
    while (x > startX && y > startY) {
      changes.push_back({' ', before[at(--x)]});
      --y;
    }
    if (d > 0 && x == startX) changes.push_back({'+', after[at(--y)]});
    if (d > 0 && x > startX) changes.push_back({'-', before[at(--x)]});
  }
  std::ranges::reverse(changes);
  return changes;
}

std::string range(std::size_t start, std::size_t count) {
  // A range without lines is named after the line before it.
  return std::to_string(count == 0 ? start : start + 1) + "," + std::to_string(count);
}

}  // namespace

std::string unifiedDiff(std::string_view oldText, std::string_view newText, std::string_view oldName,
                        std::string_view newName) {
  if (oldText == newText) return "";
  Lines before = linesOf(oldText);
  Lines after = linesOf(newText);
  // Most of a file stays as it is, so the equal lines at its start and its end are left out first.
  const auto [endBefore, endAfter] = std::ranges::mismatch(before, after);
  const auto shared = static_cast<std::size_t>(endBefore - before.begin());
  std::size_t tail = 0;
  while (tail < std::min(before.size(), after.size()) - shared &&
         before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
    ++tail;
  const auto middleOf = [&](const Lines& lines) {
    return Lines(lines.begin() + static_cast<std::ptrdiff_t>(shared),
                 lines.end() - static_cast<std::ptrdiff_t>(tail));
  };
  std::vector<Change> changes;
  for (std::size_t i = 0; i < shared; ++i) changes.push_back({' ', before[i]});
  std::ranges::copy(script(middleOf(before), middleOf(after)), std::back_inserter(changes));
  for (std::size_t i = before.size() - tail; i < before.size(); ++i) changes.push_back({' ', before[i]});

  constexpr std::size_t context = 3;
  std::string diff = "--- " + std::string(oldName) + "\n+++ " + std::string(newName) + "\n";
  std::size_t oldLine = 0;
  std::size_t newLine = 0;
  for (std::size_t i = 0; i < changes.size();) {
    const auto isChange = [](const Change& change) { return change.sign != ' '; };
    const auto first = static_cast<std::size_t>(
        std::find_if(changes.begin() + static_cast<std::ptrdiff_t>(i), changes.end(), isChange) -
        changes.begin());
    if (first == changes.size()) break;
    // The hunk goes on while no more than two contexts lie between changes.
    std::size_t last = first;
    for (std::size_t j = first; j < changes.size() && j <= last + 2 * context + 1; ++j) {
      if (isChange(changes[j])) last = j;
    }
    const std::size_t start = first - std::min(first - i, context);
    const std::size_t end = std::min(last + context + 1, changes.size());
    oldLine += start - i;
    newLine += start - i;
    std::size_t oldCount = 0;
    std::size_t newCount = 0;
    std::string body;
    for (std::size_t j = start; j < end; ++j) {
      const auto& [sign, line] = changes[j];
      oldCount += sign == '+' ? 0 : 1;
      newCount += sign == '-' ? 0 : 1;
      body += sign;
      body += line;
      if (!line.ends_with('\n')) body += "\n\\ No newline at end of file\n";
    }
    diff += "@@ -" + range(oldLine, oldCount) + " +" + range(newLine, newCount) + " @@\n" + body;
    oldLine += oldCount;
    newLine += newCount;
    i = end;
  }
  return diff;
}

}  // namespace tavrin
