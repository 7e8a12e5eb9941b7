#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "tests/faults/Stage.hpp"
#include "tests/faults/SystemCallPoint.hpp"

/// Runs of the real executable to which one thing happens, and what each must leave: the old record or the
/// new one, the line in the log or no line, and a session whose next event is handled. A run begins on the
/// files of a situation. `points` are the system calls of such a run in which nothing happens.
namespace tavrin::test {

inline constexpr std::array<std::string_view, 8> systemErrors = {"EINTR",  "EIO",   "ENOSPC", "EDQUOT",
                                                                 "EACCES", "EROFS", "EMFILE", "ENOLCK"};

/// A system call that fails.
struct SystemCallFault {
  SystemCallPoint point;
  std::string_view error;
  bool isRepeated =
      false;  ///< so do all later calls of its name; but a signal interrupts five in a row at most

  std::string option() const;  ///< for strace(1)
  bool isInterruption() const { return error == "EINTR"; }
  bool isHit(const SystemCallPoint& other) const;
};

void tryFault(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
              const SystemCallFault& fault);

/// The run is killed on its way into the system call.
void tryKill(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
             const SystemCallPoint& point);

/// Checks what is left of a run that made at most its first `done` system calls.
void expectWhole(Stage& stage, const Situation& situation, const std::vector<SystemCallPoint>& points,
                 std::size_t done);

/// The first and the last system call during which a run holds the session's lock.
struct LockedCalls {
  explicit LockedCalls(const std::vector<SystemCallPoint>& points);
  bool contains(std::size_t number) const { return number >= first && number <= last; }

  std::size_t first = 0;
  std::size_t last = 0;
};

}  // namespace tavrin::test
