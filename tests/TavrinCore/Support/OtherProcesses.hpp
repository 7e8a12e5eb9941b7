#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>

#include "TavrinCore/Support/File.hpp"

namespace tavrin::test {

/// Runs `work` in a copy of this process. Returns its exit status, or -1 if a signal ended it.
inline int inAnotherProcess(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work());
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Lets the processes and threads of a test wait for each other by sending and receiving single bytes.
struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;

  Pipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::pipe(ends.data()), 0);
    readEnd = FileDescriptor(ends[0]);
    writeEnd = FileDescriptor(ends[1]);
  }

  void say() const { EXPECT_TRUE(File::writeAll(writeEnd.number(), "x")); }
  /// Waits for a byte, or until everybody who could send one has ended.
  bool hears() const {
    char byte = 0;
    return File::read(readEnd.number(), &byte, 1) == 1;
  }
};

/// Waits for the end of a process, and returns whether it succeeded.
inline bool endedWell(pid_t process) {
  int status = -1;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status == 0;
}

}  // namespace tavrin::test
