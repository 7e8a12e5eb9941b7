#include "tests/faults/parallel/CallerReport.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace tavrin::test {

void CallerReport::add(const Outcome& outcome) {
  EXPECT_EQ(outcome.exitStatus, 0) << outcome.output << outcome.error;
  EXPECT_NE(outcome.output, "");
  std::istringstream lines(outcome.output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t space = std::min(line.find(' '), line.size() - 1);
    const std::string verdict = line.substr(0, space);
    std::string rest = line.substr(space + 1);
    if (verdict == "open") {
      open.push_back(std::move(rest));
      continue;
    }
    ++events;
    if (verdict == "done" || verdict == "late") ++updates;
    if (verdict == "late" || verdict == "early") ++kills;
    if (verdict == "lost") ++lost;
    if (verdict == "done") certain.push_back(std::move(rest));
    if (verdict == "late") uncertain.push_back(std::move(rest));
  }
}

Running startCaller(const std::filesystem::path& hook, std::vector<std::string> words) {
  words.insert(words.begin(), {TAVRIN_PARALLEL_PROGRAMS "/hook-caller", hook.string()});
  return start(words);
}

CallerReport reportOf(const std::vector<Running>& callers) {
  for (const Running& caller : callers) caller->closeInput();
  CallerReport report;
  for (const Running& caller : callers) report.add(caller->wait());
  return report;
}

CallerReport runSixteenCallers(const std::filesystem::path& hook, const ScratchHome& home, int events) {
  std::vector<Running> callers;
  for (char name = 'a'; name <= 'p'; ++name)
    callers.push_back(
        startCaller(hook, {home.string(), "s", std::string(1, name), "events", std::to_string(events)}));
  return reportOf(callers);
}

}  // namespace tavrin::test
