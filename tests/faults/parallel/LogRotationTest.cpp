// Eight processes that write one log, through its rotations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "TavrinCore/Hook/HookLog.hpp"
#include "tests/faults/parallel/LogFile.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

constexpr std::size_t lines = 5000;  // by each writer

TEST(LogRotation, EightWritersLoseAndSplitNoLine) {
  constexpr std::size_t fewer = 2500;
  constexpr std::size_t width = 20;
  const ScratchDirectory directory;
  const auto log = directory / "Logs/Tavrin/hook.log";
  runLogWriters("log-worker", log, fewer, width);

  std::vector<int> all(fewer);
  std::iota(all.begin(), all.end(), 0);
  const auto numbers = numbersByWriter(log, width);
  EXPECT_EQ(numbers.size(), logWriters);
  for (const auto& [writer, own] : numbers) EXPECT_EQ(own, all) << writer;
  EXPECT_EQ(std::filesystem::file_size(log), logWriters * fewer * (stampLength + width + 1));
  EXPECT_FALSE(std::filesystem::exists(directory / "Logs/Tavrin/hook.1.log"));
}

TEST(LogRotation, SplitsNoLineAndKeepsAtMostTwoGenerationsWithinBounds) {
  constexpr std::size_t width = 200;
  constexpr std::size_t lineLength = stampLength + width + 1;
  static_assert(logWriters * lines * lineLength > 8'000'000, "rotated several times");
  const ScratchDirectory directory;
  const auto log = directory / "hook.log";
  const auto previous = directory / "hook.1.log";
  runLogWriters("log-worker", log, lines, width);

  int generations = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
    EXPECT_THAT(entry.path(), testing::AnyOf(log, previous));
    // The line that exceeds the limit, and one line of each writer that had found the file before it full.
    EXPECT_LE(entry.file_size(), 1'000'000 + (1 + logWriters) * lineLength) << entry.path();
    ++generations;
  }
  EXPECT_LE(generations, 2);

  // In each generation a writer's lines have no gap, and the newer generation continues where the older one
  // ended.
  std::map<char, int> next;
  for (const auto& file : {previous, log}) {
    // If two writers rotate at once, the older generation may be removed for good.
    if (!std::filesystem::exists(file)) continue;
    for (const auto& [writer, own] : numbersByWriter(file, width)) {
      const int first = next.contains(writer) ? next[writer] : own.front();
      EXPECT_EQ(own.front(), first) << writer << " in " << file;
      for (std::size_t i = 1; i < own.size(); ++i)
        ASSERT_EQ(own[i], own[i - 1] + 1) << writer << " in " << file;
      next[writer] = own.back() + 1;
    }
  }

  HookLog(log.string()).write("the last");
  EXPECT_THAT(readFile(log), testing::EndsWith(" the last\n"));
}

}  // namespace
}  // namespace tavrin::test
