#include "tests/support/Scratch.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavrin::test {

ScratchDirectory::ScratchDirectory(const std::filesystem::path& parent) {
  std::string pattern = (parent / "tavrin-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch directory");
  path_ = std::filesystem::canonical(pattern);
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  using Entries = std::filesystem::recursive_directory_iterator;
  // A process that a failed test has left may still be running here.
  for (Entries entry(path_, ignored); entry != Entries(); entry.increment(ignored)) {
    // A test may have made a directory read-only.
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      std::filesystem::permissions(entry->path(), std::filesystem::perms::owner_all, ignored);
    }
  }
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path directoryInMemory() {
  constexpr const char* directory = "/dev/shm";
  return ::access(directory, W_OK) == 0 ? std::filesystem::path(directory)
                                        : std::filesystem::temp_directory_path();
}

void writeFile(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> names(const std::filesystem::path& directory) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    found.push_back(entry.path().filename());
  std::ranges::sort(found);
  return found;
}

std::string messageOf(const std::string& line) {
  return line.substr(std::min(stampLength, line.size()));
}

std::string ScratchHome::logMessages() const {
  if (!std::filesystem::exists(logFile())) return "";
  std::istringstream lines(readFile(logFile()));
  std::string messages;
  for (std::string line; std::getline(lines, line);) messages += messageOf(line) + "\n";
  return messages;
}

}  // namespace tavrin::test
