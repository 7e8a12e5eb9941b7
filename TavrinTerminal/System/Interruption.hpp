#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>

#include "TavrinCore/Support/File.hpp"

namespace tavrin {

/// While it lives, INT, TERM and HUP do not end this process: a command can go on to a good place to stop,
/// and report what was done. A signal that was ignored before, as nohup(1) has it, stays ignored. There is
/// one at a time.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Readable once a signal has come; -1 if no pipe could be made.
  int descriptor() const { return readEnd_.number(); }

  /// The first signal that came.
  static std::optional<int> signal();

 private:
  FileDescriptor readEnd_;
  FileDescriptor writeEnd_;
};

}  // namespace tavrin
