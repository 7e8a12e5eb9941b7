#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace tavrin {

/// Whether an agent's hooks work: what the settings screen shows beside the agent.
class AgentReadiness {
 public:
  enum class Kind : std::uint8_t {
    inactive,      ///< hooks are written but do not work yet
    notInstalled,  ///< this system's hooks are not in the agent's configuration
    checking,      ///< a check is under way
    active,        ///< hooks are installed and effective
  };

  /// `reason` is shown to the user; `fixable` says that an action from within the screen can help, such as to
  /// retry or to trust.
  static AgentReadiness inactive(std::string reason, bool fixable) {
    return {Kind::inactive, std::move(reason), fixable};
  }
  static AgentReadiness notInstalled() { return {Kind::notInstalled, {}, false}; }
  static AgentReadiness checking() { return {Kind::checking, {}, false}; }
  static AgentReadiness active() { return {Kind::active, {}, false}; }

  Kind kind() const { return kind_; }
  bool isActive() const { return kind_ == Kind::active; }

  /// What `inactive` was given; "" and false for the other kinds.
  const std::string& reason() const { return reason_; }
  bool fixable() const { return fixable_; }

  bool operator==(const AgentReadiness&) const = default;

 private:
  AgentReadiness(Kind kind, std::string reason, bool fixable)
      : kind_(kind), reason_(std::move(reason)), fixable_(fixable) {}

  Kind kind_;
  std::string reason_;
  bool fixable_;
};

}  // namespace tavrin
