// What happens to a record when functions of the C library fail during a run in this process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinHook/HookCommand.hpp"
#include "tests/TavrinCore/Context/FakeProcesses.hpp"
#include "tests/faults/FaultySystem.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Stage.hpp"

namespace tavrin::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

constexpr std::array<int, 8> errors = {EINTR, EIO, ENOSPC, EDQUOT, EACCES, EROFS, EMFILE, ENOLCK};

// Fewer calls than any of the runs below makes.
constexpr std::size_t fewestCalls = 14;

std::vector<Situation> allSituations() {
  std::vector<Situation> all = Situation::starts();
  for (Situation& situation : Situation::rare()) all.push_back(std::move(situation));
  return all;
}

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/dev/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

// Runs the command on the stage in this process. `decide` stands between it and the system.
void runHere(const Stage& stage, std::string_view event, const FaultySystem::Decision& decide) {
  const std::filesystem::path file = stage / "event";
  writeFile(file, event);
  const FileDescriptor input = FileDescriptor::open(file, O_RDONLY);
  FakeProcesses processes;
  processes.processes[300] = {.parent = 1, .name = "claude"};
  constexpr std::array<std::string_view, 1> words = {"tavrin-hook"};
  const HookCommand::Surroundings surroundings = {.input = input.number(),
                                                  .home = stage.string(),
                                                  .parentPid = 300,
                                                  .processes = processes.table(),
                                                  .files = RepoLabel::Probes::realFileSystem(),
                                                  .now = std::chrono::system_clock::now,
                                                  .makeId = Uuid::random};
  const std::size_t open = openDescriptors();
  {
    const FaultySystem system(decide);
    HookCommand::run(words, surroundings);
  }
  EXPECT_EQ(openDescriptors(), open) << "a file was left open";
}

void expectNextEventWorks(const Stage& stage) {
  runHere(stage, Stage::nextEvent(), [](std::string_view /*call*/) { return Answer(); });
  stage.expectNextEventIsHandled();
}

// Which of a run's calls fail, counted from 1.
struct Failing {
  int error = 0;
  std::size_t first = 0;
  std::size_t last = 0;
  std::size_t another = 0;  // one more, later

  bool contains(std::size_t number) const {
    return (number >= first && number <= last) || (another != 0 && number == another);
  }
  bool isOnce() const { return first == last && another == 0; }
};

// Lets the calls fail during a run, and checks what it leaves. Returns how many have failed.
std::size_t tryFailing(Stage& stage, const Situation& situation, const Failing& failing) {
  const std::set<Record>& poorer = stage.poorerRecords(situation);
  const Record& clean = stage.cleanRecord(situation);
  stage.set(situation.files);
  std::string trace = situation.name + ", errno " + std::to_string(failing.error);
  std::size_t made = 0;
  std::size_t failed = 0;
  runHere(stage, stage.event(situation), [&](std::string_view call) -> Answer {
    const bool fails = failing.contains(++made);
    if (fails) ++failed;
    if (fails) trace += ", " + std::to_string(made) + " " + std::string(call);
    return {.error = fails ? failing.error : 0};
  });
  if (failed == 0) return 0;

  SCOPED_TRACE(trace);
  const bool isOld = stage.recordText() == stage.oldRecordText(situation);
  if (failing.error == EINTR) {
    EXPECT_EQ(stage.record(), clean);
  } else if (!isOld) {
    EXPECT_THAT(poorer, Contains(stage.record()));
  }
  const std::vector<std::string> lines = stage.newLogLines(situation.files);
  EXPECT_LE(lines.size(), 1U);
  EXPECT_TRUE(!isOld || !failing.isOnce() || lines.size() == 1)
      << "nothing says why the record is the old one";
  for (const std::string& line : lines) {
    const bool isClean = line == cleanLine(situation);
    EXPECT_TRUE(isClean || isErrorLine(line)) << line;
    EXPECT_TRUE(situation.isEnd || isClean != isOld) << line;
  }
  EXPECT_LE(stage.newTemporaries(situation.files), failing.isOnce() || failing.error == EINTR ? 0U : 1U);
  expectNextEventWorks(stage);
  return failed;
}

TEST(SeamFaults, EachCallThatFailsOnceLeavesTheOldRecordOrTheNewOne) {
  std::size_t runs = 0;
  for (const Situation& situation : allSituations()) {
    Stage stage;
    for (const int error : errors) {
      std::size_t call = 1;
      while (tryFailing(stage, situation, {.error = error, .first = call, .last = call}) > 0) ++call;
      EXPECT_GE(call, fewestCalls);
      runs += call - 1;
    }
  }
  std::cout << "[   RUNS   ] " << runs << " with one call that fails\n";
  EXPECT_GE(runs, 1000U);
}

