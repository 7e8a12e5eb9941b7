// Prints a line at each change of what a session is doing, until it is stopped: follow-sessions
// Needs Tavrin::Core.

#include <chrono>
#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Monitor/SessionWatcher.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"

using namespace tavrin;

int main() {
  SessionWatcher::Surroundings surroundings;
  surroundings.sessionsDirectory = SessionFileStore().directory();
  for (const AgentDefinition& definition : AgentDefinition::all)
    surroundings.homes.push_back(AgentHome::of(definition.agent));
  SessionWatcher watcher(surroundings);

  std::map<std::string, std::string> shown;  // by the session's id
  while (true) {
    const SessionWatcher::Look look = watcher.look(std::chrono::system_clock::now());
    std::map<std::string, std::string> found;
    for (const ObservedSession& session : look.sessions) {
      std::string& text = found[session.record->sessionId];
      text = session.record->projectName() + ", " + std::string(label(session.state));
      if (!session.reason.empty()) text += " (" + std::string(session.reason) + ")";
      if (shown[session.record->sessionId] != text) std::cout << text << std::endl;
    }
    for (const auto& [id, text] : shown)
      if (!found.contains(id)) std::cout << text << ", and has ended" << std::endl;
    shown = found;
    // A program with an event loop waits for a change of one of look.files instead.
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
  }
}
