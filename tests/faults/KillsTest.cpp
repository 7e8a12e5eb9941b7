// What becomes of a record, and of others that wait for it, when a run of the real executable is killed.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/StoppedRun.hpp"
#include "tests/faults/Trials.hpp"

namespace tavrin::test {
namespace {

using Subject = SystemCallPoint::Subject;

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

// A further event that must have been handled after what a killed run has left.
void expectHandled(const Stage& stage, const Situation& situation, std::string_view call,
                   bool isAfterChange) {
  const std::optional<Session> session = stored(stage, "s");
  ASSERT_TRUE(session) << "no record";
  std::vector<std::string> calls;
  const std::optional<Session> before = Session::decode(stage.oldRecordText(situation).value_or(""));
  if (before) calls = before->inFlight;
  if (isAfterChange) calls.emplace_back("ask-1");
  calls.emplace_back(call);
  EXPECT_EQ(session->inFlight, calls);
  EXPECT_EQ(session->state, SessionState::working);
}

TEST(Kills, ARunThatWaitsForOneThatIsKilledGoesOn) {
  std::size_t waited = 0;
  std::chrono::microseconds longest{};
  for (const Situation& situation : Situation::starts()) {
    const Stage first;
    first.set(situation.files);
    const std::vector<SystemCallPoint> all = systemCallPoints(first, situation);
    const LockedCalls locked(all);
    const std::size_t change = std::ranges::find_if(all, &SystemCallPoint::isReplacement)->number;
    // There is nothing after the end; and in the small size, every third call.
    std::vector<SystemCallPoint> points = all;
    std::erase_if(points, [](const SystemCallPoint& point) {
      return point.subject == Subject::startOfProcess || point.name == "exit_group" ||
             (!isFullSize() && point.number % 3 != 0);
    });
    std::atomic<std::size_t> waiters = 0;
    std::vector<std::chrono::microseconds> times(points.size());
    inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
      const SystemCallPoint& point = points[i];
      SCOPED_TRACE(situation.name + ", " + std::to_string(point.number) + ": " + point.call);
      stage.cleanRecord(situation);
      stage.set(situation.files);
      StoppedRun stopped(stage, situation, point);
      const Running waiter = startHook(stage);
      waiter->write(toolStart("s", "waiter-1"));
      waiter->closeInput();
      const bool isLocked = locked.contains(point.number);
      EXPECT_EQ(waitsForLock(waiter->pid()), isLocked);
      if (isLocked) ++waiters;
      // Whoever finds the lock free has had its turn by now.
      if (isLocked) expectWhole(stage, situation, all, point.number);
      stopped.kill();
      const auto killed = std::chrono::steady_clock::now();
      EXPECT_EQ(waiter->wait(), silentSuccess);
      times[i] =
          std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - killed);
      expectHandled(stage, situation, "waiter-1", point.number >= change);
      stage.expectNextEventWorks();
    });
    EXPECT_GE(waiters, 8U);
    waited += waiters;
    longest = std::max(longest, *std::ranges::max_element(times));
    std::cout << "[   RUNS   ] " << points.size() << " killed while another run was there, from "
              << situation.name << '\n';
  }
  std::cout << "[   RUNS   ] " << waited << " of them waited, at most " << longest.count() / 1000
            << " ms after the kill\n";
}

}  // namespace
}  // namespace tavrin::test
