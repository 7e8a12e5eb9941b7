#include "TavrinTerminal/System/ProcessSignal.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace tavrin {
namespace {

using Signalled = HeldProcess::Signalled;
using namespace std::chrono_literals;

// No descriptor can be opened while it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    rlimit none = before_;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

class HeldProcessTest : public testing::Test {
 protected:
  HeldProcessTest() : child_(::fork()) {
    if (child_ != 0) return;
    for (;;) ::pause();
  }
  ~HeldProcessTest() override {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  // Whether the child runs. One that has ended is waited for, and its id is free.
  bool runs() const { return ::waitpid(child_, nullptr, WNOHANG) == 0; }
  HeldProcess held() const {
    return HeldProcess(child_, [this] { return runs(); });
  }
  HeldProcess heldWithoutDescriptor() const {
    const NoDescriptors none;
    return held();
  }

  pid_t child_;
};

TEST_F(HeldProcessTest, IsSignalledAndWaitedFor) {
  const HeldProcess process = held();
  EXPECT_TRUE(process.isHeld());
  EXPECT_FALSE(process.endsWithin(0ms));
  EXPECT_EQ(Signalled::sent, process.signal(SIGKILL));
  EXPECT_TRUE(process.endsWithin(60s));
}

TEST_F(HeldProcessTest, IsSignalledAndWaitedForWhereNoDescriptorIsLeft) {
  const HeldProcess process = heldWithoutDescriptor();
  EXPECT_TRUE(process.isHeld());
  EXPECT_FALSE(process.endsWithin(0ms));
  EXPECT_FALSE(process.endsWithin(1ms));
  EXPECT_EQ(Signalled::sent, process.signal(SIGKILL));
  EXPECT_TRUE(process.endsWithin(60s));
  EXPECT_EQ(Signalled::gone, process.signal(SIGKILL));
}

TEST_F(HeldProcessTest, IsNotWaitedForAnyMoreOnceInterrupted) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, ::pipe(ends.data()));
  const FileDescriptor interrupt(ends[0]);
  const FileDescriptor writer(ends[1]);
  ASSERT_EQ(1, ::write(writer.number(), "x", 1));
  EXPECT_FALSE(held().endsWithin(24h, interrupt.number()));
  EXPECT_FALSE(heldWithoutDescriptor().endsWithin(24h, interrupt.number()));
  EXPECT_TRUE(runs());
}

TEST_F(HeldProcessTest, ThatIsNotTheOneMeantGetsNoSignal) {
  const HeldProcess process(child_, [] { return false; });
  EXPECT_FALSE(process.isHeld());
  EXPECT_EQ(Signalled::gone, process.signal(SIGKILL));
  EXPECT_TRUE(runs());
}

TEST_F(HeldProcessTest, OfAnotherUserIsDenied) {
  if (::geteuid() != 0) {
    const HeldProcess first(1, [] { return true; });
    EXPECT_EQ(Signalled::denied, first.signal(SIGTERM));
    return;
  }
  // Root may signal everybody, so a process without its rights tries.
  const pid_t other = ::fork();
  if (other == 0) {
    constexpr uid_t nobody = 65'534;
    if (::setuid(nobody) != 0) ::_exit(2);
    const HeldProcess process(child_, [] { return true; });
    ::_exit(process.signal(SIGTERM) == Signalled::denied ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(other, ::waitpid(other, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_TRUE(runs());
}

}  // namespace
}  // namespace tavrin
