#pragma once

#include <cstdint>
#include <optional>

#include "TavrinCore/Sessions/SessionState.hpp"

namespace tavrin {

/// What an event does to its session's record.
class HookAction {
 public:
  /// The record is created or updated, and has this state then.
  static constexpr HookAction set(SessionState state) { return {Kind::set, state}; }
  /// The record is deleted.
  static constexpr HookAction remove() { return {Kind::remove, SessionState::idle}; }
  /// The record is left as it is, and nothing is written.
  static constexpr HookAction ignore() { return {Kind::ignore, SessionState::idle}; }

  constexpr bool isRemove() const { return kind_ == Kind::remove; }
  constexpr bool isIgnore() const { return kind_ == Kind::ignore; }

  /// The state to set; nothing for the other two.
  constexpr std::optional<SessionState> state() const {
    return kind_ == Kind::set ? std::optional(state_) : std::nullopt;
  }

  constexpr bool operator==(const HookAction&) const = default;

 private:
  enum class Kind : std::uint8_t { set, remove, ignore };

  constexpr HookAction(Kind kind, SessionState state) : kind_(kind), state_(state) {}

  Kind kind_;
  SessionState state_;
};

}  // namespace tavrin
