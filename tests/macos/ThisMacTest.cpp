// The process table of the running Mac, asked about processes that the test knows. Needs a Mac.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>

#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Support/File.hpp"

#if __has_include(<util.h>)
#include <util.h>
#else
// zig compiles for macOS without this header of Apple's.
struct termios;
struct winsize;
extern "C" pid_t forkpty(int* controller, char* name, termios* settings, winsize* size);
#endif

namespace tavrin {
namespace {

TEST(ThisMac, TheChainStartsAtThisProcessAndFollowsParents) {
  const ProcessTable table = ProcessTable::ofThisSystem();
  const auto nodes = ProcessTree::ancestors(::getpid(), table);
  ASSERT_FALSE(nodes.empty());
  EXPECT_EQ(nodes.front().pid, ::getpid());
  EXPECT_EQ(nodes.front().name, "macos_tests");
  EXPECT_EQ(ProcessTree::parent(::getpid(), table), ::getppid());
  for (std::size_t i = 1; i < nodes.size(); ++i) {
    EXPECT_EQ(ProcessTree::parent(nodes[i - 1].pid, table), nodes[i].pid);
    EXPECT_TRUE(nodes[i].name.has_value());
  }
}

TEST(ThisMac, TheFirstProcessHasANameAndNoTerminal) {
  const ProcessTable table = ProcessTable::ofThisSystem();
  EXPECT_EQ(ProcessTree::name(1, table), "launchd");
  EXPECT_EQ(ProcessTree::parent(1, table), 0);
  EXPECT_EQ(ProcessTree::tty(1, table), std::nullopt);
}

TEST(ThisMac, AProcessThatHasEndedIsUnknown) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  const ProcessTable table = ProcessTable::ofThisSystem();
  EXPECT_THAT(ProcessTree::ancestors(child, table), testing::IsEmpty());
  EXPECT_EQ(ProcessTree::name(child, table), std::nullopt);
  EXPECT_EQ(ProcessTree::tty(child, table), std::nullopt);
}

TEST(ThisMac, AProcessShowsThePathOfItsTerminal) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  int controller = -1;
  const pid_t child = ::forkpty(&controller, nullptr, nullptr, nullptr);
  if (child == 0) {
    const auto path = ProcessTree::tty(::getpid(), ProcessTable::ofThisSystem());
    File::writeAll(writing.number(), path.value_or("none") + " " + ::ttyname(STDIN_FILENO));
    ::_exit(0);
  }
  writing.close();
  std::array<char, 1024> buffer{};
  const ssize_t count = File::read(reading.number(), buffer.data(), buffer.size());
  ::waitpid(child, nullptr, 0);
  ::close(controller);
  ASSERT_GT(count, 0);
  const std::string answer(buffer.data(), static_cast<std::size_t>(count));
  EXPECT_TRUE(answer.starts_with("/dev/ttys")) << answer;
  EXPECT_EQ(answer.substr(0, answer.find(' ')), answer.substr(answer.find(' ') + 1));
}

// A program in a terminal is not an application. Asking nevertheless opens AppKit.
TEST(ThisMac, ThisProgramIsNotAnApplication) {
  EXPECT_FALSE(ProcessTable::ofThisSystem().application(::getpid()).has_value());
}

}  // namespace
}  // namespace tavrin
