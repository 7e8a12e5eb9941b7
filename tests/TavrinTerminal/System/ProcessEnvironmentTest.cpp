#include "TavrinTerminal/System/ProcessEnvironment.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "TavrinTerminal/System/ChildProcess.hpp"

namespace tavrin {
namespace {

using Variables = ProcessEnvironment::Variables;
using namespace std::string_literals;

// The answer of KERN_PROCARGS2 for a process with these arguments.
std::string answer(std::int32_t count, std::string_view rest) {
  std::string bytes(sizeof count, '\0');
  std::memcpy(bytes.data(), &count, sizeof count);
  return bytes += rest;
}

TEST(ProcessEnvironment, TakesTheFirstOfTwoVariables) {
  EXPECT_EQ((Variables{{"A", "1=2"}, {"B", ""}}),
            ProcessEnvironment::parse("A=1=2\0nothing\0=x\0\0B=\0A=3"s));
  EXPECT_EQ(Variables(), ProcessEnvironment::parse(""));
}

TEST(ProcessEnvironment, FindsTheEnvironmentBehindTheArguments) {
  EXPECT_EQ((Variables{{"HOME", "/h"}, {"TMUX", "/tmp/t,1,0"}}),
            ProcessEnvironment::parseProcArgs(
                answer(2, "/bin/sh\0\0\0\0sh\0X=not\0HOME=/h\0TMUX=/tmp/t,1,0\0\0ptr=kernel\0"s)));
}

TEST(ProcessEnvironment, CountsArgumentsThatAreEmpty) {
  EXPECT_EQ((Variables{{"A", "1"}}),
            ProcessEnvironment::parseProcArgs(answer(3, "/bin/sh\0\0sh\0\0B=argument\0A=1\0"s)));
}

TEST(ProcessEnvironment, FindsNothingInBytesOfAnotherForm) {
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs(""));
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs("abc"));
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs(answer(1, "")));
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs(answer(1, "/bin/sh")));
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs(answer(1'000'000, "/bin/sh\0\0sh\0A=1\0"s)));
  EXPECT_EQ(Variables(), ProcessEnvironment::parseProcArgs(answer(1, "/bin/sh\0\0sh\0\0ptr=kernel\0"s)))
      << "an environment without variables";
}

TEST(ProcessEnvironment, IsThatOfARunningProcess) {
  const ChildOutcome outcome =
      ChildProcess::run({.words = {"/bin/sh", "-c", "echo $$; exec cat /dev/null"}, .input = ""});
  EXPECT_TRUE(outcome.succeeded());
  ASSERT_EQ(::getenv("PATH"), ProcessEnvironment::of(::getpid()).at("PATH"));
  EXPECT_EQ(Variables(), ProcessEnvironment::of(std::stoi(outcome.output))) << "it is gone";
}

}  // namespace
}  // namespace tavrin
