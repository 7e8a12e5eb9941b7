#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <deque>
#include <exception>
#include <functional>
#include <memory>

#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Does work that takes its time beside a loop, one piece after the other.
class BackgroundWork {
 public:
  explicit BackgroundWork(EventLoop& loop) : loop_(loop) {}
  /// Forgets what was not begun. A piece under way ends before the loop does, and calls nobody back.
  ~BackgroundWork();
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  /// `work` runs in a thread of its own, and must touch nothing that the loop's thread touches. `done` is
  /// then called by the loop; it is handed what `work` threw, or null.
  void add(std::function<void()> work, std::function<void(std::exception_ptr)> done);

 private:
  struct Piece {
    uv_work_t request{};
    BackgroundWork* owner = nullptr;
    std::function<void()> work;
    std::function<void(std::exception_ptr)> done;
    std::exception_ptr thrown;
  };

  void start();
  void ended(const Piece& piece);

  EventLoop& loop_;
  std::deque<std::unique_ptr<Piece>> waiting_;
  Piece* running_ = nullptr;  // owned by the loop until it is done
};

}  // namespace tavrin
