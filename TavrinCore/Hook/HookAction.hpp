#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <variant>

#include "TavrinCore/Sessions/SessionState.hpp"

namespace tavrin {

/// What an event does to its session's record.
class HookAction {
 public:
  /// Creates or updates the record, and gives it this state.
  static constexpr HookAction set(SessionState state) { return HookAction(state); }
  /// Deletes the record.
  static constexpr HookAction remove() { return HookAction(Remove{}); }
  /// Leaves the record alone. Nothing is written.
  static constexpr HookAction ignore() { return HookAction(Ignore{}); }

  constexpr bool isRemove() const { return std::holds_alternative<Remove>(action_); }
  constexpr bool isIgnore() const { return std::holds_alternative<Ignore>(action_); }

  /// The state to set, or nullopt for the other two.
  constexpr std::optional<SessionState> state() const {
    const SessionState* const state = std::get_if<SessionState>(&action_);
    return state == nullptr ? std::nullopt : std::optional(*state);
  }

  constexpr bool operator==(const HookAction&) const = default;

 private:
  struct Remove {
    bool operator==(const Remove&) const = default;
  };
  struct Ignore {
    bool operator==(const Ignore&) const = default;
  };
  using Action = std::variant<SessionState, Remove, Ignore>;

  constexpr explicit HookAction(Action action) : action_(action) {}

  Action action_;
};

}  // namespace tavrin
