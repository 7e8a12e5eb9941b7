// Runs of the hook command that are killed at any moment, four agents at a time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "tests/faults/Size.hpp"
#include "tests/faults/parallel/CallerReport.hpp"
#include "tests/support/Random.hpp"

namespace tavrin::test {
namespace {

std::map<std::string, int> counted(const std::vector<std::string>& lines) {
  std::map<std::string, int> counts;
  for (const std::string& line : lines) ++counts[line];
  return counts;
}

constexpr std::string_view stampForm = "2025-01-31T09:15:02Z ";

struct Log {
  std::vector<std::string> lines;       // without their times
  std::vector<std::string> beginnings;  // of lines whose runs were killed while they wrote them
};

// The log's text from an offset on. A kill can end a write only where a page of the file ends. The next run's
// line then follows there.
Log read(const std::string& text, std::size_t offset) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  Log log;
  while (offset < text.size()) {
    const std::size_t end = std::min(text.find('\n', offset), text.size());
    const std::size_t nextPage = (offset / page + 1) * page;
    if (nextPage <= end && (nextPage == text.size() || isStamped(text.substr(nextPage)))) {
      log.beginnings.push_back(text.substr(offset, nextPage - offset));
      offset = nextPage;
      continue;
    }
    const std::string line = text.substr(offset, end - offset);
    EXPECT_TRUE(isStamped(line)) << "at " << offset << ": " << line;
    EXPECT_LT(end, text.size()) << "the last line is cut off";
    log.lines.push_back(line.substr(std::min(stampForm.size(), line.size())));
    offset = end + 1;
  }
  return log;
}

// Whether a line with one of these messages can begin with this text.
bool beginsOneOf(const std::vector<std::string>& messages, const std::string& beginning) {
  const std::string filled =
      beginning + std::string(stampForm.substr(std::min(beginning.size(), stampForm.size())));
  return isStamped(filled) && std::ranges::any_of(messages, [&](const std::string& message) {
           return message.starts_with(filled.substr(stampForm.size()));
         });
}

// The log has the line of each run that ended by itself exactly once. All other lines, and beginnings of
// lines, belong to updates whose runs were killed.
void expectLinesOf(const CallerReport& report, const Log& log) {
  std::vector<std::string> possible = report.certain;
  possible.insert(possible.end(), report.uncertain.begin(), report.uncertain.end());
  const std::map<std::string, int> most = counted(possible);
  const std::map<std::string, int> least = counted(report.certain);
  const std::map<std::string, int> found = counted(log.lines);
  for (const auto& [line, count] : found) {
    const auto allowed = most.find(line);
    ASSERT_TRUE(allowed != most.end() && count <= allowed->second) << count << " times: " << line;
  }
  for (const auto& [line, count] : least) {
    const auto there = found.find(line);
    ASSERT_TRUE(there != found.end() && there->second >= count) << "missing: " << line;
  }
  for (const std::string& beginning : log.beginnings)
    EXPECT_TRUE(beginsOneOf(report.uncertain, beginning)) << beginning;
  const int lines = static_cast<int>(log.lines.size());
  EXPECT_LE(lines, report.updates);
  EXPECT_LE(report.updates - lines, report.kills);
}

// Runs four agents on one session until `kills` of their runs have been killed.
CallerReport killRuns(int kills, unsigned seed) {
  constexpr int writers = 4;
  SeededHome home;
  const std::size_t before = std::filesystem::file_size(home.logFile());
  std::vector<Running> processes;
  for (int i = 0; i < writers; ++i) {
    const std::string name(1, static_cast<char>('a' + i));
    processes.push_back(
        startCaller(hookExecutable(), {home.string(), "s", name, "kills", std::to_string(kills / writers),
                                       std::to_string(seed + static_cast<unsigned>(i))}));
  }
  CallerReport report = reportOf(processes);
  EXPECT_EQ(report.kills, kills);
  EXPECT_EQ(report.lost, 0);
  expectLinesOf(report, read(readFile(home.logFile()), before));

  std::vector<std::string> open = report.open;
  open.emplace_back("call-0");
  EXPECT_THAT(stored(home, "s").value().inFlight, testing::UnorderedElementsAreArray(open));
  // A run may die with its record half written to a temporary file. Nobody will ever read that file.
  const std::vector<std::string> left = temporaries(home.sessions());
  EXPECT_LE(left.size(), static_cast<std::size_t>(report.kills));
  for (const std::string& name : left) std::filesystem::remove(home.sessions() / name);
  home.expectNextEventWorks();
  return report;
}

TEST(RandomKills, WheneverARunIsKilledTheRecordIsWholeAndNoLineIsThereWithoutItsUpdate) {
  const int killsARound = isFullSize() ? 1000 : 20 * TAVRIN_RUNS;
  const int rounds = isFullSize() ? 10 : 1;
  Random random(randomSeed());
  int kills = 0;
  int updates = 0;
  int late = 0;
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    const CallerReport report = killRuns(killsARound, random.any<unsigned>());
    kills += report.kills;
    updates += report.updates;
    late += static_cast<int>(report.uncertain.size());
  }
  EXPECT_EQ(kills, isFullSize() ? 10'000 : 20 * TAVRIN_RUNS);
  // The kills were spread over whole runs: some came after the record was replaced, and most before that.
  EXPECT_GT(late, 0);
  EXPECT_LT(late, kills);
  std::cout << "[   RUNS   ] " << kills << " killed, " << updates << " updates, " << late
            << " of them by runs killed afterwards\n";
}

}  // namespace
}  // namespace tavrin::test
