#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tavrin::test {

/// Lets 8 writers loose together on one log, with the program named; each has a letter of its own, and writes
/// `times` messages of `width` bytes.
inline constexpr std::size_t logWriters = 8;
void runLogWriters(const std::string& program, const std::filesystem::path& log, std::size_t times,
                   std::size_t width);

/// The numbers of each writer's lines in a log, in their order. A line that is not just what its writer
/// wrote, and a last line without its line feed, are failures of the test.
std::map<char, std::vector<int>> numbersByWriter(const std::filesystem::path& log, std::size_t width);

}  // namespace tavrin::test
