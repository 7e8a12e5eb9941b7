// What a run of the real executable does when somebody takes its files away in the middle.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/StoppedRun.hpp"

namespace tavrin::test {
namespace {

namespace fs = std::filesystem;

struct Meddler {
  std::string name;
  std::function<void(const Stage&)> meddle;
  std::function<void(const Stage&)> tidyUp;
};

std::vector<Meddler> meddlers() {
  const auto nothing = [](const Stage& /*stage*/) {};
  const auto removeSessions = [](const Stage& stage) { fs::remove_all(stage.sessions()); };
  return {
      {"removes the library", [](const Stage& stage) { stage.set({}); }, nothing},
      {"removes the sessions", removeSessions, nothing},
      {"moves the sessions away",
       [](const Stage& stage) {
         if (fs::exists(stage.sessions())) fs::rename(stage.sessions(), stage / "elsewhere");
       },
       [](const Stage& stage) { fs::remove_all(stage / "elsewhere"); }},
      {"puts a file in the place of the sessions",
       [&](const Stage& stage) {
         fs::remove_all(stage.sessions());
         writeFile(stage.sessions(), "in the way");
       },
       removeSessions},
      {"puts a directory in the place of the record",
       [](const Stage& stage) {
         fs::remove(stage.sessionFile("s"));
         fs::create_directories(stage.sessionFile("s"));
       },
       [](const Stage& stage) { fs::remove_all(stage.sessionFile("s")); }},
      {"puts a link to nowhere in the place of the log",
       [](const Stage& stage) {
         fs::remove(stage.logFile());
         fs::create_directories(stage.logFile().parent_path());
         fs::create_symlink("nowhere/at/all", stage.logFile());
       },
       [](const Stage& stage) { fs::remove(stage.logFile()); }},
  };
}

TEST(Meddlers, WhateverIsTakenAwayARunEndsInSilenceAndTheNextOneWorks) {
  const std::vector<Meddler> all = meddlers();
  std::size_t runs = 0;
  for (const Situation& situation : Situation::starts()) {
    const Stage first;
    first.set(situation.files);
    std::vector<SystemCallPoint> points = systemCallPoints(first, situation);
    std::erase_if(points, [](const SystemCallPoint& point) {
      return point.subject == SystemCallPoint::Subject::startOfProcess || point.name == "exit_group";
    });
    // In the small size each call meets one meddler, and each meddler meets many calls.
    const std::size_t count = isFullSize() ? points.size() * all.size() : points.size();
    inParallel<Stage>(count, [&](Stage& stage, std::size_t i) {
      const SystemCallPoint& point = points[i % points.size()];
      const Meddler& meddler = all[(i + i / points.size()) % all.size()];
      SCOPED_TRACE(situation.name + ", who " + meddler.name + ", " + point.call);
      stage.poorerRecords(situation);
      stage.set(situation.files);
      StoppedRun run(stage, situation, point);
      meddler.meddle(stage);
      run.goOn();
      if (fs::is_regular_file(stage.sessionFile("s"))) {
        std::set<Record> whole = stage.poorerRecords(situation);
        whole.insert(stage.oldRecordText(situation));
        EXPECT_THAT(whole,
                    testing::AnyOf(testing::Contains(stage.record()), testing::Contains(stage.recordText())));
      }
      meddler.tidyUp(stage);
      stage.expectNextEventWorks();
    });
    runs += count;
  }
  EXPECT_GE(runs, isFullSize() ? 130U * all.size() : 130U);
  std::cout << "[   RUNS   ] " << runs << " meddled with\n";
}

}  // namespace
}  // namespace tavrin::test
