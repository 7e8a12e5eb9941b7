// What becomes of a record when the system refuses what a run of the real executable asks of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Stage.hpp"
#include "tests/faults/SystemCallPoint.hpp"
#include "tests/support/Strace.hpp"

namespace tavrin::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::array<std::string_view, 8> errors = {"EINTR",  "EIO",   "ENOSPC", "EDQUOT",
                                                    "EACCES", "EROFS", "EMFILE", "ENOLCK"};

// A system call that fails.
struct Fault {
  SystemCallPoint point;
  std::string_view error;
  bool isRepeated;  // all later calls of its name fail as well; but a signal interrupts five in a row at most

  bool isInterruption() const { return error == "EINTR"; }

  bool isHit(const SystemCallPoint& other) const {
    return other.name == point.name && (isRepeated ? other.nth >= point.nth : other.nth == point.nth);
  }

  std::string option() const {
    const std::string first = std::to_string(point.nth);
    std::string when = first;
    if (isRepeated) when += isInterruption() ? ".." + std::to_string(point.nth + 4) : "+";
    return "inject=" + point.name + ":error=" + std::string(error) + ":when=" + when;
  }
};

// The faults to be tried at a run's points: each error once and repeated or, in the small size, an
// interruption and two others, of which all have their turn.
std::vector<Fault> faultsAt(const std::vector<SystemCallPoint>& points) {
  std::vector<Fault> faults;
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t e = 0; e < errors.size(); ++e) {
      const bool isOnceInSmall = e == 0 || e == 1 + i % (errors.size() - 1);
      const bool isRepeatedInSmall = e == i % errors.size();
      if (isFullSize() || isOnceInSmall) faults.push_back({points[i], errors[e], false});
      if (isFullSize() || isRepeatedInSmall) faults.push_back({points[i], errors[e], true});
    }
  }
  return faults;
}

// Lets one run meet a fault, and looks at what it leaves.
void tryFault(Stage& stage, const Scenario& scenario, const std::vector<SystemCallPoint>& points,
              const Fault& fault) {
  const Record clean = stage.cleanRecord(scenario);
  const std::set<Record> poorer = stage.poorerRecords(scenario);
  stage.set(scenario.files);
  const std::optional<std::string> old = Stage::oldRecordText(scenario);
  removeTraces(stage.path());

  EXPECT_EQ(run(underStrace(stage.path(), {"-e", fault.option()}, {hookExecutable()}), stage.event(scenario),
                {{"HOME", stage.string()}}),
            silentSuccess);
  const std::vector<std::string> calls = callsOfHook(stage.path());
  SCOPED_TRACE(table(calls));
  EXPECT_THAT(calls, testing::Contains(testing::HasSubstr("(INJECTED)")));

  const auto fails = [&](const auto& isNeeded) {
    return !fault.isInterruption() && std::ranges::any_of(points, [&](const SystemCallPoint& point) {
      return fault.isHit(point) && std::invoke(isNeeded, point);
    });
  };
  const bool isKept = fails(&SystemCallPoint::isNeededForRecord);
  if (isKept) {
    EXPECT_EQ(stage.recordText(), old);
  } else if (fails(&SystemCallPoint::isLookUp)) {
    EXPECT_THAT(poorer, testing::Contains(stage.record()));
  } else {
    EXPECT_EQ(stage.record(), clean);
  }
  EXPECT_THAT(temporaries(stage.sessions()), IsEmpty());

  const std::vector<std::string> lines = stage.newLogLines(scenario.files);
  if (fails(&SystemCallPoint::isNeededForLog)) {
    EXPECT_THAT(lines, IsEmpty());
  } else if (fails(&SystemCallPoint::isNeededForEvent)) {
    EXPECT_THAT(lines, ElementsAre(testing::ResultOf(isErrorLine, true)));
  } else {
    EXPECT_THAT(lines, ElementsAre(cleanLine(scenario)));
  }
  stage.expectNextEventWorks();
}

void tryFaultsIn(const std::vector<Scenario>& scenarios) {
  constexpr std::size_t fewestPoints = 15;
  for (const Scenario& scenario : scenarios) {
    Stage stage;
    stage.set(scenario.files);
    std::vector<SystemCallPoint> points = systemCallPoints(stage, scenario);
    std::erase_if(points, [](const SystemCallPoint& point) { return !point.canFail(); });
    EXPECT_GE(points.size(), fewestPoints);
    const std::vector<Fault> faults = faultsAt(points);
    EXPECT_EQ(faults.size(), points.size() * (isFullSize() ? errors.size() * 2 : 3));
    inParallel<Stage>(faults.size(), [&](Stage& own, std::size_t i) {
      SCOPED_TRACE(scenario.name + ", " + faults[i].option());
      tryFault(own, scenario, points, faults[i]);
    });
    std::cout << "[   RUNS   ] " << faults.size() << " from " << scenario.name << ", " << points.size()
              << " system calls\n";
  }
}

TEST(SystemCallFaults, EachOneLeavesTheOldRecordOrTheNewOne) {
  tryFaultsIn(Scenario::starts());
}

TEST(SystemCallFaults, NeitherTheEndOfASessionNorAFullLogIsAnException) {
  tryFaultsIn(Scenario::rare());
}

}  // namespace
}  // namespace tavrin::test
