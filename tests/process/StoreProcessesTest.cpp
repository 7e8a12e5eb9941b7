// The promises of the session store, tested with real processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

TEST(StoreProcesses, FortyRunsOnOneSessionEachAddTheirCall) {
  constexpr int runs = 40;
  const ScratchHome home;
  // The lock holds all of them up, so that as many as possible reach for the record at once.
  const Running holder = start({sessionWorker(), "hold", home.sessions().string(), "s"});
  ASSERT_EQ(holder->readLine(), "held");
  std::vector<Running> processes;
  std::vector<std::string> calls;
  for (int i = 0; i < runs; ++i) {
    calls.push_back("call-" + std::to_string(i));
    processes.push_back(startHook(home));
    processes.back()->write(toolStart("s", calls.back()));
    processes.back()->closeInput();
  }
  EXPECT_EQ(stored(home, "s"), std::nullopt);
  EXPECT_EQ(holder->wait(), (Outcome{.exitStatus = 0, .output = "", .error = ""}));
  for (const Running& process : processes) EXPECT_EQ(process->wait(), silentSuccess);

  const std::optional<Session> session = stored(home, "s");
  ASSERT_TRUE(session);
  EXPECT_THAT(session->inFlight, testing::UnorderedElementsAreArray(calls));
  std::vector<std::string> lines;
  for (const std::string& call : calls) {
    const std::string last6 = call.substr(call.size() - 6);
    lines.push_back("claude s PreToolUse Bash#" + last6 + " \u2192 working");
  }
  EXPECT_THAT(logLines(home), testing::UnorderedElementsAreArray(lines));
  EXPECT_THAT(temporaries(home.sessions()), testing::IsEmpty());
}

TEST(StoreProcesses, ARunEndsWhileAnotherSessionIsLocked) {
  const ScratchHome home;
  const Running holder = start({sessionWorker(), "hold", home.sessions().string(), "a"});
  ASSERT_EQ(holder->readLine(), "held");
  // These must end while the lock of "a" is held.
  EXPECT_EQ(runHook(home.path(), toolStart("b", "call-1")), silentSuccess);
  EXPECT_EQ(runHook(home.path(), toolStart("aa", "call-2")), silentSuccess);
  EXPECT_EQ(stored(home, "b").value().inFlight, std::vector<std::string>{"call-1"});
  EXPECT_EQ(stored(home, "aa").value().inFlight, std::vector<std::string>{"call-2"});
  EXPECT_EQ(holder->wait().exitStatus, 0);
}

TEST(StoreProcesses, ALockEndsWithAHolderThatIsKilled) {
  const ScratchHome home;
  const Running holder = start({sessionWorker(), "hold", home.sessions().string(), "s"});
  ASSERT_EQ(holder->readLine(), "held");
  const Running waiting = startHook(home);
  waiting->write(toolStart("s", "call-1"));
  waiting->closeInput();
  ASSERT_EQ(::kill(holder->pid(), SIGKILL), 0);
  EXPECT_EQ(holder->wait().signal, SIGKILL);
  EXPECT_EQ(waiting->wait(), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, std::vector<std::string>{"call-1"});
}

}  // namespace
}  // namespace tavrin::test
