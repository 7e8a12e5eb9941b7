// The promises of the log, kept by real processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <charconv>
#include <map>
#include <numeric>
#include <sstream>

#include "TavrinCore/Hook/HookLog.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

constexpr std::size_t writers = 8;
constexpr std::size_t stampLength = 21;

// The message that the writer called by one letter writes as its n-th.
std::string message(char writer, int n, std::size_t width) {
  std::string text = std::string(1, writer) + " " + std::to_string(n) + " ";
  text.resize(width, writer);
  return text;
}

// The numbers of each writer's lines in a log, in their order. A line that is not just what its writer wrote
// is a failure.
std::map<char, std::vector<int>> numbersByWriter(const std::string& log, std::size_t width) {
  std::map<char, std::vector<int>> numbers;
  EXPECT_TRUE(log.empty() || log.ends_with('\n')) << "the last line is cut off";
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    const std::string text = line.substr(std::min(stampLength, line.size()));
    int number = -1;
    if (text.size() > 2) std::from_chars(text.data() + 2, text.data() + text.size(), number);
    if (!isStamped(line) || number < 0 || text != message(text.front(), number, width)) {
      ADD_FAILURE() << "a line of no writer: " << line;
      break;
    }
    numbers[text.front()].push_back(number);
  }
  return numbers;
}

// Lets 8 writers loose together on one log, each with its own letter and width.
void runWriters(const std::filesystem::path& log, std::size_t times, std::size_t width) {
  std::vector<Running> processes;
  for (std::size_t i = 0; i < writers; ++i) {
    const std::string name(1, static_cast<char>('a' + static_cast<int>(i)));
    processes.push_back(
        start({sessionWorker(), "log", log, name, std::to_string(times), std::to_string(width)}));
  }
  for (const Running& process : processes) process->closeInput();
  for (const Running& process : processes) EXPECT_EQ(process->wait(), silentSuccess);
}

TEST(LogProcesses, EightWritersLoseAndSplitNoLine) {
  constexpr std::size_t lines = 2500;
  constexpr std::size_t width = 20;
  const ScratchDirectory directory;
  const auto log = directory / "Logs/Tavrin/hook.log";
  runWriters(log, lines, width);

  std::vector<int> all(lines);
  std::iota(all.begin(), all.end(), 0);
  const auto numbers = numbersByWriter(readFile(log), width);
  EXPECT_EQ(numbers.size(), writers);
  for (const auto& [writer, own] : numbers) EXPECT_EQ(own, all) << writer;
  EXPECT_EQ(std::filesystem::file_size(log), writers * lines * (stampLength + width + 1));
  EXPECT_FALSE(std::filesystem::exists(directory / "Logs/Tavrin/hook.1.log"));
}

TEST(LogProcesses, RotationByEightWritersSplitsNoLineAndKeepsAtMostTwoGenerationsWithinBounds) {
  constexpr std::size_t lines = 2500;
  constexpr std::size_t width = 200;
  constexpr std::size_t lineLength = stampLength + width + 1;
  static_assert(writers * lines * lineLength > 4'000'000, "rotated several times");
  const ScratchDirectory directory;
  const auto log = directory / "hook.log";
  const auto previous = directory / "hook.1.log";
  runWriters(log, lines, width);

  int generations = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
    EXPECT_THAT(entry.path(), testing::AnyOf(log, previous));
    // The line that goes over the limit, and one of each writer that had found the file before it full.
    EXPECT_LE(entry.file_size(), 1'000'000 + (1 + writers) * lineLength) << entry.path();
    ++generations;
  }
  EXPECT_LE(generations, 2);

  // What a generation holds of a writer is a stretch without a gap, and the newer one goes on where the older
  // one ended.
  std::map<char, int> next;
  for (const auto& file : {previous, log}) {
    // Two writers that rotate at once may remove the older generation for good.
    if (!std::filesystem::exists(file)) continue;
    for (const auto& [writer, own] : numbersByWriter(readFile(file), width)) {
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
