#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tavrin {

/// Whether an agent's hooks work. The settings screen shows it beside the agent.
class AgentReadiness {
 public:
  enum class Kind : std::uint8_t {
    inactive,      ///< hooks are written but do not work yet
    notInstalled,  ///< the agent's configuration has no hooks of Tavrin
    checking,      ///< a check is under way
    active,        ///< hooks are installed and work
  };

  /// `reason` is shown to the user. `fixable` says that an action in the screen, such as a retry, can help.
  static AgentReadiness inactive(std::string reason, bool fixable) {
    return AgentReadiness(Inactive{.reason = std::move(reason), .fixable = fixable});
  }
  static AgentReadiness notInstalled() { return AgentReadiness(Plain<Kind::notInstalled>{}); }
  static AgentReadiness checking() { return AgentReadiness(Plain<Kind::checking>{}); }
  static AgentReadiness active() { return AgentReadiness(Plain<Kind::active>{}); }

  Kind kind() const { return static_cast<Kind>(readiness_.index()); }
  bool isActive() const { return kind() == Kind::active; }

  /// What `inactive` was given, or "" and false for the other kinds.
  const std::string& reason() const {
    static const std::string none;
    const Inactive* const inactive = std::get_if<Inactive>(&readiness_);
    return inactive == nullptr ? none : inactive->reason;
  }
  bool fixable() const {
    const Inactive* const inactive = std::get_if<Inactive>(&readiness_);
    return inactive != nullptr && inactive->fixable;
  }

  bool operator==(const AgentReadiness&) const = default;

 private:
  struct Inactive {
    std::string reason;
    bool fixable;

    bool operator==(const Inactive&) const = default;
  };
  template <Kind>
  struct Plain {
    bool operator==(const Plain&) const = default;
  };
  // In the order of `Kind`.
  using Readiness =
      std::variant<Inactive, Plain<Kind::notInstalled>, Plain<Kind::checking>, Plain<Kind::active>>;

  explicit AgentReadiness(Readiness readiness) : readiness_(std::move(readiness)) {}

  Readiness readiness_;
};

/// The name of a kind in messages, such as "notInstalled".
constexpr std::string_view rawValue(AgentReadiness::Kind kind) {
  constexpr std::array<std::string_view, 4> names = {"inactive", "notInstalled", "checking", "active"};
  return names[static_cast<std::size_t>(kind)];
}

}  // namespace tavrin
