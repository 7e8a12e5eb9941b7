#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::bench {

/// A measured program and how to start it.
struct Program {
  std::string name;
  std::vector<std::string> words;  ///< the path, then the arguments
};

/// The cost of one run in microseconds, from before its start until its end was seen. It includes the
/// processes that the run started and waited for.
struct Cost {
  double wall = 0;
  double processor = 0;
};

/// A started process whose event is on its way to its standard input.
struct Started {
  pid_t pid = -1;
  std::chrono::steady_clock::time_point since;
};

/// Starts `program` in `home` and hands it `payload`, as an agent does: through a pipe, which is then closed.
/// A payload that fits is in the pipe before the program starts, so neither side waits. Throws
/// std::system_error.
Started start(const Program& program, const std::filesystem::path& home, std::string_view payload);

/// Waits for the end. Throws std::runtime_error if the exit status is not 0.
Cost finish(const Started& started);

/// One run from start to end.
Cost run(const Program& program, const std::filesystem::path& home, std::string_view payload);

/// The costs of many runs of one program.
class Samples {
 public:
  void add(Cost cost);
  std::size_t count() const { return walls_.size(); }
  /// The middle run, and the run that a tenth of all runs undercut, which shows the quiet moments of a busy
  /// machine.
  Cost median() const { return at(0.5); }
  Cost tenth() const { return at(0.1); }

 private:
  Cost at(double share) const;

  std::vector<double> walls_;
  std::vector<double> processors_;
};

}  // namespace tavrin::bench
