#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/faults/Stage.hpp"

namespace tavrin::test {

/// One system call of a run: a place where something can happen to it.
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

  /// The call belongs to main, and can fail for reasons other than a lack of memory.
  bool canFail() const;

  /// The run looks something up here. Whatever cannot be looked up counts as missing.
  bool isLookUp() const;

  /// The record stays as it is if this call fails.
  bool isNeededForRecord() const { return isNeededForEvent() || isRemoval(); }

  /// If this call fails, the event cannot be handled, which is an error. A record that cannot be removed is
  /// not an error.
  bool isNeededForEvent() const;

  /// The line does not get into the log if this call fails.
  bool isNeededForLog() const;

  /// This call replaces the record, or removes it.
  bool isReplacement() const;
  bool isRemoval() const;
};

/// The system calls of a run in which nothing fails, on what `stage` holds now, from the first call after
/// execve(2). All ancestors are looked up in the same way, so only the calls for the first two are included.
std::vector<SystemCallPoint> systemCallPoints(const Stage& stage, const Situation& situation);

}  // namespace tavrin::test
