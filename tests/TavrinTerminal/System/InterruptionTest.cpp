#include "TavrinTerminal/System/Interruption.hpp"

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>

namespace tavrin {
namespace {

bool isReadable(int descriptor) {
  pollfd readable = {.fd = descriptor, .events = POLLIN, .revents = 0};
  return ::poll(&readable, 1, 0) == 1;
}

decltype(SIG_DFL) handlerOf(int signal) {
  struct sigaction now {};
  ::sigaction(signal, nullptr, &now);
  return now.sa_handler;
}

TEST(Interruption, KeepsTheFirstSignal) {
  const Interruption interruption;
  EXPECT_EQ(std::nullopt, Interruption::signal());
  EXPECT_FALSE(isReadable(interruption.descriptor()));
  std::raise(SIGTERM);
  std::raise(SIGINT);
  EXPECT_EQ(SIGTERM, Interruption::signal());
  EXPECT_TRUE(isReadable(interruption.descriptor()));
}

TEST(Interruption, ForgetsTheSignalsOfTheOneBefore) {
  {
    const Interruption interruption;
    std::raise(SIGHUP);
  }
  const Interruption next;
  EXPECT_EQ(std::nullopt, Interruption::signal());
  EXPECT_FALSE(isReadable(next.descriptor()));
}

TEST(Interruption, LeavesASignalIgnoredThatWasIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  {
    const Interruption interruption;
    std::raise(SIGHUP);
    EXPECT_EQ(std::nullopt, Interruption::signal());
  }
  EXPECT_EQ(SIG_IGN, handlerOf(SIGHUP));
  std::signal(SIGHUP, SIG_DFL);
}

TEST(Interruption, LetsSignalsEndTheProcessAgainWhenItIsOver) {
  {
    const Interruption interruption;
    EXPECT_NE(SIG_DFL, handlerOf(SIGINT));
  }
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) EXPECT_EQ(SIG_DFL, handlerOf(signal));
}

}  // namespace
}  // namespace tavrin
