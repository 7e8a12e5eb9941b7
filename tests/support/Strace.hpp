#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Subprocess.hpp"

/// What a run of tavrin-hook asks of Linux, as strace(1) tells. A system call is a line of its output, as in
/// "close(3) = 0".
namespace tavrin::test {

/// The words that run `words` under strace with `options`; it writes what each process asks for into a file
/// "trace.PID" in `directory`.
std::vector<std::string> underStrace(const std::filesystem::path& directory,
                                     const std::vector<std::string>& options,
                                     const std::vector<std::string>& words);

/// The system calls of tavrin-hook, from the one that starts it to the one that ends it, as the files in
/// `directory` tell. That there are none is a failure of the test.
std::vector<std::string> callsOfHook(const std::filesystem::path& directory);

/// The files that strace has written into `directory`, one for each process.
std::vector<std::filesystem::path> tracesIn(const std::filesystem::path& directory);

/// Removes the files that strace has written into `directory`.
void removeTraces(const std::filesystem::path& directory);

std::string nameOf(const std::string& call);

/// The first text among the arguments of a call.
std::string pathIn(const std::string& call);

/// The paths in those calls whose name begins with `name`, as "renameat" does with "rename".
std::vector<std::string> pathsOf(const std::vector<std::string>& calls, std::string_view name);

/// The calls one below the other, numbered, to be shown when a test fails.
std::string table(const std::vector<std::string>& calls);

}  // namespace tavrin::test
