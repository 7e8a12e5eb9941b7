// The log with every generation that ever existed. Normally its writers would have removed all but two.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <numeric>

#include "tests/faults/parallel/LogFile.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

// A line is lost only together with its generation. In whatever order eight writers find the log full, move
// it and begin a new one, each line is in exactly one of the generations, whole and once.
TEST(LogGenerations, HoldEveryLineOfEightWritersOnce) {
  constexpr std::size_t lines = 5000;
  constexpr std::size_t width = 200;
  const ScratchDirectory directory;
  runLogWriters("keeping-log-worker", directory / "hook.log", lines, width);

  std::map<char, std::vector<int>> numbers;
  std::size_t bytes = 0;
  std::size_t generations = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
    ++generations;
    bytes += entry.file_size();
    for (const auto& [writer, own] : numbersByWriter(entry.path(), width))
      numbers[writer].insert(numbers[writer].end(), own.begin(), own.end());
  }
  EXPECT_GE(generations, 8U) << "the log was not rotated";
  std::vector<int> all(lines);
  std::iota(all.begin(), all.end(), 0);
  EXPECT_EQ(numbers.size(), logWriters);
  for (auto& [writer, own] : numbers) {
    std::ranges::sort(own);
    EXPECT_TRUE(own == all) << writer << " has " << own.size() << " lines";
  }
  EXPECT_EQ(bytes, logWriters * lines * (stampLength + width + 1));
  std::cout << "[   RUNS   ] " << logWriters * lines << " lines, " << generations << " generations\n";
}

}  // namespace
}  // namespace tavrin::test
