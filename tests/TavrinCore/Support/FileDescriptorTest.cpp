#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

#include "TavrinCore/Support/File.hpp"
#include "tests/TavrinCore/Support/OtherProcesses.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::endedWell;
using test::inAnotherProcess;
using test::Pipe;
using test::ScratchDirectory;
using test::writeFile;

bool isDescriptorOpen(int number) {
  return ::fcntl(number, F_GETFD) != -1;
}

TEST(FileDescriptor, ClosesWithItsOwner) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "x");
  int number = -1;
  {
    const FileDescriptor file = FileDescriptor::open(scratch / "f", O_RDONLY);
    ASSERT_TRUE(file.isOpen());
    number = file.number();
    EXPECT_TRUE(isDescriptorOpen(number));
  }
  EXPECT_FALSE(isDescriptorOpen(number));
}

TEST(FileDescriptor, MovingHandsTheFileOverAndClosesTheOldOne) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "x");
  FileDescriptor first = FileDescriptor::open(scratch / "f", O_RDONLY);
  FileDescriptor second = FileDescriptor::open(scratch / "f", O_RDONLY);
  const int firstNumber = first.number();
  const int secondNumber = second.number();
  FileDescriptor third = std::move(first);
  EXPECT_EQ(third.number(), firstNumber);
  EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): what is left is what this is about
  second = std::move(third);
  EXPECT_EQ(second.number(), firstNumber);
  EXPECT_FALSE(isDescriptorOpen(secondNumber));
  EXPECT_TRUE(isDescriptorOpen(firstNumber));
  FileDescriptor& same = second;
  second = std::move(same);
  EXPECT_EQ(second.number(), firstNumber);
  EXPECT_TRUE(isDescriptorOpen(firstNumber));
  second.close();
  EXPECT_FALSE(second.isOpen());
  EXPECT_FALSE(isDescriptorOpen(firstNumber));
  second.close();
}

TEST(FileDescriptor, IsClosedOnExec) {
  const ScratchDirectory scratch;
  const FileDescriptor file = FileDescriptor::open(scratch / "f", O_CREAT | O_WRONLY, 0600);
  ASSERT_TRUE(file.isOpen());
  EXPECT_EQ(::fcntl(file.number(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

// A process that leads a session without a terminal gets the first terminal that it opens, unless it passes
// O_NOCTTY (open(2)). A terminal in the place of a file must not be able to stop an agent's hook with a
// signal.
TEST(FileDescriptor, OpeningATerminalDoesNotMakeItThisProcesssOwn) {
  const FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY));
  if (!master.isOpen()) GTEST_SKIP() << "left out: this machine gives no pseudo-terminals";
  ASSERT_EQ(::grantpt(master.number()), 0);
  ASSERT_EQ(::unlockpt(master.number()), 0);
  const std::string terminal = ::ptsname(master.number());
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::setsid();
    const FileDescriptor opened = FileDescriptor::open(terminal, O_RDONLY);
    // /dev/tty is the process's own terminal and cannot be opened without one (tty(4)).
    const bool hasTerminal = ::open("/dev/tty", O_RDONLY | O_CLOEXEC) >= 0;
    ::_exit(!opened.isOpen() ? 2 : hasTerminal ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FileDescriptor, AFailedOpenSaysWhy) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "x");
  const auto codeOf = [](const std::string& path, int flags) {
    errno = 0;
    return FileDescriptor::open(path, flags).isOpen() ? 0 : errno;
  };
  EXPECT_EQ(codeOf(scratch / "missing", O_RDONLY), ENOENT);
  EXPECT_EQ(codeOf(scratch / "f/below", O_RDONLY), ENOTDIR);
  EXPECT_EQ(codeOf(scratch / "f", O_CREAT | O_EXCL | O_WRONLY), EEXIST);
  EXPECT_EQ(codeOf(scratch.string(), O_WRONLY), EISDIR);
  EXPECT_EQ(codeOf(scratch / std::string(300, 'x'), O_RDONLY), ENAMETOOLONG);
}

TEST(FileDescriptor, ClosingKeepsErrno) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "x");
  {
    FileDescriptor file = FileDescriptor::open(scratch / "f", O_RDONLY);
    // The descriptor is closed without the object's knowledge, so closing it again fails and would set errno.
    ::close(file.number());
    errno = ENOSPC;
    file.close();
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_FALSE(file.isOpen());
    errno = EIO;
  }
  EXPECT_EQ(errno, EIO);
}

