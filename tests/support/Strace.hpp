#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Subprocess.hpp"

/// The system calls of a run of tavrin-hook on Linux, as strace(1) prints them. A system call is a line of
/// its output, such as "close(3) = 0".
namespace tavrin::test {

/// The words that run `words` under strace with `options`. strace writes the system calls of each process
/// into a file "trace.PID" in `directory`.
std::vector<std::string> underStrace(const std::filesystem::path& directory,
                                     const std::vector<std::string>& options,
                                     const std::vector<std::string>& words);

/// The system calls of tavrin-hook, from the call that starts it to the call that ends it, according to the
/// files in `directory`. Fails the test if there are none.
std::vector<std::string> callsOfHook(const std::filesystem::path& directory);

/// The same for another program, which runs at most once.
std::vector<std::string> callsOf(const std::filesystem::path& directory,
                                 const std::filesystem::path& program);

/// The files that strace has written into `directory`, one for each process.
std::vector<std::filesystem::path> tracesIn(const std::filesystem::path& directory);

/// Removes the files that strace has written into `directory`.
void removeTraces(const std::filesystem::path& directory);

std::string nameOf(const std::string& call);

/// The first text among the arguments of a call.
std::string pathIn(const std::string& call);

/// The paths in the calls whose name begins with `name`: "rename" also finds "renameat".
std::vector<std::string> pathsOf(const std::vector<std::string>& calls, std::string_view name);

/// The calls as a numbered list, to be shown when a test fails.
std::string table(const std::vector<std::string>& calls);

}  // namespace tavrin::test
