#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "TavrinCore/Agents/Agent.hpp"

namespace tavrin {

/// An element of the panel that can have the keyboard's focus.
class PanelFocus {
 public:
  enum class Kind : std::uint8_t {
    session,       ///< a session's row
    server,        ///< a server's row
    connectAgent,  ///< the button that connects one agent
    stopAllServers,
    connectAgents,  ///< the entry that sets agents up
    checkAgents,
    connectionHelp,
    finishAgentSetup,
    enableMonitoring,
    settings,
  };

  /// A server's row is known by its process and first port.
  struct Server {
    std::int32_t pid = 0;
    int port = 0;

    bool operator==(const Server&) const = default;
  };

  static PanelFocus session(std::string sessionId) {
    PanelFocus focus(Kind::session);
    focus.sessionId_ = std::move(sessionId);
    return focus;
  }
  static PanelFocus server(std::int32_t pid, int port) {
    PanelFocus focus(Kind::server);
    focus.server_ = {.pid = pid, .port = port};
    return focus;
  }
  static PanelFocus connectAgent(Agent agent) {
    PanelFocus focus(Kind::connectAgent);
    focus.agent_ = agent;
    return focus;
  }
  static PanelFocus stopAllServers() { return PanelFocus(Kind::stopAllServers); }
  static PanelFocus connectAgents() { return PanelFocus(Kind::connectAgents); }
  static PanelFocus checkAgents() { return PanelFocus(Kind::checkAgents); }
  static PanelFocus connectionHelp() { return PanelFocus(Kind::connectionHelp); }
  static PanelFocus finishAgentSetup() { return PanelFocus(Kind::finishAgentSetup); }
  static PanelFocus enableMonitoring() { return PanelFocus(Kind::enableMonitoring); }
  static PanelFocus settings() { return PanelFocus(Kind::settings); }

  Kind kind() const { return kind_; }
  /// Each is null for elements of other kinds.
  const std::string* sessionId() const { return kind_ == Kind::session ? &sessionId_ : nullptr; }
  const Server* server() const { return kind_ == Kind::server ? &server_ : nullptr; }
  const Agent* agent() const { return kind_ == Kind::connectAgent ? &agent_ : nullptr; }

  bool operator==(const PanelFocus&) const = default;

 private:
  friend struct std::hash<PanelFocus>;

  explicit PanelFocus(Kind kind) : kind_(kind) {}

  Kind kind_;
  // Each has its default in elements of other kinds.
  std::string sessionId_;
  Server server_;
  Agent agent_ = Agent::claude;
};

}  // namespace tavrin

/// Equal elements have equal hashes.
template <>
struct std::hash<tavrin::PanelFocus> {
  std::size_t operator()(const tavrin::PanelFocus& focus) const;
};
