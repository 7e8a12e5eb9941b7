// What happens to a record when the system refuses what a run of the real executable asks of it.
#include <gtest/gtest.h>

#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Trials.hpp"

namespace tavrin::test {
namespace {

// The faults to try at a run's points: each error once and repeated. In the small size, an interruption and
// two others, and all of them in turn.
std::vector<SystemCallFault> faultsAt(const std::vector<SystemCallPoint>& points) {
  std::vector<SystemCallFault> faults;
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t e = 0; e < systemErrors.size(); ++e) {
      const bool isOnceInSmall = e == 0 || e == 1 + i % (systemErrors.size() - 1);
      const bool isRepeatedInSmall = e == i % systemErrors.size();
      if (isFullSize() || isOnceInSmall) faults.push_back({points[i], systemErrors[e], false});
      if (isFullSize() || isRepeatedInSmall) faults.push_back({points[i], systemErrors[e], true});
    }
  }
  return faults;
}

void tryFaultsIn(const std::vector<Situation>& situations) {
  constexpr std::size_t fewestPoints = 15;
  for (const Situation& situation : situations) {
    const Stage stage;
    stage.set(situation.files);
    std::vector<SystemCallPoint> points = systemCallPoints(stage, situation);
    std::erase_if(points, [](const SystemCallPoint& point) { return !point.canFail(); });
    EXPECT_GE(points.size(), fewestPoints);
    const std::vector<SystemCallFault> faults = faultsAt(points);
    EXPECT_EQ(faults.size(), points.size() * (isFullSize() ? systemErrors.size() * 2 : 3));
    inParallel<Stage>(faults.size(),
                      [&](Stage& own, std::size_t i) { tryFault(own, situation, points, faults[i]); });
    std::cout << "[   RUNS   ] " << faults.size() << " from " << situation.name << ", " << points.size()
              << " system calls\n";
  }
}

TEST(SystemCallFaults, EachOneLeavesTheOldRecordOrTheNewOne) {
  tryFaultsIn(Situation::starts());
}

TEST(SystemCallFaults, NeitherTheEndOfASessionNorAFullLogIsAnException) {
  tryFaultsIn(Situation::rare());
}

}  // namespace
}  // namespace tavrin::test
