#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TavrinTerminal/AgentStanding.hpp"
#include "TavrinTerminal/Commands/Connect.hpp"
#include "TavrinTerminal/Panel/BackgroundWork.hpp"
#include "TavrinTerminal/Panel/ConnectScreen.hpp"

namespace tavrin {

/// Does what the connect screen asks for, with the commands `connect` and `disconnect`, beside the loop.
class ConnectWork {
 public:
  struct Callbacks {
    std::function<void(std::vector<AgentStanding> agents)> standings;
    std::function<void(ConnectScreen::Question question)> question;
    std::function<void(std::string message)> say;
    std::function<void(std::exception_ptr)> failed;
  };

  ConnectWork(const Surroundings& surroundings, Connect::Machine machine, BackgroundWork& background,
              Callbacks callbacks)
      : means_{.surroundings = surroundings,
               .machine = std::make_shared<const Connect::Machine>(std::move(machine)),
               .interrupt = background.interrupt()},
        background_(background),
        callbacks_(std::move(callbacks)) {}

  /// Looks at all agents, and then asks the client of each that needs it whether it trusts the hooks.
  void look();
  /// Finds out what a deed would change, and asks about it.
  void preview(const AgentStanding& agent, ConnectScreen::Deed deed);
  /// Does what the person has agreed to, and looks again.
  void perform(const ConnectScreen::Question& question);

 private:
  // What a piece of work gets a copy of. The piece may begin or go on when the object that added it is gone,
  // but not when the surroundings are.
  struct Means {
    const Surroundings& surroundings;
    std::shared_ptr<const Connect::Machine> machine;
    int interrupt;

    std::vector<AgentStanding> standings() const;
    Outcome run(Agent agent, ConnectScreen::Deed deed, bool dryRun,
                const std::function<void(const std::string& step)>& progress) const;
  };

  void askForTrust(const std::vector<AgentStanding>& agents);

  Means means_;
  BackgroundWork& background_;
  Callbacks callbacks_;
  bool isLooking_ = false;
};

}  // namespace tavrin
