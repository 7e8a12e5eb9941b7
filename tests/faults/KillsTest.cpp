// What becomes of a record, and of others that wait for it, when a run of the real executable is killed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Stage.hpp"
#include "tests/faults/StoppedRun.hpp"
#include "tests/faults/SystemCallPoint.hpp"
#include "tests/support/Strace.hpp"

namespace tavrin::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Subject = SystemCallPoint::Subject;

std::vector<Scenario> allScenarios() {
  std::vector<Scenario> all = Scenario::starts();
  for (Scenario& scenario : Scenario::rare()) all.push_back(std::move(scenario));
  return all;
}

// The steps of one run, by the numbers of their system calls.
struct Steps {
  explicit Steps(const std::vector<SystemCallPoint>& points) {
    for (const SystemCallPoint& point : points) {
      const bool isLocking = point.subject == Subject::lock && point.name == "flock";
      if (isLocking) (lock == 0 ? lock : unlock) = point.number;
      if (point.subject == Subject::temporary && point.name == "openat") temporary = point.number;
      if (point.isReplacement() || point.isRemoval()) change = point.number;
      if (point.subject == Subject::log && point.name == "write") line = point.number;
    }
  }

  std::size_t lock = 0;
  std::size_t temporary = 0;
  std::size_t change = 0;
  std::size_t line = 0;
  std::size_t unlock = 0;
};

// Looks at what is left of a run that was killed when `done` of its system calls were.
void expectWhole(Stage& stage, const Scenario& scenario, const Steps& steps, std::size_t done) {
  if (done < steps.change) {
    EXPECT_EQ(stage.recordText(), Stage::oldRecordText(scenario));
  } else {
    EXPECT_EQ(stage.record(), stage.cleanRecord(scenario));
  }
  const bool hasTemporary = steps.temporary != 0 && done >= steps.temporary && done < steps.change;
  EXPECT_EQ(temporaries(stage.sessions()).size(), hasTemporary ? 1U : 0U);
  if (done < steps.line) {
    EXPECT_THAT(stage.newLogLines(scenario.files), IsEmpty());
  } else {
    EXPECT_THAT(stage.newLogLines(scenario.files), ElementsAre(cleanLine(scenario)));
  }
}

TEST(Kills, OnTheWayIntoAnySystemCallTheyLeaveTheOldRecordOrTheNewOne) {
  constexpr std::size_t fewestPoints = 25;
  for (const Scenario& scenario : allScenarios()) {
    Stage first;
    first.set(scenario.files);
    const std::vector<SystemCallPoint> points = systemCallPoints(first, scenario);
    const Steps steps(points);
    EXPECT_GE(points.size(), fewestPoints);
    std::atomic<std::size_t> kills = 0;
    inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
      const SystemCallPoint& point = points[i];
      SCOPED_TRACE(scenario.name + ", " + std::to_string(point.number) + ": " + point.call);
      stage.cleanRecord(scenario);
      stage.set(scenario.files);
      const std::string option = "inject=" + point.name + ":signal=KILL:when=" + std::to_string(point.nth);
      const Outcome outcome = run(underStrace(stage.path(), {"-e", option}, {hookExecutable()}),
                                  stage.event(scenario), {{"HOME", stage.string()}});
      EXPECT_EQ(outcome, (Outcome{.exitStatus = -1, .signal = SIGKILL, .output = "", .error = ""}));
      expectWhole(stage, scenario, steps, point.number - 1);
      stage.expectNextEventWorks();
      ++kills;
    });
    EXPECT_EQ(kills, points.size());
    std::cout << "[   RUNS   ] " << kills << " killed, from " << scenario.name << '\n';
  }
}

// A further event that must have been handled after what a killed run has left.
void expectHandled(const Stage& stage, const Scenario& scenario, std::string_view call, bool isAfterChange) {
  const std::optional<Session> session = stored(stage, "s");
  ASSERT_TRUE(session) << "no record";
  std::vector<std::string> calls;
  const std::optional<Session> before = Session::decode(Stage::oldRecordText(scenario).value_or(""));
  if (before) calls = before->inFlight;
  if (isAfterChange) calls.emplace_back("ask-1");
  calls.emplace_back(call);
  EXPECT_EQ(session->inFlight, calls);
  EXPECT_EQ(session->state, SessionState::working);
}

TEST(Kills, ARunThatWaitsForOneThatIsKilledGoesOn) {
  std::size_t waited = 0;
  std::chrono::microseconds longest{};
  for (const Scenario& scenario : Scenario::starts()) {
    Stage first;
    first.set(scenario.files);
    std::vector<SystemCallPoint> points = systemCallPoints(first, scenario);
    const Steps steps(points);
    // There is nothing after the end; and in the small size, every third call.
    std::erase_if(points, [](const SystemCallPoint& point) {
      return point.subject == Subject::startOfProcess || point.name == "exit_group" ||
             (!isFullSize() && point.number % 3 != 0);
    });
    std::atomic<std::size_t> waiters = 0;
    std::vector<std::chrono::microseconds> times(points.size());
    inParallel<Stage>(points.size(), [&](Stage& stage, std::size_t i) {
      const SystemCallPoint& point = points[i];
      SCOPED_TRACE(scenario.name + ", " + std::to_string(point.number) + ": " + point.call);
      stage.cleanRecord(scenario);
      stage.set(scenario.files);
      StoppedRun stopped(stage, scenario, point);
      const Running waiter = startHook(stage);
      waiter->write(toolStart("s", "waiter-1"));
      waiter->closeInput();
      const bool isLocked = point.number >= steps.lock && point.number < steps.unlock;
      EXPECT_EQ(waitsForLock(waiter->pid()), isLocked);
      if (isLocked) ++waiters;
      // Whoever finds the lock free has had its turn by now.
      if (isLocked) expectWhole(stage, scenario, steps, point.number);
      stopped.kill();
      const auto killed = std::chrono::steady_clock::now();
      EXPECT_EQ(waiter->wait(), silentSuccess);
      times[i] =
          std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - killed);
      expectHandled(stage, scenario, "waiter-1", point.number >= steps.change);
      stage.expectNextEventWorks();
    });
    EXPECT_GE(waiters, 8U);
    waited += waiters;
    longest = std::max(longest, *std::ranges::max_element(times));
    std::cout << "[   RUNS   ] " << points.size() << " killed while another run was there, from "
              << scenario.name << '\n';
  }
  std::cout << "[   RUNS   ] " << waited << " of them waited, at most " << longest.count() / 1000
            << " ms after the kill\n";
}

}  // namespace
}  // namespace tavrin::test
