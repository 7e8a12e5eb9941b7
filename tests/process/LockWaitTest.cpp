// Runs that wait for the lock of a session or of the log.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "TavrinCore/Support/File.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

// A process that holds the lock of a session.
Running holderOf(const std::string& session, const ScratchHome& home) {
  Running holder = start({sessionWorker(), "hold", home.sessions().string(), session});
  EXPECT_EQ(holder->readLine(), "held");
  return holder;
}

// A run of tavrin-hook that waits for the lock of its session.
Running waitingRun(const ScratchHome& home, std::string_view session, std::string_view call) {
  Running process = startHook(home);
  process->write(toolStart(session, call));
  process->closeInput();
  EXPECT_TRUE(waitsForLock(process->pid())) << "the run did not wait";
  return process;
}

TEST(LockWait, ASecondWriterWaitsForTheFirstAndThenWrites) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  const Running waiting = waitingRun(home, "s", "call-1");
  EXPECT_EQ(stored(home, "s"), std::nullopt);
  EXPECT_THAT(logLines(home), testing::IsEmpty());
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, std::vector<std::string>{"call-1"});
}

// The signals that a process ignores: bit N-1 for signal N, in hexadecimal (proc(5)).
std::uint64_t ignoredSignals(pid_t pid) {
  const std::string status = readFile("/proc/" + std::to_string(pid) + "/status");
  const std::size_t line = status.find("\nSigIgn:");
  EXPECT_NE(line, std::string::npos);
  return std::stoull(status.substr(line + 8), nullptr, 16);
}

// Otherwise a log that is a pipe without a reader, or a limit on the size of files, would end the run.
TEST(LockWait, ARunningHookIgnoresBrokenPipesAndSizeLimits) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  const Running waiting = waitingRun(home, "s", "call-1");
  const std::uint64_t ignored = ignoredSignals(waiting->pid());
  EXPECT_NE(ignored & (std::uint64_t{1} << (SIGPIPE - 1)), 0U);
  EXPECT_NE(ignored & (std::uint64_t{1} << (SIGXFSZ - 1)), 0U);
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
}

TEST(LockWait, IdsThatShareAFileWaitForEachOther) {
  const ScratchHome home;
  const Running holder = holderOf("ab", home);
  const Running waiting = waitingRun(home, "a/b", "call-1");
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "ab").value().sessionId, "a/b");
}

TEST(LockWait, AnotherSessionDoesNotWaitEvenWhileAWriterIsWaiting) {
  const ScratchHome home;
  const Running holder = holderOf("a", home);
  const Running waiting = waitingRun(home, "a", "call-1");
  EXPECT_EQ(runHook(home.path(), toolStart("b", "call-2")), silentSuccess);
  EXPECT_EQ(stored(home, "a"), std::nullopt);
  EXPECT_EQ(stored(home, "b").value().inFlight, std::vector<std::string>{"call-2"});
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
}

TEST(LockWait, AWriterWaitsForAStoppedHolderUntilItIsKilled) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  ASSERT_EQ(::kill(holder->pid(), SIGSTOP), 0);
  const Running waiting = waitingRun(home, "s", "call-1");
  EXPECT_EQ(stored(home, "s"), std::nullopt);
  ASSERT_EQ(::kill(holder->pid(), SIGKILL), 0);
  EXPECT_EQ(holder->wait().signal, SIGKILL);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, std::vector<std::string>{"call-1"});
}

TEST(LockWait, AWriterThatIsKilledWhileItWaitsLeavesTheOthersTheirTurns) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  const Running killed = waitingRun(home, "s", "call-1");
  const Running waiting = waitingRun(home, "s", "call-2");
  ASSERT_EQ(::kill(killed->pid(), SIGKILL), 0);
  EXPECT_EQ(killed->wait().signal, SIGKILL);
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, std::vector<std::string>{"call-2"});
}

TEST(LockWait, RunsThatWaitTogetherAllHaveTheirTurns) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  std::vector<Running> processes;
  std::vector<std::string> calls;
  for (int i = 0; i < 20; ++i) {
    calls.push_back("call-" + std::to_string(i));
    processes.push_back(waitingRun(home, "s", calls.back()));
  }
  EXPECT_EQ(holder->wait().exitStatus, 0);
  for (const Running& process : processes) EXPECT_EQ(process->wait(), silentSuccess);
  EXPECT_THAT(stored(home, "s").value().inFlight, testing::UnorderedElementsAreArray(calls));
}

TEST(LockWait, ALineWaitsForTheLockOfTheLogAndTheRecordDoesNot) {
  SeededHome home;
  const FileDescriptor log = FileDescriptor::open(home.logFile(), O_WRONLY);
  ASSERT_TRUE(log.lock());
  const Running waiting = waitingRun(home, "s", "call-1");
  home.expectUpdated("call-1");
  EXPECT_THAT(home.newLogLines(), testing::IsEmpty());
  // The renamed file still gets the line, because only a full log is begun anew.
  const auto moved = home / "moved";
  std::filesystem::rename(home.logFile(), moved);
  log.unlock();
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_THAT(readFile(moved), testing::EndsWith("Bash#call-1 \u2192 working\n"));
  EXPECT_FALSE(std::filesystem::exists(home.logFile()));
  home.expectNextEventWorks();
}

// A writer that opened the log just before another writer rotated it finds the old file full, and rotates
// again.
TEST(LockWait, ALineThatWaitedForAFullLogRotatesOnceMore) {
  SeededHome home;
  const auto previous = home / "Library/Logs/Tavrin/hook.1.log";
  const std::string full(1'000'001, '\n');
  writeFile(home.logFile(), full);
  const FileDescriptor log = FileDescriptor::open(home.logFile(), O_WRONLY);
  ASSERT_TRUE(log.lock());
  const Running waiting = waitingRun(home, "s", "call-1");
  std::filesystem::rename(home.logFile(), previous);
  writeFile(home.logFile(), "just begun\n");
  log.unlock();
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(readFile(previous), "just begun\n");
  EXPECT_EQ(home.logMessages(), "claude s PreToolUse Bash#call-1 \u2192 working\n");
}

TEST(LockWait, AWriterWaitsForAStoppedHolderUntilItGoesOnAndEnds) {
  const ScratchHome home;
  const Running holder = holderOf("s", home);
  ASSERT_EQ(::kill(holder->pid(), SIGSTOP), 0);
  const Running waiting = waitingRun(home, "s", "call-1");
  holder->closeInput();
  EXPECT_EQ(stored(home, "s"), std::nullopt);
  EXPECT_TRUE(waitsForLock(waiting->pid()));
  ASSERT_EQ(::kill(holder->pid(), SIGCONT), 0);
  EXPECT_EQ(holder->wait().exitStatus, 0);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, std::vector<std::string>{"call-1"});
}

}  // namespace
}  // namespace tavrin::test