TEST(SeamFaults, CallsThatAllFailFromOneOnLeaveTheOldRecordOrTheNewOne) {
  constexpr std::size_t furtherInterruptions = 4;
  std::size_t runs = 0;
  for (const Situation& situation : allSituations()) {
    Stage stage;
    for (const int error : errors) {
      std::size_t call = 1;
      const auto last = [&] { return error == EINTR ? call + furtherInterruptions : SIZE_MAX; };
      while (tryFailing(stage, situation, {.error = error, .first = call, .last = last()}) > 0) ++call;
      EXPECT_GE(call, fewestCalls);
      runs += call - 1;
    }
  }
  std::cout << "[   RUNS   ] " << runs << " in which all calls fail from one on\n";
  EXPECT_GE(runs, 1000U);
}

TEST(SeamFaults, TwoCallsThatFailInOneRunLeaveTheOldRecordOrTheNewOne) {
  const std::size_t step = isFullSize() ? 1 : 5;
  std::size_t pairs = 0;
  for (const Situation& situation : allSituations()) {
    Stage stage;
    std::size_t failed = 1;
    for (std::size_t call = 1; failed > 0; ++call) {
      // In the small size, every fifth of the later calls. The offset changes each time.
      for (std::size_t another = call + 1 + call % step;; another += step) {
        const int error = errors[1 + pairs % (errors.size() - 1)];
        failed =
            tryFailing(stage, situation, {.error = error, .first = call, .last = call, .another = another});
        if (failed < 2) break;
        ++pairs;
      }
    }
  }
  std::cout << "[   RUNS   ] " << pairs << " in which two calls fail\n";
  EXPECT_GE(pairs, isFullSize() ? 1500U : 300U);
}

// What a caller of the library catches, whichever function failed.
TEST(SeamFaults, ASaveThatFailsThrowsASystemErrorWhateverCallFailed) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  Session session;
  session.sessionId = "s";
  std::vector<std::string> reported;
  std::string failed = "none yet";
  for (std::size_t failing = 0; !failed.empty(); ++failing) {
    std::size_t made = 0;
    failed.clear();
    const auto decide = [&](std::string_view call) {
      if (made++ != failing) return Answer{};
      failed = call;
      return Answer{.error = EIO};
    };
    try {
      const FaultySystem system(decide);
      store.save(session);
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::error_code(EIO, std::generic_category())) << failed;
      reported.push_back(failed);
    }
  }
  EXPECT_THAT(reported, testing::IsSupersetOf({"open", "write", "rename"}));
#ifdef __linux__
  // On other systems random bytes come from a file.
  EXPECT_THAT(reported, Contains("getrandom"));
#endif
}

TEST(SeamFaults, OneByteAtATimeIsReadAndWrittenToTheEnd) {
  for (const Situation& situation : Situation::starts()) {
    SCOPED_TRACE(situation.name);
    Stage stage;
    const Record clean = stage.cleanRecord(situation);
    stage.set(situation.files);
    std::size_t calls = 0;
    runHere(stage, stage.event(situation), [&](std::string_view /*call*/) -> Answer {
      ++calls;
      return {.mostBytes = 1};
    });
    EXPECT_EQ(stage.record(), clean);
    EXPECT_GE(calls, stage.recordText().value().size() + stage.event(situation).size());
    // A line is written with one call. The part that the call did not take is lost.
    const std::string log = readFile(stage.logFile());
    EXPECT_THAT(log, testing::AnyOf("2", testing::EndsWith("\n2")));
    expectNextEventWorks(stage);
  }
}

// The descriptors that a program started here would inherit, one a line.
std::string descriptorsOfAChild() {
  return run({"/bin/ls", "/dev/fd/"}).output;
}

TEST(SeamFaults, AProgramStartedAtAnyMomentOfARunGetsNoneOfItsFiles) {
  std::size_t children = 0;
  for (const Situation& situation : allSituations()) {
    SCOPED_TRACE(situation.name);
    const Stage stage;
    stage.set(situation.files);
    const std::string before = descriptorsOfAChild();
    runHere(stage, stage.event(situation), [&](std::string_view call) -> Answer {
      EXPECT_EQ(descriptorsOfAChild(), before) << call;
      ++children;
      return {};
    });
    EXPECT_THAT(stage.newLogLines(situation.files), ElementsAre(cleanLine(situation)));
  }
  std::cout << "[   RUNS   ] " << children << " programs started\n";
  EXPECT_GE(children, 100U);
}

}  // namespace
}  // namespace tavrin::test
