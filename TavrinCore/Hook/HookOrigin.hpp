#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"

namespace tavrin {

/// What the shape of a payload gives away about its sender. Some agents run the hooks that were registered
/// with another, so the agent named on the command line is not the last word.
class HookOrigin {
 public:
  /// The payload is of this agent.
  static constexpr HookOrigin agent(Agent agent) { return {Kind::agent, agent}; }
  /// Nothing gives the sender away: the command line is to be trusted.
  static constexpr HookOrigin declared() { return {Kind::declared, Agent::claude}; }
  /// The payload is of a tool that is not served.
  static constexpr HookOrigin unsupported() { return {Kind::unsupported, Agent::claude}; }

  /// Classifies a payload by the keys it has, whatever their values.
  static HookOrigin detect(const HookPayload& payload);

  /// The same for the bytes of a payload; those that are no JSON object are `declared`.
  static HookOrigin detect(std::string_view bytes);

  /// The agent to act for, or nothing when the payload is to be dropped. A declared agent other than Claude
  /// Code, which is also the default, always wins.
  static std::optional<Agent> resolve(Agent declared, const HookOrigin& origin);

  bool operator==(const HookOrigin&) const = default;

 private:
  enum class Kind : std::uint8_t { agent, declared, unsupported };

  constexpr HookOrigin(Kind kind, Agent agent) : kind_(kind), agent_(agent) {}

  Kind kind_;
  Agent agent_;
};

}  // namespace tavrin
