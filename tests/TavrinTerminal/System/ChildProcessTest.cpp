#include "TavrinTerminal/System/ChildProcess.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/SanitizerOptions.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin {
namespace {

using End = ChildOutcome::End;
using test::ScratchDirectory;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

ChildCommand child(std::vector<std::string> words) {
  words.insert(words.begin(), TAVRIN_TEST_CHILD);
  return {.words = std::move(words), .input = "", .timeout = 60s, .grace = 10s};
}

ChildOutcome exitedWith(int status, std::string output = "") {
  return {.end = End::exited, .status = status, .signal = 0, .output = std::move(output), .error = ""};
}

// A named pipe. Its reader knows who lives: a read ends when the last writer is gone.
class Fifo {
 public:
  explicit Fifo(const ScratchDirectory& directory) : path_((directory / "fifo").string()) {
    if (::mkfifo(path_.c_str(), 0600) != 0) throw std::runtime_error("no named pipe");
  }
  const std::string& path() const { return path_; }

  // Waits until `count` writers have said that they are there.
  void waitForWriters(int count) {
    file_ = FileDescriptor::open(path_, O_RDONLY);
    char byte = 0;
    for (int i = 0; i < count; ++i) ASSERT_EQ(1, File::read(file_.number(), &byte, 1));
  }
  void waitForTheirEnd() const {
    char byte = 0;
    EXPECT_EQ(0, File::read(file_.number(), &byte, 1));
  }

