#include "TavrinTerminal/System/DirectoryWatch.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>

#include "TavrinTerminal/System/EndDescriptors.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin::test {
namespace {

// Runs `act` in the loop, and then the loop until the directory is reported as changed. If the watch misses
// the change, the test runs into its time-out.
void expectNoticed(EventLoop& loop, DirectoryWatch&, const bool& changed, const std::function<void()>& act) {
  Timer start(loop, act);
  start.start(std::chrono::milliseconds(0));
  while (!changed) uv_run(&loop.native(), UV_RUN_ONCE);
}

class Watched : public testing::Test {
 protected:
  void watch(const std::filesystem::path& path) {
    watch_.emplace(loop, path.string(), ".json", [this](const DirectoryWatch::Names& names) {
      changed = true;
      ++calls;
      reported = names;
    });
  }
  void expect(const std::function<void()>& act) {
    changed = false;
    expectNoticed(loop, *watch_, changed, act);
  }

  ScratchDirectory scratch;
  EventLoop loop;
  bool changed = false;
  int calls = 0;
  DirectoryWatch::Names reported;
  std::optional<DirectoryWatch> watch_;
};

TEST_F(Watched, NewReplacedAndRemovedFilesAreNoticed) {
  watch(scratch.path());
  EXPECT_FALSE(watch_->isSlow());
  expect([&] { writeFile(scratch / "a.json", "1"); });
  expect([&] {
    writeFile(scratch / ".x.tmp", "2");
    std::filesystem::rename(scratch / ".x.tmp", scratch / "a.json");
  });
  expect([&] { std::filesystem::remove(scratch / "a.json"); });
}

TEST_F(Watched, ADirectoryThatIsMadeLaterIsNoticed) {
  watch(scratch / "one/two/three");
  expect([&] { std::filesystem::create_directories(scratch / "one/two/three"); });
  expect([&] { writeFile(scratch / "one/two/three/a.json", "1"); });
}

TEST_F(Watched, ADirectoryThatIsReplacedIsNoticed) {
  watch(scratch / "d");
  expect([&] { std::filesystem::create_directories(scratch / "d"); });
  expect([&] { std::filesystem::remove_all(scratch / "d"); });
  expect([&] { std::filesystem::create_directories(scratch / "d"); });
  expect([&] { writeFile(scratch / "d/a.json", "1"); });
}

TEST_F(Watched, ABurstIsOneCallFromItsFirstEvent) {
  watch(scratch.path());
  // Files come every millisecond until the call; a window that slides with them would never end.
  int written = 0;
  Timer writer(loop, [&] { writeFile(scratch / ("f" + std::to_string(++written) + ".json"), "1"); });
  writer.startRepeating(std::chrono::milliseconds(1));
  while (!changed) uv_run(&loop.native(), UV_RUN_ONCE);
  EXPECT_EQ(calls, 1);
  EXPECT_GE(written, 1);
}

TEST_F(Watched, TheNamesThatChangedAreReported) {
#ifndef __linux__
  GTEST_SKIP() << "names are not reported here";
#endif
  watch(scratch.path());
  expect([&] {
    writeFile(scratch / "a.json", "1");
    writeFile(scratch / "b.json", "1");
    writeFile(scratch / "b.json", "2");
    writeFile(scratch / "other", "1");
  });
  EXPECT_EQ(reported, (std::vector<std::string>{"a.json", "b.json"}));
  expect([&] { std::filesystem::rename(scratch / "a.json", scratch / "c.json"); });
  EXPECT_EQ(reported, (std::vector<std::string>{"a.json", "c.json"}));
  expect([&] { std::filesystem::remove(scratch / "c.json"); });
  EXPECT_EQ(reported, std::vector<std::string>{"c.json"});
}

TEST_F(Watched, InADirectoryThatIsMadeLaterAnythingMayHaveChanged) {
  watch(scratch / "d");
  expect([&] {
    std::filesystem::create_directories(scratch / "d");
    writeFile(scratch / "d/a.json", "1");
  });
  EXPECT_EQ(reported, std::nullopt);
}

TEST_F(Watched, AfterMoreEventsThanFitAnythingMayHaveChanged) {
  watch(scratch.path());
  // A name that is taken away and one that appears are two events.
  expect([&] {
    writeFile(scratch / "0.json", "1");
    for (std::size_t i = 0; i < DirectoryWatch::mostEvents / 2; ++i)
      std::filesystem::rename(scratch / (std::to_string(i % 2) + ".json"),
                              scratch / (std::to_string((i + 1) % 2) + ".json"));
  });
  EXPECT_EQ(reported, std::nullopt);
}

TEST_F(Watched, OtherFilesDoNotCount) {
  watch(scratch.path());
  // Events come in order. Once the second directory reports its file, the first has had the event of its own.
  const ScratchDirectory later;
  bool isOver = false;
  DirectoryWatch other(loop, later.string(), ".json", [&](const auto&) { isOver = true; });
  writeFile(scratch / ".lock", "1");
  writeFile(later / "a.json", "1");
  while (!isOver) uv_run(&loop.native(), UV_RUN_ONCE);
  EXPECT_EQ(calls, 0);
}

TEST(PathWatch, AFileIsStaleOnceItIsReplacedButNotWhenItIsWritten) {
  const ScratchDirectory scratch;
  const std::filesystem::path path = scratch / "f";
  writeFile(path, "1");
  EventLoop loop;
  int calls = 0;
  const PathWatch watch(loop, path.string(), [&] { ++calls; });
  ASSERT_EQ(watch.error(), 0);
  writeFile(path, "2");
  while (calls == 0) uv_run(&loop.native(), UV_RUN_ONCE);
  EXPECT_FALSE(watch.isStale());
  writeFile(scratch / "g", "3");
  std::filesystem::rename(scratch / "g", path);
  while (!watch.isStale()) uv_run(&loop.native(), UV_RUN_ONCE);
}

TEST(PathWatch, AFolderReportsItsFilesAndIsNotStaleForThem) {
  const ScratchDirectory scratch;
  EventLoop loop;
  int calls = 0;
  const PathWatch watch(loop, scratch.path().string(), [&] { ++calls; });
  writeFile(scratch / "f", "1");
  while (calls == 0) uv_run(&loop.native(), UV_RUN_ONCE);
  EXPECT_FALSE(watch.isStale());
}

TEST(PathWatch, WhatDoesNotExistCannotBeWatched) {
  const ScratchDirectory scratch;
  EventLoop loop;
  const PathWatch watch(loop, (scratch / "f").string(), [] { ADD_FAILURE() << "nothing is watched"; });
  EXPECT_EQ(watch.error(), ENOENT);
}

TEST(EndDescriptors, TheEndOfAProcessIsReadable) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::pause();
    ::_exit(0);
  }
  EventLoop loop;
  bool ended = false;
  ReadableWatch watch(loop, EndDescriptors::ofProcess(child), [&] { ended = true; });
  uv_run(&loop.native(), UV_RUN_NOWAIT);
  EXPECT_FALSE(ended);
  ::kill(child, SIGKILL);
  while (!ended) uv_run(&loop.native(), UV_RUN_ONCE);
  ::waitpid(child, nullptr, 0);
  EXPECT_FALSE(EndDescriptors::ofProcess(child).isOpen());
}

TEST(EndDescriptors, TheEndOfAReaderIsNoticed) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor output(ends[1]);
  FileDescriptor input(ends[0]);
  EventLoop loop;
  bool gone = false;
  ReadableWatch watch(loop, EndDescriptors::ofReader(output.number()),
                      [&] { gone = EndDescriptors::readerIsGone(watch.descriptor()); });
  uv_run(&loop.native(), UV_RUN_NOWAIT);
  EXPECT_FALSE(gone);
  input.close();
  while (!gone) uv_run(&loop.native(), UV_RUN_ONCE);
}

TEST(EndDescriptors, AFileHasNoReader) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "");
  const FileDescriptor file = FileDescriptor::open((scratch / "f").string(), 0);
  EXPECT_FALSE(EndDescriptors::ofReader(file.number()).isOpen());
}

}  // namespace
}  // namespace tavrin::test
