#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <exception>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/Panel/BackgroundWork.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// Hands the sessions that looks find to the panel's model, with their places. Only the rows of sessions that
/// changed are made anew where that is enough.
class PanelSessions {
 public:
  struct Callbacks {
    /// All sessions as the last look found them.
    std::function<std::vector<ObservedSession>()> all;
    /// The model has other rows now.
    std::function<void()> changed;
    std::function<void(std::exception_ptr)> failed;
  };

  PanelSessions(const Surroundings& surroundings, PanelModel& model, BackgroundWork& background,
                Callbacks callbacks)
      : surroundings_(surroundings),
        model_(model),
        background_(background),
        callbacks_(std::move(callbacks)) {}

  /// Takes what SessionWatcher::lookForChanges found.
  void take(SessionWatcher::Look look);

 private:
  void makeRows(std::vector<ObservedSession> sessions);
  std::vector<SessionPlace> knownPlaces(const std::vector<ObservedSession>& sessions);
  void lookForPlaces();
  void takePlaces(const std::vector<Session>& sessions, std::vector<SessionPlace> found);

  const Surroundings& surroundings_;
  PanelModel& model_;
  BackgroundWork& background_;
  Callbacks callbacks_;
  std::unordered_map<std::string, SessionPlace> places_;
  bool hasUnknownPlace_ = false;  // among the sessions whose rows were made last
  bool isLookingForPlaces_ = false;
};

}  // namespace tavrin
