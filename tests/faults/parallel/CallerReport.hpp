#pragma once

#include <string>
#include <vector>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {

/// What the hook callers of one test report together (see HookCaller.cpp).
struct CallerReport {
  int events = 0;
  int updates = 0;                   ///< events that a record showed
  int kills = 0;                     ///< runs that were killed
  int lost = 0;                      ///< events after which a record had lost something
  std::vector<std::string> open;     ///< the calls left open
  std::vector<std::string> certain;  ///< log lines of events whose runs ended by themselves
  std::vector<std::string>
      uncertain;  ///< log lines of events that a record shows although their runs were killed

  /// Adds what one of them printed. A caller that complains or prints nothing fails the test.
  void add(const Outcome& outcome);
};

/// The program that plays an agent. `words` come after its name: HOME SESSION NAME and what to do. It runs
/// `hook`, and waits for the end of its input before it begins.
Running startCaller(const std::filesystem::path& hook, std::vector<std::string> words);

/// Lets the callers begin together, and waits for all of them.
CallerReport reportOf(const std::vector<Running>& callers);

/// Sixteen callers of `hook` that each send this many events to the session "s".
CallerReport runSixteenCallers(const std::filesystem::path& hook, const ScratchHome& home, int events);

}  // namespace tavrin::test