 private:
  std::string path_;
  FileDescriptor file_;
};

TEST(ChildProcess, ReportsStatusAndOutput) {
  EXPECT_EQ(exitedWith(0, "a\n"), ChildProcess::run(child({"words", "a"})));
  EXPECT_EQ(exitedWith(7), ChildProcess::run(child({"exit", "7"})));
  const ChildOutcome killed = ChildProcess::run(child({"abort"}));
  EXPECT_EQ(End::signalled, killed.end);
  EXPECT_EQ(SIGKILL, killed.signal);
}

TEST(ChildProcess, HandsArgumentsOverWithoutAShell) {
  const std::vector<std::string> hostile = {"$(id)", "`id`", "a b",  "",
                                            "'\"\\", ";*?~", "-\n-", "\xc3\xa9\xff"};
  std::vector<std::string> words = {"words"};
  words.insert(words.end(), hostile.begin(), hostile.end());
  std::string expected;
  for (const std::string& word : hostile) expected += word + "\n";
  EXPECT_EQ(exitedWith(0, expected), ChildProcess::run(child(words)));
}

TEST(ChildProcess, StartsClean) {
  // This process blocks, ignores and handles signals, and has a descriptor open that programs inherit.
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  std::signal(SIGUSR2, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);
  const FileDescriptor inherited(::dup(STDIN_FILENO));
  ASSERT_EQ(0, ::fcntl(inherited.number(), F_GETFD));
  const FileDescriptor high(::fcntl(STDIN_FILENO, F_DUPFD, 500));

  ::setenv("ASAN_OPTIONS", test::leaveSignalsAlone, 1);
  ::setenv("UBSAN_OPTIONS", test::leaveSignalsAlone, 1);

  EXPECT_EQ(exitedWith(0, "open 0\nopen 1\nopen 2\nsession own\nterminal no\n"),
            ChildProcess::run(child({"report"})));

  ::unsetenv("ASAN_OPTIONS");
  ::unsetenv("UBSAN_OPTIONS");

  std::signal(SIGUSR2, SIG_DFL);
  std::signal(SIGHUP, SIG_DFL);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST(ChildProcess, LeavesNoDescriptorsHere) {
  const auto openDescriptors = [] {
    int count = 0;
    constexpr int someDescriptors = 1024;
    for (int number = 0; number < someDescriptors; ++number) count += ::fcntl(number, F_GETFD) >= 0 ? 1 : 0;
    return count;
  };
  ChildProcess::run(child({"exit", "0"}));  // what libuv opens once for all loops
  const int before = openDescriptors();
  for (int i = 0; i < 10; ++i) ChildProcess::run(child({"exit", "0"}));
  ChildProcess::run({.words = {"/does/not/exist"}, .input = ""});
  EXPECT_EQ(before, openDescriptors());
}

TEST(ChildProcess, ChoosesEnvironmentAndFolder) {
  const ScratchDirectory directory;
  ChildCommand command = child({"environment"});
  command.environment = {"A=1", "B=x y"};
  command.directory = directory.string();
  EXPECT_EQ(exitedWith(0, "A=1\nB=x y\nin " + directory.string() + "\n"), ChildProcess::run(command));
}

TEST(ChildProcess, FeedsMoreInputThanAPipeHolds) {
  ChildCommand command = child({"copy"});
  command.input.assign(3'000'000, 'i');
  command.outputLimit = 4'000'000;
  EXPECT_EQ(exitedWith(0, command.input), ChildProcess::run(command));
}

TEST(ChildProcess, OutlivesAChildThatReadsNoInput) {
  ChildCommand command = child({"exit", "5"});
  command.input.assign(3'000'000, 'i');
  EXPECT_EQ(exitedWith(5), ChildProcess::run(command));
}

TEST(ChildProcess, SaysWhyNothingCouldBeStarted) {
  const ScratchDirectory directory;
  test::writeFile(directory / "plain", "no program");
  const auto codeOf = [](std::vector<std::string> words) {
    const ChildOutcome outcome = ChildProcess::run({.words = std::move(words), .input = ""});
    EXPECT_EQ(End::notStarted, outcome.end);
    return outcome.status;
  };
  EXPECT_EQ(ENOENT, codeOf({(directory / "missing").string()}));
  EXPECT_EQ(EACCES, codeOf({(directory / "plain").string()}));
  EXPECT_EQ(ENOENT, codeOf({"sh", "-c", "true"})) << "names are looked up by the caller";
  EXPECT_EQ(ENOENT, codeOf({}));
}

TEST(ChildProcess, EndsAChildWhoseTimeIsUp) {
  ChildCommand command = child({"wait"});
  command.timeout = 1ms;
  const ChildOutcome outcome = ChildProcess::run(command);
  EXPECT_EQ(End::timedOut, outcome.end);
  EXPECT_EQ(SIGTERM, outcome.signal);
}

// Ends the child as soon as it has written anything.
ChildOutcome endedAtItsFirstWord(const ChildCommand& command) {
  uv_loop_t loop;
  uv_loop_init(&loop);
  ChildOutcome outcome;
  std::string heard;
  ChildProcess* child = nullptr;
  ChildProcess process(
      loop, command, [&](ChildOutcome ended) { outcome = std::move(ended); },
      [&](std::string_view bytes) {
        heard += bytes;
        child->end(End::timedOut);
      });
  child = &process;
  uv_run(&loop, UV_RUN_DEFAULT);
  uv_loop_close(&loop);
  outcome.output = heard;
  return outcome;
}

TEST(ChildProcess, AsksBeforeItKills) {
  const ChildOutcome outcome = endedAtItsFirstWord(child({"polite"}));
  EXPECT_EQ(
      (ChildOutcome{.end = End::timedOut, .status = 3, .signal = 0, .output = "here\nasked\n", .error = ""}),
      outcome);
}

TEST(ChildProcess, KillsWhatDoesNotEndWhenAsked) {
  ChildCommand command = child({"stubborn"});
  command.grace = 1ms;
  const ChildOutcome outcome = endedAtItsFirstWord(command);
  EXPECT_EQ(
      (ChildOutcome{.end = End::timedOut, .status = -1, .signal = SIGKILL, .output = "here\n", .error = ""}),
      outcome);
}

TEST(ChildProcess, BoundsOutput) {
  ChildCommand command = child({"flood"});
  command.outputLimit = 1000;
  const ChildOutcome outcome = ChildProcess::run(command);
  EXPECT_EQ(End::overflowed, outcome.end);
  EXPECT_EQ(1000U, outcome.output.size());

  // Exactly as much as allowed is no overflow.
  command = child({"words", "abc"});
  command.outputLimit = 4;
  EXPECT_EQ(exitedWith(0, "abc\n"), ChildProcess::run(command));
}

TEST(ChildProcess, RunsSeveralAtTheSameTime) {
  // Each waits until the other has opened the pipe: one after the other would never end.
  const ScratchDirectory directory;
  const Fifo fifo(directory);
  const std::vector<ChildCommand> commands = {
      {.words = {"/bin/sh", "-c", "echo first > \"$0\"", fifo.path()}, .input = "", .timeout = 60s},
      {.words = {"/bin/cat", fifo.path()}, .input = "", .timeout = 60s},
  };
  EXPECT_EQ((std::vector{exitedWith(0), exitedWith(0, "first\n")}), ChildProcess::runAll(commands));
}

TEST(ChildProcess, EndsAllWhenInterrupted) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, ::pipe(ends.data()));
  const FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  ASSERT_EQ(1, ::write(writeEnd.number(), "!", 1));
  const std::vector<ChildCommand> commands = {child({"wait"}), child({"wait"})};
  for (const ChildOutcome& outcome : ChildProcess::runAll(commands, readEnd.number()))
    EXPECT_EQ(End::interrupted, outcome.end);
}

