#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// What one look-up of a process reports. Process ids are reused, so compare `startedAt` too.
struct ProcessFact {
  std::int32_t parent = 0;
  std::string name;                     ///< the short name, which the system may have shortened
  Date startedAt;                       ///< when the process started, to the hundredth of a second
  std::optional<std::string> terminal;  ///< path of the controlling terminal, such as "/dev/pts/3"

  bool operator==(const ProcessFact&) const = default;
};

/// Look-ups in the running system's process table. Each call asks the system again. If a process has ended or
/// belongs to another user, the result is nullopt or an empty list. Tests and recordings supply their own
/// functions. All of them must be set.
struct ProcessFacts {
  /// The process itself, or nullopt if there is none. A zombie, which has ended and waits for its parent,
  /// counts as none.
  std::function<std::optional<ProcessFact>(std::int32_t pid)> process;
  /// The path of the executable file, links resolved.
  std::function<std::optional<std::string>(std::int32_t pid)> executable;
  /// The working directory.
  std::function<std::optional<std::string>(std::int32_t pid)> folder;
  /// The arguments, the program's name first. At most 128 KiB of them are read.
  std::function<std::vector<std::string>(std::int32_t pid)> arguments;
  /// The processes that this one started and that still run, without zombies, in any order.
  std::function<std::vector<std::int32_t>(std::int32_t pid)> children;
  /// All processes that this user can see.
  std::function<std::vector<std::int32_t>()> all;
  /// The process that holds flock(2) on the file at `path`. Returns nullopt if no process does, or if it is
  /// not visible.
  std::function<std::optional<std::int32_t>(const std::string& path)> lockHolder;
  /// When the system started, by the clock that Date uses. The time in suspend counts.
  std::function<Date()> bootedAt;

  /// The look-ups of the running system: /proc on Linux (proc(5)), libproc and sysctl(3) on macOS.
  static ProcessFacts ofThisSystem();
};

}  // namespace tavrin
