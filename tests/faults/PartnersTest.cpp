// What the real executable does when those it works with misbehave: the agent that feeds it, and other runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

TEST(Partners, AnAgentThatNeverClosesTheInputIsWaitedForAndNothingIsDoneUntilThen) {
  SeededHome home;
  const Running process = startHook(home);
  process->write(toolStart("s", "call-1"));
  process->waitUntilInputIsRead();
  home.expectUntouched();
  // Another run of the same session does not wait for it: it has not taken the lock yet.
  home.expectNextEventWorks();
  ASSERT_EQ(::kill(process->pid(), SIGKILL), 0);
  EXPECT_EQ(process->wait().signal, SIGKILL);
  EXPECT_EQ(stored(home, "s").value().inFlight, (std::vector<std::string>{"call-0", "next-1"}));
}

}  // namespace
}  // namespace tavrin::test
