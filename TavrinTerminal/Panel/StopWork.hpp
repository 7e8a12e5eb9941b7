#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "TavrinTerminal/Panel/BackgroundWork.hpp"
#include "TavrinTerminal/ServerStop.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// Stops servers for the panel, beside the loop. A server that does not stop is killed only after the person
/// was asked once more.
class StopWork {
 public:
  /// How long a server has to end after each signal.
  static constexpr std::chrono::seconds patience{5};

  struct Callbacks {
    std::function<void(std::string message)> say;
    std::function<void(std::string name)> askToKill;
    std::function<void()> ended;  ///< what runs may have changed
    std::function<void(std::exception_ptr)> failed;
  };

  StopWork(const Surroundings& surroundings, BackgroundWork& background, Callbacks callbacks)
      : surroundings_(surroundings), background_(background), callbacks_(std::move(callbacks)) {}

  /// Asks a server to end, once the person has agreed.
  void stop(const LocalServer& server);
  /// Kills the server that was last asked.
  void kill();

 private:
  void signal(bool isKill);

  const Surroundings& surroundings_;
  BackgroundWork& background_;
  Callbacks callbacks_;
  std::shared_ptr<ServerStop> stop_;  // holds the process until another is stopped
};

}  // namespace tavrin
