#include "TavrinTerminal/Panel/PanelSessions.hpp"

#include <memory>
#include <optional>

#include "TavrinTerminal/System/TerminalFocus.hpp"

namespace tavrin {

namespace {

std::string placeKey(const Session& session) {
  return session.sessionId + '\n' + std::to_string(session.agentPid) + '\n' + session.tty.value_or("");
}

}  // namespace

void PanelSessions::take(SessionWatcher::Look look) {
  if (look.isWhole) {
    makeRows(std::move(look.sessions));
  } else if (const auto rows = changedRows(model_.sessions(), std::move(look.sessions), surroundings_.home)) {
    if (rows->empty()) return;
    model_.updateSessions(*rows);
  } else {
    makeRows(callbacks_.all());
  }
  callbacks_.changed();
  lookForPlaces();
}

void PanelSessions::makeRows(std::vector<ObservedSession> sessions) {
  sessions = inShownOrder(std::move(sessions), surroundings_.home, false);
  std::vector<SessionPlace> places = knownPlaces(sessions);
  model_.takeSessions(sessionRows(std::move(sessions), std::move(places), surroundings_.home));
}

// Asking terminals where sessions are takes time, so rows are made with the places that are known already.
std::vector<SessionPlace> PanelSessions::knownPlaces(const std::vector<ObservedSession>& sessions) {
  hasUnknownPlace_ = places_.empty() && !sessions.empty();
  std::vector<SessionPlace> places;
  if (places_.empty()) return places;
  places.reserve(sessions.size());
  for (const ObservedSession& session : sessions) {
    const auto known = places_.find(placeKey(*session.record));
    hasUnknownPlace_ = hasUnknownPlace_ || known == places_.end();
    places.push_back(known == places_.end() ? SessionPlace() : known->second);
  }
  return places;
}

// If any place is not known, asks for the places of all sessions again.
void PanelSessions::lookForPlaces() {
  if (!hasUnknownPlace_ || isLookingForPlaces_) return;
  isLookingForPlaces_ = true;
  std::vector<ObservedSession> observed;
  observed.reserve(model_.sessions().size());
  for (const SessionRow& row : model_.sessions()) observed.push_back(row.session);
  auto sessions = std::make_shared<const std::vector<Session>>(asObserved(observed));
  auto found = std::make_shared<std::vector<SessionPlace>>();
  background_.add(
      [&surroundings = surroundings_, sessions, found] {
        *found = surroundings.places ? surroundings.places(*sessions)
                                     : TerminalFocus::ofThisSystem(surroundings).places(*sessions);
      },
      [this, sessions, found](const std::exception_ptr&) {
        try {
          takePlaces(*sessions, std::move(*found));
        } catch (...) {
          callbacks_.failed(std::current_exception());
        }
      });
}

void PanelSessions::takePlaces(const std::vector<Session>& sessions, std::vector<SessionPlace> found) {
  isLookingForPlaces_ = false;
  found.resize(sessions.size());
  places_.clear();
  for (std::size_t i = 0; i < sessions.size(); ++i)
    places_.emplace(placeKey(sessions[i]), std::move(found[i]));
  makeRows(callbacks_.all());
  callbacks_.changed();
  lookForPlaces();
}

}  // namespace tavrin
