#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <uv.h>

#include <chrono>
#include <functional>
#include <memory>

#include "TavrinCore/Support/File.hpp"

namespace tavrin {

/// A loop of libuv. Everything that waits on it must be destroyed before it.
class EventLoop {
 public:
  using Callback = std::function<void()>;

  EventLoop();
  /// Runs until all handles that are being closed are closed.
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  uv_loop_t& native() { return loop_; }

  /// Calls back until `stop`, or until nothing is waited for.
  void run() { uv_run(&loop_, UV_RUN_DEFAULT); }
  void stop() { uv_stop(&loop_); }

 private:
  uv_loop_t loop_{};
};

/// Closes a handle of libuv, and frees it when the loop has let go of it.
template <class Handle>
struct CloseHandle {
  void operator()(Handle* handle) const {
    uv_close(reinterpret_cast<uv_handle_t*>(handle),
             [](uv_handle_t* closed) { delete reinterpret_cast<Handle*>(closed); });
  }
};

template <class Handle>
using OwnedHandle = std::unique_ptr<Handle, CloseHandle<Handle>>;

/// Calls back after a time.
class Timer {
 public:
  Timer(EventLoop& loop, EventLoop::Callback callback);
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Once, `delay` from now; a time that was set before is forgotten.
  void start(std::chrono::milliseconds delay);
  /// Again and again.
  void startRepeating(std::chrono::milliseconds interval);
  void stop() { uv_timer_stop(handle_.get()); }
  bool isRunning() const { return uv_is_active(reinterpret_cast<const uv_handle_t*>(handle_.get())) != 0; }

 private:
  EventLoop::Callback callback_;
  OwnedHandle<uv_timer_t> handle_;
};

/// Calls back when a signal arrives, in place of what the signal does otherwise.
class SignalWatch {
 public:
  SignalWatch(EventLoop& loop, int signal, EventLoop::Callback callback);
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

 private:
  EventLoop::Callback callback_;
  OwnedHandle<uv_signal_t> handle_;
};

/// Calls back while a descriptor, which this watch owns, is readable.
class ReadableWatch {
 public:
  ReadableWatch(EventLoop& loop, FileDescriptor descriptor, EventLoop::Callback callback);
  ~ReadableWatch() { uv_poll_stop(handle_.get()); }
  ReadableWatch(const ReadableWatch&) = delete;
  ReadableWatch& operator=(const ReadableWatch&) = delete;

  int descriptor() const { return descriptor_.number(); }
  /// Calls back no more.
  void stop() { uv_poll_stop(handle_.get()); }

 private:
  EventLoop::Callback callback_;
  FileDescriptor descriptor_;
  OwnedHandle<uv_poll_t> handle_;
};

}  // namespace tavrin