TEST(FileDescriptor, ClosingAWrittenFileReportsWhetherItWorked) {
  const ScratchDirectory scratch;
  FileDescriptor file = FileDescriptor::open(scratch / "f", O_CREAT | O_WRONLY, 0600);
  const int number = file.number();
  EXPECT_TRUE(file.closeWritten());
  EXPECT_FALSE(file.isOpen());
  EXPECT_FALSE(isDescriptorOpen(number));

  FileDescriptor lost = FileDescriptor::open(scratch / "f", O_WRONLY);
  ::close(lost.number());
  errno = 0;
  EXPECT_FALSE(lost.closeWritten());
  EXPECT_EQ(errno, EBADF);
  EXPECT_FALSE(lost.isOpen());
}

TEST(FileDescriptor, TheLockKeepsOtherProcessesOutUntilItIsGivenBack) {
  const ScratchDirectory scratch;
  const std::string path = scratch / "lock";
  const FileDescriptor file = FileDescriptor::open(path, O_CREAT | O_RDWR, 0600);
  const auto othersGetIt = [&] {
    return inAnotherProcess([&] {
      const FileDescriptor other = FileDescriptor::open(path, O_RDWR);
      if (!other.isOpen()) return 2;
      return ::flock(other.number(), LOCK_SH | LOCK_NB) == 0 ? 0 : errno == EWOULDBLOCK ? 1 : 3;
    });
  };
  EXPECT_EQ(othersGetIt(), 0);
  ASSERT_TRUE(file.lock());
  EXPECT_EQ(othersGetIt(), 1);
  ASSERT_TRUE(file.lock()) << "locking a locked file succeeds";
  EXPECT_EQ(othersGetIt(), 1);
  file.unlock();
  EXPECT_EQ(othersGetIt(), 0);
}

TEST(FileDescriptor, TheLockIsWaitedForAndEndsWithTheProcessThatHoldsIt) {
  const ScratchDirectory scratch;
  const std::string path = scratch / "lock";
  const Pipe locked;
  Pipe never;
  const pid_t holder = ::fork();
  if (holder == 0) {
    never.writeEnd.close();
    const FileDescriptor file = FileDescriptor::open(path, O_CREAT | O_RDWR, 0600);
    if (file.lock()) locked.say();
    never.hears();
    ::_exit(0);
  }
  ASSERT_TRUE(locked.hears());
  const FileDescriptor mine = FileDescriptor::open(path, O_RDWR);
  EXPECT_EQ(::flock(mine.number(), LOCK_EX | LOCK_NB), -1);
  std::thread killer([holder] { ::kill(holder, SIGKILL); });
  EXPECT_TRUE(mine.lock());
  killer.join();
  EXPECT_FALSE(endedWell(holder));
}

TEST(FileDescriptor, LockingAClosedDescriptorFails) {
  const FileDescriptor none;
  errno = 0;
  EXPECT_FALSE(none.lock());
  EXPECT_EQ(errno, EBADF);
}

// Writes a byte for each SIGUSR1, so that the sender knows that it has arrived. System calls are not
// restarted.
class AnsweredSignals {
 public:
  AnsweredSignals() {
    answers_ = answers.writeEnd.number();
    struct sigaction action {};
    action.sa_handler = [](int) {
      const int kept = errno;
      if (::write(answers_, "x", 1) != 1) std::abort();
      errno = kept;
    };
    ::sigaction(SIGUSR1, &action, &before_);
  }
  ~AnsweredSignals() { ::sigaction(SIGUSR1, &before_, nullptr); }
  AnsweredSignals(const AnsweredSignals&) = delete;
  AnsweredSignals& operator=(const AnsweredSignals&) = delete;

  // Interrupts `process` again and again, each time after it has answered the signal before.
  void interrupt(pid_t process) const {
    for (int i = 0; i < 50; ++i) {
      ::kill(process, SIGUSR1);
      answers.hears();
    }
  }

  const Pipe answers;

 private:
  static inline int answers_ = -1;
  struct sigaction before_ {};
};

TEST(FileDescriptor, SignalsInterruptNeitherReadingNorLocking) {
  const ScratchDirectory scratch;
  const std::string path = scratch / "lock";
  const Pipe pipe;
  const AnsweredSignals signals;
  const pid_t self = ::getpid();
  const pid_t other = ::fork();
  if (other == 0) {
    const FileDescriptor file = FileDescriptor::open(path, O_CREAT | O_RDWR, 0600);
    if (!file.lock()) ::_exit(1);
    signals.interrupt(self);
    pipe.say();
    signals.interrupt(self);
    ::_exit(0);
  }
  EXPECT_TRUE(pipe.hears());
  const FileDescriptor file = FileDescriptor::open(path, O_RDWR);
  EXPECT_TRUE(file.lock());
  EXPECT_TRUE(endedWell(other));
}

}  // namespace
}  // namespace tavrin