TEST(ChildProcess, EndsTheWholeGroup) {
  const ScratchDirectory directory;
  Fifo fifo(directory);
  uv_loop_t loop;
  uv_loop_init(&loop);
  {
    const ChildProcess process(loop, child({"hold", fifo.path()}), [](const ChildOutcome&) {});
    fifo.waitForWriters(2);
  }
  fifo.waitForTheirEnd();
  uv_run(&loop, UV_RUN_DEFAULT);
  EXPECT_EQ(0, uv_loop_close(&loop));
}

TEST(ChildProcess, EndsWhatAChildLeavesBehind) {
  const ScratchDirectory directory;
  Fifo fifo(directory);
  uv_loop_t loop;
  uv_loop_init(&loop);
  ChildOutcome outcome;
  const ChildProcess process(loop, child({"leave", fifo.path()}),
                             [&](ChildOutcome ended) { outcome = std::move(ended); });
  fifo.waitForWriters(1);
  uv_run(&loop, UV_RUN_DEFAULT);
  EXPECT_EQ(exitedWith(0, "done\n"), outcome);
  fifo.waitForTheirEnd();
  EXPECT_EQ(0, uv_loop_close(&loop));
}

TEST(ChildProcess, LeavesABrowserRunning) {
  const ScratchDirectory directory;
  Fifo fifo(directory);
  ChildCommand command = child({"leave", fifo.path()});
  command.mayLeaveChildren = true;
  command.grace = 1ms;  // after which nobody waits for the streams that the other holds
  uv_loop_t loop;
  uv_loop_init(&loop);
  ChildOutcome outcome;
  pid_t group = 0;
  {
    const ChildProcess process(loop, command, [&](ChildOutcome ended) { outcome = std::move(ended); });
    group = process.pid();
    fifo.waitForWriters(1);
    uv_run(&loop, UV_RUN_DEFAULT);
  }
  EXPECT_EQ(exitedWith(0, "done\n"), outcome);
  EXPECT_EQ(0, ::kill(-group, 0)) << "nobody of the group is left";
  ::kill(-group, SIGKILL);
  fifo.waitForTheirEnd();
  EXPECT_EQ(0, uv_loop_close(&loop));
}

TEST(ChildProcess, LeavesNobodyBehindWhenItsParentIsKilled) {
  const ScratchDirectory directory;
  Fifo fifo(directory);
  test::Subprocess parent({TAVRIN_TEST_CHILD, "parent", TAVRIN_TEST_CHILD, "hold", fifo.path()});
  ASSERT_EQ("started", parent.readLine());
  fifo.waitForWriters(2);
  ASSERT_EQ(0, ::kill(parent.pid(), SIGKILL));
  fifo.waitForTheirEnd();
}

TEST(ChildProcess, LeavesNobodyBehindWhenItsParentEnds) {
  for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
    const ScratchDirectory directory;
    Fifo fifo(directory);
    test::Subprocess parent({TAVRIN_TEST_CHILD, "parent", TAVRIN_TEST_CHILD, "hold", fifo.path()});
    ASSERT_EQ("started", parent.readLine());
    fifo.waitForWriters(2);
    ASSERT_EQ(0, ::kill(parent.pid(), signal));
    fifo.waitForTheirEnd();
  }
}

TEST(ChildProcess, KeepsNoStreamOfADeadParentOpen) {
  // The guard holds none of them, so whoever reads this process's output sees its end.
  test::Subprocess parent({TAVRIN_TEST_CHILD, "parent", TAVRIN_TEST_CHILD, "exit", "0"});
  EXPECT_EQ(0, parent.wait().exitStatus);
}

TEST(ChildProcess, TalksToAChild) {
  uv_loop_t loop;
  uv_loop_init(&loop);
  std::string heard;
  ChildOutcome outcome;
  ChildProcess* speaker = nullptr;
  ChildProcess process(
      loop, child({"copy"}), [&](ChildOutcome ended) { outcome = std::move(ended); },
      [&](std::string_view bytes) {
        heard += bytes;
        if (heard == "question") speaker->closeInput();
      });
  speaker = &process;
  process.write("question");
  process.closeInput();
  uv_run(&loop, UV_RUN_DEFAULT);
  EXPECT_EQ("question", heard);
  EXPECT_EQ(exitedWith(0), outcome);
  process.write("too late");
  EXPECT_EQ(0, uv_loop_close(&loop));
}

}  // namespace
}  // namespace tavrin
