#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/TavrinCore/Support/OtherProcesses.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::inAnotherProcess;
using test::names;
using test::readFile;
using test::ScratchDirectory;
using test::writeFile;

// Exit statuses: the process cannot be denied any call, and a call did not do what was expected.
constexpr int cannotDeny = 125;
constexpr int unexpected = 124;

// From here to the end of this process, each call of this number fails with `error`. If `error` is 0, the
// call does nothing and returns 0.
void deny(long call, int error) {
  std::array<sock_filter, 4> program = {
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter{.len = program.size(), .filter = program.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    ::_exit(cannotDeny);
  }
}

// The error with which `work` fails in a process that is denied a call; 0 if it succeeds.
template <class Work>
int errorWithout(long call, int error, const Work& work) {
  return inAnotherProcess([&] {
    deny(call, error);
    try {
      work();
      return 0;
    } catch (const std::system_error& thrown) {
      return thrown.code().value();
    }
  });
}

Session record(SessionState state) {
  Session session;
  session.sessionId = "s1";
  session.state = state;
  session.updatedAt = session.stateSince = dateFromSeconds(1'738'314'902);
  session.cwd = "/src";
  session.agentPid = 612;
  return session;
}

HookLog logIn(const ScratchDirectory& directory) {
  return HookLog(directory / "hook.log", [] { return dateFromSeconds(1'738'314'902); });
}

TEST(DeniedCalls, AWriteOfZeroBytesIsAnErrorAndNotALoop) {
  const ScratchDirectory directory;
  const FileDescriptor file = FileDescriptor::open(directory / "file", O_WRONLY | O_CREAT, 0600);
  const int error = inAnotherProcess([&] {
    deny(SYS_write, 0);
    errno = 0;
    return File::writeAll(file.number(), "text") ? unexpected : errno;
  });
  EXPECT_EQ(error, EIO);
}

TEST(DeniedCalls, AnInterruptedCloseHasWrittenAllTheSame) {
  const ScratchDirectory directory;
  FileDescriptor file = FileDescriptor::open(directory / "file", O_WRONLY | O_CREAT, 0600);
  for (const auto& [error, expected] :
       {std::pair(EINTR, 0), std::pair(EIO, EIO), std::pair(EDQUOT, EDQUOT)}) {
    const int status = inAnotherProcess([&, denied = error] {
      deny(SYS_close, denied);
      return file.closeWritten() ? 0 : errno;
    });
    EXPECT_EQ(status, expected) << error;
  }
}

TEST(DeniedCalls, ARecordWhoseCloseFailsIsNotSavedAndTheOldOneStays) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.path().string());
  store.save(record(SessionState::idle));
  const int error = errorWithout(SYS_close, EDQUOT, [&] { store.save(record(SessionState::working)); });
  EXPECT_EQ(error, EDQUOT);
  EXPECT_EQ(store.load("s1"), record(SessionState::idle));
  EXPECT_EQ(names(directory.path()), std::vector<std::string>{"s1.json"});
}

TEST(DeniedCalls, WhatNeedsALockIsNotDoneWithoutOne) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.path().string());
  store.save(record(SessionState::idle));
  const int error = errorWithout(
      SYS_flock, ENOLCK, [&] { store.withLock("s1", [&] { store.save(record(SessionState::working)); }); });
  EXPECT_EQ(error, ENOLCK);
  EXPECT_EQ(store.load("s1"), record(SessionState::idle));
}

TEST(DeniedCalls, ALogThatCannotBeLockedGetsNoLine) {
  const ScratchDirectory directory;
  logIn(directory).write("one");
  const std::string before = readFile(directory / "hook.log");
  EXPECT_EQ(errorWithout(SYS_flock, ENOLCK, [&] { logIn(directory).write("two"); }), 0);
  EXPECT_EQ(readFile(directory / "hook.log"), before);
  logIn(directory).write("three");
  EXPECT_EQ(readFile(directory / "hook.log"), before + "2025-01-31T09:15:02Z three\n");
}

TEST(DeniedCalls, AFullLogThatCannotBeReplacedIsKeptAndTheNextLineStartsANewOne) {
  const ScratchDirectory directory;
  const std::string full(1'000'001, 'x');
  writeFile(directory / "hook.log", full);
  const int status = inAnotherProcess([&] {
    const int lowest = ::dup(0);
    if (lowest < 0 || ::close(lowest) != 0) return unexpected;
    const auto number = static_cast<rlim_t>(lowest);
    const rlimit oneMore{.rlim_cur = number + 1, .rlim_max = number + 1};
    if (::setrlimit(RLIMIT_NOFILE, &oneMore) != 0) return unexpected;
    logIn(directory).write("lost");
    return 0;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(names(directory.path()), std::vector<std::string>{"hook.1.log"});
  EXPECT_EQ(readFile(directory / "hook.1.log"), full);
  logIn(directory).write("next");
  EXPECT_EQ(readFile(directory / "hook.log"), "2025-01-31T09:15:02Z next\n");
}

}  // namespace
}  // namespace tavrin
