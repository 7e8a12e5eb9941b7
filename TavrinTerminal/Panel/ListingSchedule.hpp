#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <chrono>

namespace tavrin {

/// When the panel lists servers: when it opens, when a key asks for it, and `interval` after each listing. It
/// stops once nobody has pressed a key for `patience`; the next key begins anew. It looks at no clock: the
/// time is handed in.
class ListingSchedule {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::chrono::milliseconds interval{30'000};
  static constexpr std::chrono::minutes patience{5};

  explicit ListingSchedule(Time opened) : lastKey_(opened) {}

  /// Whether a listing begins now. Not while one is under way, or without a key for so long.
  bool begins(Time now);
  /// The listing that began is done.
  void ended() { isListing_ = false; }
  /// A key was pressed. Returns whether listings had stopped for want of one.
  bool pressed(Time now);

 private:
  Time lastKey_;
  bool isListing_ = false;
  bool hasStopped_ = false;
};

}  // namespace tavrin
