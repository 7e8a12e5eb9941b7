#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "TavrinCore/Agents/Agent.hpp"

namespace tavrin {

/// An element of the panel that the keyboard can be at.
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

  static PanelFocus session(std::string sessionId) { return {Kind::session, std::move(sessionId)}; }
  static PanelFocus server(std::int32_t pid, int port) {
    return {Kind::server, Server{.pid = pid, .port = port}};
  }
  static PanelFocus connectAgent(Agent agent) { return {Kind::connectAgent, agent}; }
  static PanelFocus stopAllServers() { return {Kind::stopAllServers, {}}; }
  static PanelFocus connectAgents() { return {Kind::connectAgents, {}}; }
  static PanelFocus checkAgents() { return {Kind::checkAgents, {}}; }
  static PanelFocus connectionHelp() { return {Kind::connectionHelp, {}}; }
  static PanelFocus finishAgentSetup() { return {Kind::finishAgentSetup, {}}; }
  static PanelFocus enableMonitoring() { return {Kind::enableMonitoring, {}}; }
  static PanelFocus settings() { return {Kind::settings, {}}; }

  Kind kind() const { return kind_; }
  /// Each is null for elements of other kinds.
  const std::string* sessionId() const { return std::get_if<std::string>(&payload_); }
  const Server* server() const { return std::get_if<Server>(&payload_); }
  const Agent* agent() const { return std::get_if<Agent>(&payload_); }

  bool operator==(const PanelFocus&) const = default;

 private:
  using Payload = std::variant<std::monostate, std::string, Server, Agent>;

  PanelFocus(Kind kind, Payload payload) : kind_(kind), payload_(std::move(payload)) {}

  Kind kind_;
  Payload payload_;
};

}  // namespace tavrin

template <>
struct std::hash<tavrin::PanelFocus> {
  std::size_t operator()(const tavrin::PanelFocus& focus) const;
};
