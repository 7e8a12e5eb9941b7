// What a run of the real executable does while another run of its session is stopped in the middle, and after
// that run was killed or went on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/StoppedRun.hpp"
#include "tests/faults/Trials.hpp"

namespace tavrin::test {
namespace {

using std::chrono::steady_clock;
using Subject = SystemCallPoint::Subject;

// The calls in the stored session, followed by these.
std::vector<std::string> openCalls(const Stage& stage, const Situation& situation,
                                   const std::vector<std::string>& later) {
  const std::optional<Session> before = Session::decode(stage.oldRecordText(situation).value_or(""));
  std::vector<std::string> calls = before ? before->inFlight : std::vector<std::string>();
  calls.insert(calls.end(), later.begin(), later.end());
  return calls;
}

class Waiters : public testing::TestWithParam<bool> {
 protected:
  // Whether the stopped run goes on later. Otherwise it is killed.
  static bool goesOn() { return GetParam(); }

  // Stops a run right after one of its calls, starts another, and lets both end. Returns how long the other
  // one took after the end of the first, or nullopt if it did not wait.
  static std::optional<steady_clock::duration> tryWaiting(Stage& stage, const Situation& situation,
                                                          const std::vector<SystemCallPoint>& points,
                                                          const SystemCallPoint& point) {
    const LockedCalls locked(points);
    const std::size_t change = std::ranges::find_if(points, &SystemCallPoint::isReplacement)->number;
    stage.cleanRecord(situation);
    stage.set(situation.files);
    StoppedRun stopped(stage, situation, point);
    const Running other = startHook(stage);
    other->write(toolStart("s", "late-1"));
    other->closeInput();
    const bool isLocked = locked.contains(point.number);
    EXPECT_EQ(waitsForLock(other->pid()), isLocked);
    // A run that finds the lock free has finished its update by now.
    if (isLocked) expectWhole(stage, situation, points, point.number);
    if (goesOn()) {
      stopped.goOn();
    } else {
      stopped.kill();
    }
    const auto end = steady_clock::now();
    EXPECT_EQ(other->wait(), silentSuccess);
    const std::optional time = steady_clock::now() - end;

    std::vector<std::string> calls = {"ask-1", "late-1"};
    if (goesOn() && point.number < locked.first) std::ranges::reverse(calls);
    if (!goesOn() && point.number < change) calls.erase(calls.begin());
    const std::optional<Session> session = stored(stage, "s");
    EXPECT_TRUE(session.has_value());
    EXPECT_EQ(session.value_or(Session()).inFlight, openCalls(stage, situation, calls));
    stage.expectNextEventWorks();
    return isLocked ? time : std::nullopt;
  }
};

TEST_P(Waiters, ARunWaitsExactlyAsLongAsAnotherHasTheLock) {
  constexpr std::size_t fewestWaiters = 8;
  std::size_t runs = 0;
  std::size_t waited = 0;
  steady_clock::duration longest{};
  for (const Situation& situation : Situation::starts()) {
    const Stage first;
    first.set(situation.files);
    const std::vector<SystemCallPoint> all = systemCallPoints(first, situation);
    // The last call is left out, because nothing comes after it. In the small size, every fourth call.
    std::vector<SystemCallPoint> points = all;
    std::erase_if(points, [](const SystemCallPoint& point) {
      return point.subject == Subject::startOfProcess || point.name == "exit_group" ||
             (!isFullSize() && point.number % 4 != (goesOn() ? 0 : 2));
    });
    std::vector<std::optional<steady_clock::duration>> times(points.size());
    inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
      SCOPED_TRACE(situation.name + ", " + std::to_string(points[i].number) + ": " + points[i].call);
      times[i] = tryWaiting(stage, situation, all, points[i]);
    });
    const auto waiters = static_cast<std::size_t>(
        std::ranges::count_if(times, [](const auto& time) { return time.has_value(); }));
    EXPECT_GE(waiters, fewestWaiters);
    longest = std::max(longest, std::ranges::max(times).value_or(longest));
    waited += waiters;
    runs += points.size();
  }
  EXPECT_GE(runs, isFullSize() ? 130U : 30U);
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(longest);
  std::cout << "[   RUNS   ] " << runs << " stopped while another was there, which waited in " << waited
            << " and was done " << milliseconds.count() << " ms later at most\n";
}

TEST_P(Waiters, ARunOfAnotherSessionWaitsForTheLogAtMost) {
  Stage stage;
  const Situation situation = Situation::starts().at(1);
  stage.set(situation.files);
  std::vector<SystemCallPoint> points = systemCallPoints(stage, situation);
  std::erase_if(points, [](const SystemCallPoint& point) {
    return point.subject == Subject::startOfProcess || point.name == "exit_group";
  });
  const auto isLogLock = [](const SystemCallPoint& point) {
    return point.subject == Subject::log && point.name == "flock";
  };
  const auto locked = std::ranges::find_if(points, isLogLock);
  const auto unlocked = std::find_if(locked + 1, points.end(), isLogLock);
  ASSERT_NE(unlocked, points.end());
  // At four points: before the session's lock, while holding it, at both ends of holding the log's lock, and
  // after that.
  for (const auto& [point, waits] :
       {std::pair{locked - 1, false}, {locked, true}, {unlocked - 1, true}, {unlocked, false}}) {
    SCOPED_TRACE(point->call);
    stage.set(situation.files);
    StoppedRun stopped(stage, situation, *point);
    const Running other = startHook(stage);
    other->write(toolStart("t", "late-1"));
    other->closeInput();
    EXPECT_EQ(waitsForLock(other->pid()), waits);
    EXPECT_EQ(stored(stage, "t").value_or(Session()).inFlight, std::vector<std::string>{"late-1"});
    if (goesOn()) {
      stopped.goOn();
    } else {
      stopped.kill();
    }
    EXPECT_EQ(other->wait(), silentSuccess);
    EXPECT_THAT(stage.newLogLines(situation.files),
                testing::Contains("claude t PreToolUse Bash#late-1 \u2192 working"));
    stage.expectNextEventWorks();
  }
}

INSTANTIATE_TEST_SUITE_P(AfterThat, Waiters, testing::Bool(), [](const auto& goesOn) {
  return goesOn.param ? std::string("HasGoneOn") : std::string("WasKilled");
});

}  // namespace
}  // namespace tavrin::test
