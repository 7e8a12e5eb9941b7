#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "TavrinCore/Support/File.hpp"

namespace tavrin {

/// One process, to be signalled and waited for. `isSame` is asked right before each signal. On Linux it is
/// also held by a pidfd (pidfd_open(2)): once held, no signal reaches another process that gets the same id.
class HeldProcess {
 public:
  enum class Signalled : std::uint8_t { sent, gone, denied };

  /// `isSame` says whether the id still belongs to the process that is meant; it is asked once it is held.
  HeldProcess(std::int32_t pid, std::function<bool()> isSame);

  /// Whether the process was the one that is meant when it was held.
  bool isHeld() const { return isHeld_; }

  /// Sends a signal. `gone` when the process has ended, or is not the one that is meant.
  Signalled signal(int number) const;

  /// Waits for its end. False when it still runs after `time`, or when the descriptor `interrupt` becomes
  /// readable before; -1 is none.
  bool endsWithin(std::chrono::milliseconds time, int interrupt = -1) const;

 private:
  std::int32_t pid_;
  std::function<bool()> isSame_;
  FileDescriptor end_;
  bool isHeld_ = false;
};

}  // namespace tavrin
