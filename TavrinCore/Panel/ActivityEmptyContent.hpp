#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// What the panel shows when there is nothing to list.
struct ActivityEmptyContent {
  /// The state of the monitoring of agents.
  class Agents {
   public:
    enum class Kind : std::uint8_t { connected, off, checking };

    /// `count` agents report; the texts are the same for any number.
    static constexpr Agents connected(std::int64_t count) { return {Kind::connected, count}; }
    static constexpr Agents off() { return {Kind::off, 0}; }
    static constexpr Agents checking() { return {Kind::checking, 0}; }

    constexpr Kind kind() const { return kind_; }
    /// The number of connected agents, or nullopt for the other kinds.
    constexpr std::optional<std::int64_t> connectedCount() const {
      return kind_ == Kind::connected ? std::optional(count_) : std::nullopt;
    }

    constexpr bool operator==(const Agents&) const = default;

   private:
    constexpr Agents(Kind kind, std::int64_t count) : kind_(kind), count_(count) {}

    Kind kind_;
    std::int64_t count_;
  };

  /// The state of the discovery of servers.
  enum class Localhost : std::uint8_t { off, checking, unavailable, quiet };

  /// What the button beside the texts does.
  enum class Action : std::uint8_t { openSettings };

  Agents agents;
  Localhost localhost;
  std::int64_t hiddenIdleCount = 0;  ///< idle sessions that are not listed

  bool operator==(const ActivityEmptyContent&) const = default;

  std::string_view title() const;

  /// The text below the title, if there is one. It may have two lines.
  std::optional<std::string> subtitle() const;

  /// The button, if there is one.
  std::optional<Action> action() const;
};

}  // namespace tavrin
