#pragma once

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
      : surroundings_(surroundings),
        machine_(std::move(machine)),
        background_(background),
        callbacks_(std::move(callbacks)) {}

  /// Looks at all agents, and then asks the client of each that needs it whether it trusts the hooks.
  void look();
  /// Finds out what a deed would change, and asks about it.
  void preview(const AgentStanding& agent, ConnectScreen::Deed deed);
  /// Does what the person has agreed to, and looks again.
  void perform(const ConnectScreen::Question& question);

 private:
  Outcome run(Agent agent, ConnectScreen::Deed deed, bool dryRun,
              const std::function<void(const std::string& step)>& progress) const;
  void askForTrust(const std::vector<AgentStanding>& agents);

  const Surroundings& surroundings_;
  Connect::Machine machine_;
  BackgroundWork& background_;
  Callbacks callbacks_;
  bool isLooking_ = false;
};

}  // namespace tavrin
