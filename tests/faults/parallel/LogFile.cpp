#include "tests/faults/parallel/LogFile.hpp"

#include <gtest/gtest.h>

#include <charconv>
#include <sstream>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {

namespace {

// The n-th message of the writer with this letter.
std::string message(char writer, int n, std::size_t width) {
  std::string text = std::string(1, writer) + " " + std::to_string(n) + " ";
  text.resize(width, writer);
  return text;
}

}  // namespace

void runLogWriters(const std::string& program, const std::filesystem::path& log, std::size_t times,
                   std::size_t width) {
  std::vector<Running> processes;
  for (std::size_t i = 0; i < logWriters; ++i) {
    const std::string name(1, static_cast<char>('a' + static_cast<int>(i)));
    processes.push_back(start(
        {TAVRIN_PARALLEL_PROGRAMS "/" + program, log, name, std::to_string(times), std::to_string(width)}));
  }
  for (const Running& process : processes) process->closeInput();
  for (const Running& process : processes) EXPECT_EQ(process->wait(), silentSuccess);
}

std::map<char, std::vector<int>> numbersByWriter(const std::filesystem::path& log, std::size_t width) {
  std::map<char, std::vector<int>> numbers;
  const std::string text = readFile(log);
  EXPECT_TRUE(text.empty() || text.ends_with('\n')) << "the last line is cut off in " << log;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::string written = messageOf(line);
    int number = -1;
    if (written.size() > 2) std::from_chars(written.data() + 2, written.data() + written.size(), number);
    if (!isStamped(line) || number < 0 || written != message(written.front(), number, width)) {
      ADD_FAILURE() << "a line of no writer in " << log << ": " << line;
      break;
    }
    numbers[written.front()].push_back(number);
  }
  return numbers;
}

}  // namespace tavrin::test
