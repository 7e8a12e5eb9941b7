// What happens to a record when a run of the real executable is killed, and the next run, on what it left,
// fails or is killed too.
#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Trials.hpp"

namespace tavrin::test {
namespace {

// The files without what differs in each run, so that equal states can be recognised: names of temporaries,
// and the record's times and identifiers.
std::string signature(const Stage& stage) {
  std::string text = stage.record().value_or("none");
  for (const auto& [name, content] : stage.files()) {
    const bool isTemporary = name.ends_with(".tmp");
    text += isTemporary ? "a temporary" : name;
    text += content ? " of " + std::to_string(content->size()) + " bytes\n" : "/\n";
  }
  return text;
}

struct LeftBehind {
  Situation situation;
  std::size_t kills = 0;  // how many of the first run's system calls lead to this state
};

// The states that runs leave if they are killed at each of their system calls.
std::vector<LeftBehind> leftBehind(const Situation& situation) {
  const Stage first;
  first.set(situation.files);
  const std::vector<SystemCallPoint> points = systemCallPoints(first, situation);
  std::vector<std::pair<std::string, Files>> left(points.size());
  inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
    tryKill(stage, situation, points, points[i]);
    left[i] = {signature(stage), stage.files()};
  });

  std::vector<LeftBehind> different;
  std::map<std::string, std::size_t> known;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto [entry, isNew] = known.try_emplace(left[i].first, different.size());
    if (isNew) {
      const std::string name = situation.name + ", killed at " + std::to_string(points[i].number);
      different.push_back({.situation = {.name = name, .files = left[i].second, .isEnd = situation.isEnd}});
    }
    ++different[entry->second].kills;
  }
  return different;
}

TEST(TwoFailures, ARunThatFailsOnWhatAKilledOneLeftLeavesAWholeRecordToo) {
  constexpr std::size_t fewestLeftBehind = 5;
  std::size_t runs = 0;
  std::size_t pairs = 0;
  for (const Situation& start : Situation::starts()) {
    const std::vector<LeftBehind> different = leftBehind(start);
    EXPECT_GE(different.size(), fewestLeftBehind);
    for (const auto& [situation, kills] : different) {
      const Stage first;
      first.set(situation.files);
      const std::vector<SystemCallPoint> points = systemCallPoints(first, situation);
      EXPECT_GE(points.size(), 25U);
      // In the small size, every sixth call. The offset changes each time.
      const std::size_t step = isFullSize() ? 1 : 6;
      const std::size_t offset = isFullSize() ? 0 : runs % step;
      const std::size_t count = (points.size() - offset + step - 1) / step;
      inParallel<Stage>(count, [&](Stage& stage, std::size_t i) {
        const SystemCallPoint& point = points[offset + i * step];
        tryKill(stage, situation, points, point);
        stage.expectNextEventWorks();
        const std::string_view error = systemErrors[(i + kills) % systemErrors.size()];
        if (point.canFail()) tryFault(stage, situation, points, {point, error, i % 2 == 1});
      });
      runs += count;
      pairs += count * kills;
    }
    std::cout << "[   RUNS   ] " << different.size() << " different remains of runs killed, from "
              << start.name << '\n';
  }
  std::cout << "[   RUNS   ] " << runs << " on them killed, and as many with an error, which stand for "
            << pairs << " pairs each\n";
  EXPECT_GE(pairs, isFullSize() ? 1350U : 225U);
}

}  // namespace
}  // namespace tavrin::test
