#include "tests/faults/Trials.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>

#include "tests/support/Strace.hpp"

namespace tavrin::test {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Subject = SystemCallPoint::Subject;

Outcome runWith(const std::string& option, const Stage& stage, const Situation& situation) {
  removeTraces(stage.path());
  return run(underStrace(stage.path(), {"-e", option}, {hookExecutable()}), stage.event(situation),
             {{"HOME", stage.string()}});
}

// The number of the last system call for which `is` holds; 0 if there is none.
template <class Predicate>
std::size_t numberOf(const std::vector<SystemCallPoint>& points, Predicate is) {
  std::size_t number = 0;
  for (const SystemCallPoint& point : points) {
    if (is(point)) number = point.number;
  }
  return number;
}

}  // namespace

std::string SystemCallFault::option() const {
  constexpr std::size_t furtherInterruptions = 4;
  std::string when = std::to_string(point.nth);
  if (isRepeated) when += isInterruption() ? ".." + std::to_string(point.nth + furtherInterruptions) : "+";
  return "inject=" + point.name + ":error=" + std::string(error) + ":when=" + when;
}

bool SystemCallFault::isHit(const SystemCallPoint& other) const {
  return other.name == point.name && (isRepeated ? other.nth >= point.nth : other.nth == point.nth);
}

void tryFault(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
              const SystemCallFault& fault) {
  SCOPED_TRACE(situation.name + ", " + fault.option());
  const auto fails = [&](const auto& isNeeded) {
    return !fault.isInterruption() && std::ranges::any_of(points, [&](const SystemCallPoint& point) {
      return fault.isHit(point) && std::invoke(isNeeded, point);
    });
  };
  const bool isKept = fails(&SystemCallPoint::isNeededForRecord);
  const bool isPoorer = fails(&SystemCallPoint::isLookUp);
  std::set<Record> expected;
  if (!isKept) expected = isPoorer ? stage.poorerRecords(situation) : std::set{stage.cleanRecord(situation)};

  stage.set(situation.files);
  EXPECT_EQ(runWith(fault.option(), stage, situation), silentSuccess);
  const std::vector<std::string> calls = callsOfHook(stage.path());
  SCOPED_TRACE(table(calls));
  EXPECT_THAT(calls, Contains(testing::HasSubstr("(INJECTED)")));
  if (isKept) {
    EXPECT_EQ(stage.recordText(), stage.oldRecordText(situation));
  } else {
    EXPECT_THAT(expected, Contains(stage.record()));
  }
  EXPECT_EQ(stage.newTemporaries(situation.files), 0U);

  const std::vector<std::string> lines = stage.newLogLines(situation.files);
  if (fails(&SystemCallPoint::isNeededForLog)) {
    EXPECT_THAT(lines, IsEmpty());
  } else if (fails(&SystemCallPoint::isNeededForEvent)) {
    EXPECT_THAT(lines, ElementsAre(testing::ResultOf(isErrorLine, true)));
  } else {
    EXPECT_THAT(lines, ElementsAre(cleanLine(situation)));
  }
  stage.expectNextEventWorks();
}

void tryKill(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
             const SystemCallPoint& point) {
  SCOPED_TRACE(situation.name + ", killed at " + std::to_string(point.number) + ": " + point.call);
  stage.cleanRecord(situation);
  stage.set(situation.files);
  const Outcome killed = {.exitStatus = -1, .signal = SIGKILL, .output = "", .error = ""};
  const std::string option = "inject=" + point.name + ":signal=KILL:when=" + std::to_string(point.nth);
  EXPECT_EQ(runWith(option, stage, situation), killed);
  expectWhole(stage, situation, points, point.number - 1);
}

void expectWhole(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
                 std::size_t done) {
  const std::size_t change = numberOf(
      points, [](const SystemCallPoint& point) { return point.isReplacement() || point.isRemoval(); });
  const std::size_t temporary = numberOf(points, [](const SystemCallPoint& point) {
    return point.subject == Subject::temporary && point.name == "openat";
  });
  const std::size_t line = numberOf(points, [](const SystemCallPoint& point) {
    return point.subject == Subject::log && point.name == "write";
  });
  if (done < change) {
    EXPECT_EQ(stage.recordText(), stage.oldRecordText(situation));
  } else {
    EXPECT_EQ(stage.record(), stage.cleanRecord(situation));
  }
  const bool hasTemporary = temporary != 0 && done >= temporary && done < change;
  EXPECT_EQ(stage.newTemporaries(situation.files), hasTemporary ? 1U : 0U);
  if (done < line) {
    EXPECT_THAT(stage.newLogLines(situation.files), IsEmpty());
  } else {
    EXPECT_THAT(stage.newLogLines(situation.files), ElementsAre(cleanLine(situation)));
  }
}

LockedCalls::LockedCalls(const std::vector<SystemCallPoint>& points) {
  for (const SystemCallPoint& point : points) {
    if (point.subject != Subject::lock || point.name != "flock") continue;
    if (first == 0) first = point.number;
    last = point.number - 1;
  }
}

}  // namespace tavrin::test
