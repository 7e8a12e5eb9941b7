#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <memory>
#include <string>
#include <utility>

namespace tavrin {

/// The exit statuses of `tavrin`.
enum class ExitStatus : int {
  done = 0,
  failed = 1,    ///< something was not done, or there are findings
  declined = 2,  ///< the person said no
  timedOut = 3,  ///< `wait` reached its time-out
  usage = 64,    ///< the command line is not valid (EX_USAGE of sysexits.h)
};

/// The result of a command. `output` holds the results that were not yet written to the console. `error`
/// holds sentences for standard error: what was not done, and what to do. It has no "tavrin: " in front and
/// no line feed at the end.
struct Outcome {
  ExitStatus status = ExitStatus::done;
  std::string output = {};
  std::string error = {};
  int signal = 0;  ///< the signal that ended the command, which then ends the process; else 0
  /// Is kept alive until the outcome is written. It is not part of the result.
  std::shared_ptr<const void> keptUntilWritten = nullptr;

  bool operator==(const Outcome& other) const {
    return status == other.status && output == other.output && error == other.error && signal == other.signal;
  }

  static Outcome done(std::string output = {}) {
    return {.status = ExitStatus::done, .output = std::move(output)};
  }
  static Outcome failed(std::string error) {
    return {.status = ExitStatus::failed, .output = {}, .error = std::move(error)};
  }
  static Outcome endedBy(int signal) {
    return {.status = ExitStatus::done, .output = {}, .error = {}, .signal = signal};
  }
  static Outcome usage(std::string error) {
    return {.status = ExitStatus::usage, .output = {}, .error = std::move(error)};
  }
};

}  // namespace tavrin
