#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <string_view>
#include <variant>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"

namespace tavrin {

/// What the keys of a payload show about its sender. Some agents run hooks that were registered with another
/// agent, so the agent named on the command line may be wrong.
class HookOrigin {
 public:
  /// This agent sent the payload.
  static constexpr HookOrigin agent(Agent agent) { return HookOrigin(agent); }
  /// The keys do not show the sender: trust the command line.
  static constexpr HookOrigin declared() { return HookOrigin(Declared{}); }
  /// A tool that Tavrin does not serve sent the payload.
  static constexpr HookOrigin unsupported() { return HookOrigin(Unsupported{}); }

  constexpr bool isDeclared() const { return std::holds_alternative<Declared>(origin_); }
  constexpr bool isUnsupported() const { return std::holds_alternative<Unsupported>(origin_); }

  /// The agent that the keys show, or nullopt for the other two.
  constexpr std::optional<Agent> shownAgent() const {
    const Agent* const agent = std::get_if<Agent>(&origin_);
    return agent == nullptr ? std::nullopt : std::optional(*agent);
  }

  /// Classifies a payload by the keys it has, whatever their values are.
  static HookOrigin detect(const HookPayload& payload);

  /// The same for the bytes of a payload. Returns `declared` if they are not a JSON object.
  static HookOrigin detect(std::string_view bytes);

  /// The agent to act for, or nullopt to drop the payload. A declared agent other than Claude Code always
  /// wins. Claude Code may be only the default.
  static std::optional<Agent> resolve(Agent declared, const HookOrigin& origin);

  bool operator==(const HookOrigin&) const = default;

 private:
  struct Declared {
    bool operator==(const Declared&) const = default;
  };
  struct Unsupported {
    bool operator==(const Unsupported&) const = default;
  };
  using Origin = std::variant<Agent, Declared, Unsupported>;

  constexpr explicit HookOrigin(Origin origin) : origin_(origin) {}

  Origin origin_;
};

}  // namespace tavrin
