// What the real executable does when the agent that feeds it, or another run, misbehaves. BadInputTest,
// BadPlacesTest, LimitsTest and LockWaitTest hold more such cases.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "TavrinHook/HookCommand.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

TEST(Partners, ARunWaitsForAnAgentThatNeverClosesTheInput) {
  const std::string event = toolStart("s", "call-1");
  const std::string tooLarge = event + std::string(HookCommand::largestPayload, ' ');
  for (const std::string& input : {std::string(), event.substr(0, 20), event, tooLarge}) {
    SCOPED_TRACE(input.size());
    SeededHome home;
    const Running process = startHook(home);
    process->write(input);
    process->waitUntilInputIsRead();
    home.expectUntouched();
    EXPECT_THAT(home.newLogLines(), testing::IsEmpty());
    // It has not taken the session's lock, so it blocks nobody.
    home.expectNextEventWorks();
    EXPECT_FALSE(hasEnded(process->pid()));
    ASSERT_EQ(::kill(process->pid(), SIGKILL), 0);
    EXPECT_EQ(process->wait().signal, SIGKILL);
    EXPECT_EQ(stored(home, "s").value().inFlight, (std::vector<std::string>{"call-0", "next-1"}));
  }
}

TEST(Partners, AnAgentMayWriteOneByteAtATime) {
  SeededHome home;
  const Running process = startHook(home);
  for (const char byte : toolStart("s", "call-1")) {
    process->write(std::string(1, byte));
    process->waitUntilInputIsRead();
  }
  home.expectUntouched();
  EXPECT_EQ(process->wait(), silentSuccess);
  home.expectUpdated("call-1");
}

}  // namespace
}  // namespace tavrin::test
