#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// What one look-up of a process reports. Process ids are reused; `startedAt` tells two processes apart.
struct ProcessFact {
  std::int32_t parent = 0;
  std::string name;                     ///< the short name, which the system may have cut off
  Date startedAt;                       ///< when the process started, to the hundredth of a second
  std::optional<std::string> terminal;  ///< path of the controlling terminal, such as "/dev/pts/3"

  bool operator==(const ProcessFact&) const = default;
};

/// Look-ups in the running system's process table. Each asks the system anew: nothing is remembered between
/// two calls. What cannot be found out, because the process has ended or belongs to another user, is nullopt
/// or an empty list. Tests and recordings fill in functions of their own; all of them must be set.
struct ProcessFacts {
  /// The process itself; nullopt when there is none. A process that has ended and only waits for its parent
  /// (a zombie) counts as none.
  std::function<std::optional<ProcessFact>(std::int32_t pid)> process;
  /// The path of the executable file, links resolved.
  std::function<std::optional<std::string>(std::int32_t pid)> executable;
  /// The working directory.
  std::function<std::optional<std::string>(std::int32_t pid)> folder;
  /// The arguments, the program's name first. At most 128 KiB of them are read.
  std::function<std::vector<std::string>(std::int32_t pid)> arguments;
  /// The processes that this one started and that still run, zombies left out; in no particular order.
  std::function<std::vector<std::int32_t>(std::int32_t pid)> children;
  /// All processes of this machine that can be seen.
  std::function<std::vector<std::int32_t>()> all;
  /// The process that holds flock(2) on the file at `path`; nullopt when nobody does or it cannot be found
  /// out.
  std::function<std::optional<std::int32_t>(const std::string& path)> lockHolder;
  /// When the system was started, by the clock that Date counts with; time spent in suspend is included.
  std::function<Date()> bootedAt;

  /// The look-ups of the running system: /proc on Linux (proc(5)), libproc and sysctl(3) on macOS.
  static ProcessFacts ofThisSystem();
};

}  // namespace tavrin
