#include "TavrinTerminal/Panel/ConnectWork.hpp"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <memory>

#include "tests/TavrinTerminal/Commands/AgentMachine.hpp"

namespace tavrin::test {
namespace {

// Keeps all threads of libuv's pool busy: four, unless the environment says otherwise.
class BusyPool {
 public:
  BusyPool() {
    const std::shared_future<void> isOver = isOver_.get_future().share();
    for (Wait& wait : waits_) {
      wait.isOver = isOver;
      wait.request.data = &wait;
      uv_queue_work(
          &loop_.native(), &wait.request,
          [](uv_work_t* request) { static_cast<Wait*>(request->data)->isOver.wait(); }, nullptr);
    }
  }
  void free() { isOver_.set_value(); }

 private:
  struct Wait {
    uv_work_t request{};
    std::shared_future<void> isOver;
  };

  std::promise<void> isOver_;
  std::array<Wait, 4> waits_;
  EventLoop loop_;  // waits for the pool when it is destroyed
};

// A panel may be closed before the thread begins with what was asked for. AddressSanitizer notices.
TEST(ConnectWork, WhatBeginsLateNeedsNothingThatIsGone) {
  AgentMachine machine;
  machine.folder(".claude");
  machine.client(Agent::claude, "2.1.112 (Claude Code)");
  BusyPool pool;
  EventLoop loop;
  const auto notCalled = [](const auto&...) { ADD_FAILURE(); };
  for (const bool isChange : {false, true}) {
    auto background = std::make_unique<BackgroundWork>(loop);
    auto work = std::make_unique<ConnectWork>(
        machine.surroundings, machine.machine, *background,
        ConnectWork::Callbacks{
            .standings = notCalled, .question = notCalled, .say = notCalled, .failed = notCalled});
    if (isChange) {
      work->perform({.agent = Agent::claude, .deed = ConnectScreen::Deed::connect, .change = {}});
    } else {
      work->look();
    }
    work.reset();
    background.reset();
  }
  pool.free();
}

}  // namespace
}  // namespace tavrin::test
