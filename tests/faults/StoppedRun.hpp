#pragma once

#include <sys/types.h>

#include "tests/faults/Stage.hpp"
#include "tests/faults/SystemCallPoint.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {

/// A run of tavrin-hook that a signal stops right after one of its system calls. The destructor kills it if
/// it still runs.
class StoppedRun {
 public:
  /// Starts the run on the files in `stage`, and waits until it has stopped.
  StoppedRun(const Stage& stage, const Situation& situation, const SystemCallPoint& point);
  ~StoppedRun();
  StoppedRun(const StoppedRun&) = delete;
  StoppedRun& operator=(const StoppedRun&) = delete;

  pid_t pid() const { return pid_; }

  /// Kills it, or lets it go on, and waits for its end. If it went on, it must end like any other run.
  void kill();
  void goOn();

 private:
  Running strace_;
  pid_t pid_ = -1;
};

}  // namespace tavrin::test
