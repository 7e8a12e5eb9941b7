#include "TavrinTerminal/System/EventLoop.hpp"

#include <cerrno>
#include <utility>

#include "TavrinCore/Support/PosixError.hpp"

namespace tavrin {

namespace {

// libuv's errors are errno values, negated.
void require(int result, std::string_view operation) {
  if (result < 0) throwPosixError(-result, operation, "");
}

// A new handle, which `init` registers with the loop. One that was not registered must not be closed.
template <class Handle, class Init>
OwnedHandle<Handle> registered(std::string_view operation, Init init) {
  auto handle = std::make_unique<Handle>();
  require(init(handle.get()), operation);
  return OwnedHandle<Handle>(handle.release());
}

template <class Handle>
void callBack(Handle* handle) {
  (*static_cast<EventLoop::Callback*>(handle->data))();
}

}  // namespace

EventLoop::EventLoop() {
  require(uv_loop_init(&loop_), "start the event loop");
}

EventLoop::~EventLoop() {
  while (uv_loop_close(&loop_) == UV_EBUSY) uv_run(&loop_, UV_RUN_ONCE);
}

Timer::Timer(EventLoop& loop, EventLoop::Callback callback)
    : callback_(std::move(callback)), handle_(registered<uv_timer_t>("make a timer", [&](uv_timer_t* handle) {
        return uv_timer_init(&loop.native(), handle);
      })) {
  handle_->data = &callback_;
}

void Timer::start(std::chrono::milliseconds delay) {
  uv_update_time(handle_->loop);
  uv_timer_start(handle_.get(), callBack<uv_timer_t>, static_cast<std::uint64_t>(delay.count()), 0);
}

void Timer::startRepeating(std::chrono::milliseconds interval) {
  const auto period = static_cast<std::uint64_t>(interval.count());
  uv_update_time(handle_->loop);
  uv_timer_start(handle_.get(), callBack<uv_timer_t>, period, period);
}

SignalWatch::SignalWatch(EventLoop& loop, int signal, EventLoop::Callback callback)
    : callback_(std::move(callback)),
      handle_(registered<uv_signal_t>(
          "watch a signal", [&](uv_signal_t* handle) { return uv_signal_init(&loop.native(), handle); })) {
  handle_->data = &callback_;
  require(uv_signal_start(
              handle_.get(), [](uv_signal_t* handle, int) { callBack(handle); }, signal),
          "watch a signal");
}

ReadableWatch::ReadableWatch(EventLoop& loop, FileDescriptor descriptor, EventLoop::Callback callback)
    : callback_(std::move(callback)),
      descriptor_(std::move(descriptor)),
      handle_(registered<uv_poll_t>("watch a descriptor", [&](uv_poll_t* handle) {
        return uv_poll_init(&loop.native(), handle, descriptor_.number());
      })) {
  handle_->data = &callback_;
  require(uv_poll_start(handle_.get(), UV_READABLE, [](uv_poll_t* handle, int, int) { callBack(handle); }),
          "watch a descriptor");
}

}  // namespace tavrin
