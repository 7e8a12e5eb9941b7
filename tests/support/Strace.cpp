#include "tests/support/Strace.hpp"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <stdexcept>

#include "tests/support/Scratch.hpp"

namespace tavrin::test {

namespace {

std::string findStrace() {
  constexpr std::array<std::string_view, 3> directories = {"/usr/local/bin/", "/usr/bin/", "/bin/"};
  for (const std::string_view directory : directories) {
    std::string path = std::string(directory) + "strace";
    if (std::filesystem::exists(path)) return path;
  }
  throw std::runtime_error("strace is not installed");
}

}  // namespace

std::vector<std::string> underStrace(const std::filesystem::path& directory,
                                     const std::vector<std::string>& options,
                                     const std::vector<std::string>& words) {
  static const std::string strace = findStrace();
  std::vector<std::string> all = {strace, "-ff", "-s", "4096", "-o", directory / "trace"};
  all.insert(all.end(), options.begin(), options.end());
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

std::vector<std::filesystem::path> tracesIn(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().filename().string().starts_with("trace.")) paths.push_back(entry.path());
  }
  return paths;
}

std::vector<std::string> callsOfHook(const std::filesystem::path& directory) {
  return callsOf(directory, hookExecutable());
}

std::vector<std::string> callsOf(const std::filesystem::path& directory,
                                 const std::filesystem::path& program) {
  const std::string start = "execve(\"" + program.string() + "\"";
  for (const std::filesystem::path& path : tracesIn(directory)) {
    std::istringstream lines(readFile(path));
    std::vector<std::string> calls;
    for (std::string line; std::getline(lines, line);) {
      const bool isCall = !line.starts_with("+++") && !line.starts_with("---");
      if (line.starts_with(start)) calls.clear();
      if (isCall) calls.push_back(line);
    }
    if (!calls.empty() && calls.front().starts_with(start)) return calls;
  }
  ADD_FAILURE() << program << " was not seen to run";
  return {};
}

void removeTraces(const std::filesystem::path& directory) {
  for (const std::filesystem::path& path : tracesIn(directory)) std::filesystem::remove(path);
}

std::string nameOf(const std::string& call) {
  return call.substr(0, call.find('('));
}

std::string pathIn(const std::string& call) {
  const std::size_t open = call.find('"');
  if (open == std::string::npos) return "";
  return call.substr(open + 1, call.find('"', open + 1) - open - 1);
}

std::vector<std::string> pathsOf(const std::vector<std::string>& calls, std::string_view name) {
  std::vector<std::string> paths;
  for (const std::string& call : calls) {
    if (nameOf(call).starts_with(name)) paths.push_back(pathIn(call));
  }
  return paths;
}

std::string table(const std::vector<std::string>& calls) {
  std::string text;
  for (std::size_t i = 0; i < calls.size(); ++i) text += std::to_string(i + 1) + "\t" + calls[i] + "\n";
  return text;
}

}  // namespace tavrin::test
