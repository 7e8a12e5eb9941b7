#include "TavrinTerminal/Panel/StopWork.hpp"

#include <utility>
#include <variant>

namespace tavrin {

void StopWork::stop(const LocalServer& server) {
  if (surroundings_.isForeignHome) {
    callbacks_.say(foreignHomeSentence(surroundings_, "nothing was stopped"));
    return;
  }
  auto held = ServerStop::of(server, surroundings_.processes);
  if (auto* const refusal = std::get_if<std::string>(&held)) {
    callbacks_.say(std::move(*refusal));
    return;
  }
  stop_ = std::get<std::shared_ptr<ServerStop>>(std::move(held));
  callbacks_.say("Stopping " + stop_->name() + "...");
  signal(false);
}

void StopWork::kill() {
  if (!stop_) return;
  callbacks_.say("Killing " + stop_->name() + "...");
  signal(true);
}

void StopWork::signal(bool isKill) {
  auto result = std::make_shared<ServerStop::Result>();
  background_.add(
      [result, isKill, stop = stop_, interrupt = background_.interrupt()] {
        *result = isKill ? stop->kill(patience, interrupt) : stop->ask(patience, interrupt);
      },
      [this, result, isKill, stop = stop_](const std::exception_ptr& thrown) {
        if (thrown) {
          callbacks_.failed(thrown);
          return;
        }
        callbacks_.say(result->sentence);
        const bool isLast = stop_ == stop;
        if (result->step == ServerStop::Step::stillRuns && isLast && !isKill)
          callbacks_.askToKill(stop->name());
        callbacks_.ended();
      });
}

}  // namespace tavrin
