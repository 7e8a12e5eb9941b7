#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tavrin::test {

/// Starts 8 writers on one log together, with the named program. Each has a letter, and writes `times`
/// messages of `width` bytes.
inline constexpr std::size_t logWriters = 8;
void runLogWriters(const std::string& program, const std::filesystem::path& log, std::size_t times,
                   std::size_t width);

/// The numbers of each writer's lines in a log, in their order. The test fails if a line differs from what
/// its writer wrote, or if the last line has no line feed.
std::map<char, std::vector<int>> numbersByWriter(const std::filesystem::path& log, std::size_t width);

}  // namespace tavrin::test
