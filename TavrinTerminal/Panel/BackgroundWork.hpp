#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <deque>
#include <exception>
#include <functional>
#include <memory>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Does work that takes its time beside a loop, one piece after the other.
class BackgroundWork {
 public:
  explicit BackgroundWork(EventLoop& loop);
  /// Forgets what was not begun. A piece under way ends before the loop does, and calls nobody back.
  ~BackgroundWork();
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  /// `work` runs in a thread of its own, and must touch nothing that the loop's thread touches or destroys
  /// before the loop. It may even begin after this is gone. `done` is then called by the loop; it is handed
  /// what `work` threw, or null.
  void add(std::function<void()> work, std::function<void(std::exception_ptr)> done);

  /// Hands news to the loop, which calls each. A copy may be kept by a piece of work and called from its
  /// thread; once this is gone it does nothing.
  using Post = std::function<void(std::function<void()> news)>;
  Post post() const;

  /// A descriptor that becomes readable when this is about to go, for work that can be interrupted.
  int interrupt() const { return interrupt_.number(); }

 private:
  struct Mailbox;

  struct Piece {
    uv_work_t request{};
    BackgroundWork* owner = nullptr;
    std::function<void()> work;
    std::function<void(std::exception_ptr)> done;
    std::exception_ptr thrown;
    FileDescriptor interrupt;
    FileDescriptor interrupter;
  };

  void start();
  void ended(const Piece& piece);

  EventLoop& loop_;
  std::shared_ptr<Mailbox> mailbox_;
  FileDescriptor interrupt_;
  FileDescriptor interrupter_;
  std::deque<std::unique_ptr<Piece>> waiting_;
  Piece* running_ = nullptr;  // owned by the loop until it is done
};

}  // namespace tavrin
