// What a killed run of the real executable leaves of a record.
#include <gtest/gtest.h>

#include <atomic>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Trials.hpp"

namespace tavrin::test {
namespace {

TEST(Kills, OnTheWayIntoAnySystemCallTheyLeaveTheOldRecordOrTheNewOne) {
  constexpr std::size_t fewestPoints = 25;
  std::vector<Situation> situations = Situation::starts();
  for (Situation& situation : Situation::rare()) situations.push_back(std::move(situation));
  for (const Situation& situation : situations) {
    const Stage first;
    first.set(situation.files);
    const std::vector<SystemCallPoint> points = systemCallPoints(first, situation);
    EXPECT_GE(points.size(), fewestPoints);
    std::atomic<std::size_t> kills = 0;
    inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
      tryKill(stage, situation, points, points[i]);
      stage.expectNextEventWorks();
      ++kills;
    });
    EXPECT_EQ(kills, points.size());
    std::cout << "[   RUNS   ] " << kills << " killed, from " << situation.name << '\n';
  }
}

}  // namespace
}  // namespace tavrin::test
