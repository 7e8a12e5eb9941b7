#pragma once

#include <sys/types.h>

#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::test {

/// The result of a process that ran to its end.
struct Outcome {
  int exitStatus = -1;  ///< -1 when a signal ended it
  int signal = 0;
  std::string output;  ///< what it wrote on standard output
  std::string error;   ///< and on standard error

  bool operator==(const Outcome&) const = default;
};

/// How GoogleTest prints it.
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

/// The result of every run of tavrin-hook, whatever its input.
inline const Outcome silentSuccess = {.exitStatus = 0, .signal = 0, .output = "", .error = ""};

/// A running process, with pipes on its three standard descriptors. The destructor kills it if nobody waited
/// for it.
class Subprocess {
 public:
  using Environment = std::map<std::string, std::string>;

  /// Starts `words[0]`, a path, with exactly the given environment.
  explicit Subprocess(const std::vector<std::string>& words, const Environment& environment = {});
  ~Subprocess();
  Subprocess(const Subprocess&) = delete;
  Subprocess& operator=(const Subprocess&) = delete;

  pid_t pid() const { return pid_; }

  /// Writes to its standard input. A process that is gone, or has closed its input, is not an error.
  void write(std::string_view bytes) const;
  void closeInput();

  /// Waits until it has read all that was written to it.
  void waitUntilInputIsRead() const;

  /// Waits for a line of its output, and returns it without the line feed. If the output ends first, returns
  /// the rest of it.
  std::string readLine() const;

  /// Closes its input, and waits for its end.
  Outcome wait();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
};

/// Runs `words` to the end with `input` on its standard input.
Outcome run(const std::vector<std::string>& words, std::string_view input = "",
            const Subprocess::Environment& environment = {});

/// The tavrin-hook executable under test.
std::filesystem::path hookExecutable();

/// Runs tavrin-hook on one event with `home` as the home directory.
Outcome runHook(const std::filesystem::path& home, std::string_view input,
                std::vector<std::string> arguments = {});

}  // namespace tavrin::test
