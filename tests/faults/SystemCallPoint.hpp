#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/faults/Stage.hpp"

namespace tavrin::test {

/// One system call of a run, as the place where something can happen to it.
struct SystemCallPoint {
  /// What the call is about.
  enum class Subject {
    startOfProcess,  ///< the C library's own, before main
    signals,
    input,
    sessionDirectory,
    lock,
    record,
    transcript,
    repository,
    process,
    title,
    random,  ///< random bytes, for identifiers
    temporary,
    log,
    rest
  };

  std::string call;        ///< as strace prints it
  std::string name;        ///< the system call's
  std::size_t nth = 0;     ///< among those of its name, from 1
  std::size_t number = 0;  ///< among all of the run, from 1
  Subject subject = Subject::rest;

  /// The call has errors that are no lack of memory, and it is one of main's.
  bool canFail() const;

  /// The run looks something up here; whatever cannot be looked up counts as not there.
  bool isLookUp() const;

  /// The record stays as it is when this call fails.
  bool isNeededForRecord() const { return isNeededForEvent() || isRemoval(); }

  /// The event cannot be handled when this call fails, which is an error. A record that cannot be removed is
  /// none.
  bool isNeededForEvent() const;

  /// The line cannot get into the log when this call fails.
  bool isNeededForLog() const;

  /// The record is replaced by this call, or removed.
  bool isReplacement() const;
  bool isRemoval() const;
};

/// The system calls of a run in which nothing fails, begun on what `stage` holds now, from the first one
/// after execve(2). Of the ancestors, which are all looked up alike, there are those of the first two.
std::vector<SystemCallPoint> systemCallPoints(const Stage& stage, const Situation& situation);

}  // namespace tavrin::test
