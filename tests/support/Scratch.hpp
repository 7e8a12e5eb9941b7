#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::test {

/// An empty scratch directory, removed with everything in it at the end of the test.
class ScratchDirectory {
 public:
  /// In `parent`, or in the system's directory for temporary files.
  explicit ScratchDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string string() const { return path_.string(); }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// A directory that the system keeps in memory, for tests that make thousands of files. Falls back to the
/// directory for temporary files.
std::filesystem::path directoryInMemory();

/// Writes `text` as the whole content of `path`, making the directories above it.
void writeFile(const std::filesystem::path& path, std::string_view text);

/// The whole content of `path`. Throws if it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// The names in a directory, in the order of their bytes.
std::vector<std::string> names(const std::filesystem::path& directory);

/// The length in bytes of the time stamp and space at the front of each line of the log.
inline constexpr std::size_t stampLength = 21;

/// A line of the log without its time stamp.
std::string messageOf(const std::string& line);

/// A home directory for runs of the command: the paths of its files, and their contents.
class ScratchHome : public ScratchDirectory {
 public:
  using ScratchDirectory::ScratchDirectory;

  std::filesystem::path sessions() const { return path() / "Library/Application Support/Tavrin/sessions"; }
  std::filesystem::path sessionFile(std::string_view safeName) const {
    return sessions() / (std::string(safeName) + ".json");
  }
  std::filesystem::path logFile() const { return path() / "Library/Logs/Tavrin/hook.log"; }

  /// The messages of the log, each with its line feed; "" if there is no log.
  std::string logMessages() const;
};

}  // namespace tavrin::test
