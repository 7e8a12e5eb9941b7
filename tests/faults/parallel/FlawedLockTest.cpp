// The control of the tests of lost updates: with a hook whose lock is broken, agents do lose updates.
#include <gtest/gtest.h>

#include <iostream>

#include "tests/faults/Size.hpp"
#include "tests/faults/parallel/CallerReport.hpp"

namespace tavrin::test {
namespace {

void expectLosses(const std::string& flawedHook) {
  const SeededHome home;
  const int events = isFullSize() ? 250 : TAVRIN_RUNS / 2;
  const CallerReport report = runSixteenCallers(TAVRIN_PARALLEL_PROGRAMS "/" + flawedHook, home, events);
  EXPECT_EQ(report.events, 16 * events);
  EXPECT_GT(report.lost, 0);
  std::cout << "[   RUNS   ] " << report.events << ", " << report.lost << " of whose events were lost\n";
}

TEST(FlawedLock, AgentsWhoseHookTakesNoLockLoseUpdates) {
  expectLosses("hook-without-lock");
}

TEST(FlawedLock, AgentsWhoseHookLocksTheFileThatItReplacesLoseUpdates) {
  expectLosses("hook-with-locked-record");
}

}  // namespace
}  // namespace tavrin::test
