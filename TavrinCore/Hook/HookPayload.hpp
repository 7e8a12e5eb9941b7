#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin {

/// The parsed message of an agent to its hook. One table in HookPayload.cpp lists the keys that each field of
/// HookEvent is read from.
class HookPayload {
 public:
  /// A field of HookEvent.
  struct Field {
    constexpr Field(std::string HookEvent::*member) : text(member) {}
    constexpr Field(std::optional<std::string> HookEvent::*member) : optionalText(member) {}

    bool operator==(const Field&) const = default;

    // One of the two is null.
    std::string HookEvent::*text = nullptr;
    std::optional<std::string> HookEvent::*optionalText = nullptr;
  };

  /// All keys that are read. A JsonSkimmer may empty every string that is not under one of them.
  static std::span<const std::string_view> keys();

  /// Parses `bytes`. Throws JsonError if they are not JSON.
  explicit HookPayload(std::string_view bytes);

  /// False if the JSON is an array, a text, a number or another bare value.
  bool isObject() const { return fields_.isObject(); }

  /// The text for `field`: the value of the first of its keys that has a string, or nullopt.
  std::optional<std::string> text(Field field) const;

  /// Sets each field of `event` that has a text, and leaves the others alone.
  void fill(HookEvent& event) const;

  // Marks of tools that run hooks registered with other agents. Only the key counts, not its value.
  bool hasCursorVersion() const;
  bool hasWorkspaceRoot() const;

 private:
  JsonFields fields_;
};

}  // namespace tavrin
