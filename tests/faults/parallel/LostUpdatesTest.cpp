// Many processes that use one record, or many records. No update is lost, and no reader finds half a record.
// The same tests with the lock removed, or with the wrong file locked, show that they would notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/parallel/CallerReport.hpp"

namespace tavrin::test {
namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

// A store with the record "s", a large one, whose counter is at 0.
class Counter {
 public:
  Counter() {
    Session session;
    session.sessionId = "s";
    session.inFlight = std::vector<std::string>(64, "toolu_0184573f55a0884b11a33972");
    store_.save(session);
  }

  std::int32_t value() const { return store_.load("s").value().agentPid; }
  const std::filesystem::path& directory() const { return directory_.path(); }

  Running worker(const std::string& task, int times) const {
    return start(
        {TAVRIN_PARALLEL_PROGRAMS "/store-worker", task, directory_.string(), "s", std::to_string(times)});
  }

  // Starts 16 writers together, waits until each has made its updates, and returns the number of updates.
  int runWriters(const std::string& task) const {
    constexpr int writers = 16;
    const int updates = isFullSize() ? 1000 : 250;
    std::vector<Running> processes;
    processes.reserve(writers);
    for (int i = 0; i < writers; ++i) processes.push_back(worker(task, updates));
    for (const Running& process : processes) process->closeInput();
    for (const Running& process : processes) EXPECT_EQ(process->wait(), silentSuccess);
    return writers * updates;
  }

 private:
  ScratchDirectory directory_;
  SessionFileStore store_{directory_.string()};
};

// The number that a process printed, if it printed only that.
int numberFrom(const Running& process) {
  const Outcome outcome = process->wait();
  EXPECT_EQ(outcome.exitStatus, 0) << outcome.output << outcome.error;
  return outcome.exitStatus == 0 ? std::stoi(outcome.output) : 0;
}

TEST(LostUpdates, SixteenWritersLoseNoneAndReadersSeeOnlyWholeRecordsThatNeverStepBack) {
  const Counter counter;
  constexpr int fewestReads = 250;
  const Running first = counter.worker("watch", fewestReads);
  const Running second = counter.worker("watch", fewestReads);
  const int updates = counter.runWriters("count");
  EXPECT_EQ(counter.value(), updates);
  EXPECT_EQ(updates, isFullSize() ? 16'000 : 4'000);
  EXPECT_LE(numberFrom(first), updates);
  EXPECT_LE(numberFrom(second), updates);
  std::cout << "[   RUNS   ] " << updates << " updates\n";
  EXPECT_THAT(temporaries(counter.directory()), IsEmpty());
}

TEST(LostUpdates, WithoutALockTheSameWritersLoseSome) {
  const Counter counter;
  const int updates = counter.runWriters("count-unlocked");
  EXPECT_LT(counter.value(), updates);
  std::cout << "[   RUNS   ] " << updates << " updates, " << updates - counter.value() << " of them lost\n";
}

TEST(LostUpdates, WithALockOnTheFileThatIsReplacedTheSameWritersLoseSome) {
  const Counter counter;
  const int updates = counter.runWriters("count-replaced");
  EXPECT_LT(counter.value(), updates);
  std::cout << "[   RUNS   ] " << updates << " updates, " << updates - counter.value() << " of them lost\n";
}

TEST(LostUpdates, ReadersThatNeverPauseFindARecordAtEveryReadAndItNeverStepsBack) {
  const Counter counter;
  constexpr int readers = 2;
  const int reads = isFullSize() ? 500'000 : 10'000;
  std::vector<Running> writing;
  std::vector<Running> reading;
  for (int i = 0; i < readers; ++i) {
    writing.push_back(counter.worker("write", 0));
    writing.push_back(counter.worker("write", 0));
    reading.push_back(counter.worker("read", reads));
  }
  for (const Running& reader : reading) EXPECT_EQ(reader->wait(), silentSuccess);
  int written = 0;
  for (const Running& writer : writing) written += numberFrom(writer);
  EXPECT_EQ(counter.value(), written);
  std::cout << "[   RUNS   ] " << readers * reads << " reads at least, during " << written << " updates\n";
}

// Every event that was sent is in the record and, exactly once, in the log.
void expectAllOf(const CallerReport& report, const std::vector<std::string>& log, int events) {
  EXPECT_EQ(report.events, events);
  EXPECT_EQ(report.updates, events);
  EXPECT_EQ(report.lost, 0);
  EXPECT_EQ(log.size(), static_cast<std::size_t>(events));
  std::vector<std::string> wanted = report.certain;
  std::vector<std::string> found = log;
  std::ranges::sort(wanted);
  std::ranges::sort(found);
  EXPECT_TRUE(wanted == found) << "the log's lines are not those of the events";
}

TEST(LostUpdates, SixteenAgentsAtOneSessionLoseNoEventAndNoLine) {
  const ScratchHome home;
  const int events = isFullSize() ? 1000 : TAVRIN_RUNS;
  const CallerReport report = runSixteenCallers(hookExecutable(), home, events);
  expectAllOf(report, logLines(home), 16 * events);
  EXPECT_THAT(stored(home, "s").value().inFlight, UnorderedElementsAreArray(report.open));
  EXPECT_FALSE(std::filesystem::exists(home / "Library/Logs/Tavrin/hook.1.log"))
      << "the log was moved meanwhile";
  EXPECT_THAT(temporaries(home.sessions()), IsEmpty());
  std::cout << "[   RUNS   ] " << report.events << " of one session\n";
}

TEST(LostUpdates, SixtyFourSessionsOfFourAgentsEachLoseNoEventAndNoLine) {
  constexpr int sessions = 64;
  constexpr int atOnce = 16;
  const int events = isFullSize() ? 100 : TAVRIN_RUNS / 10;
  const ScratchHome home;
  int total = 0;
  for (int first = 0; first < sessions; first += atOnce) {
    std::vector<Running> processes;
    std::vector<std::string> ids;
    for (int i = first; i < first + atOnce; ++i) {
      ids.push_back("s" + std::to_string(i));
      for (const std::string name : {"a", "b", "c", "d"})
        processes.push_back(startCaller(hookExecutable(),
                                        {home.string(), ids.back(), name, "events", std::to_string(events)}));
    }
    const CallerReport report = reportOf(processes);
    expectAllOf(report, logLines(home), atOnce * 4 * events);
    total += report.events;
    std::vector<std::string> open;
    for (const std::string& id : ids) {
      const std::vector<std::string> calls = stored(home, id).value().inFlight;
      open.insert(open.end(), calls.begin(), calls.end());
    }
    EXPECT_THAT(open, UnorderedElementsAreArray(report.open));
    std::filesystem::remove(home.logFile());
  }
  EXPECT_EQ(total, isFullSize() ? 25'600 : 256 * (TAVRIN_RUNS / 10));
  EXPECT_EQ(SessionFileStore(home.sessions().string()).loadAll().sessions.size(), 64U);
  EXPECT_THAT(temporaries(home.sessions()), IsEmpty());
  std::cout << "[   RUNS   ] " << total << " of " << sessions << " sessions\n";
}

}  // namespace
}  // namespace tavrin::test
