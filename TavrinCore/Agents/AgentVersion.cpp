#include "TavrinCore/Agents/AgentVersion.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace tavrin {

namespace {

// Takes a number off the front of `text`. Returns nullopt if there is none, or if it is too large.
std::optional<std::int32_t> takeNumber(std::string_view& text) {
  constexpr std::int32_t largest = 999'999;
  std::int32_t number = 0;
  if (text.starts_with('-')) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number > largest) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

std::optional<AgentVersion> takeVersion(std::string_view text) {
  std::array<std::int32_t, 3> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) {
      if (!text.starts_with('.')) return std::nullopt;
      text.remove_prefix(1);
    }
    const std::optional<std::int32_t> number = takeNumber(text);
    if (!number) return std::nullopt;
    numbers.at(i) = *number;
  }
  return AgentVersion{numbers[0], numbers[1], numbers[2]};
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::optional<AgentVersion> AgentVersion::parse(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    // Only where a number begins, not in the middle of one.
    if (!isDigit(text[i]) || (i > 0 && (isDigit(text[i - 1]) || text[i - 1] == '.'))) continue;
    if (const std::optional<AgentVersion> version = takeVersion(text.substr(i))) return version;
  }
  return std::nullopt;
}

std::string AgentVersion::text() const {
  return std::to_string(majorNumber) + "." + std::to_string(minorNumber) + "." + std::to_string(patchNumber);
}

namespace AgentVersions {

Fit fitted(const AgentDefinition& definition, const std::vector<std::optional<AgentVersion>>& installed) {
  Fit fit{.definition = definition, .leftOut = {}, .refusal = {}};
  if (definition.agent != Agent::claude) return fit;

  const bool isUnknown = installed.empty() || std::ranges::any_of(installed, [](const auto& version) {
                           return !version.has_value();
                         });
  std::optional<AgentVersion> oldest;
  for (const std::optional<AgentVersion>& version : installed) {
    if (version && (!oldest || *version < *oldest)) oldest = version;
  }
  const std::string name(definition.name);
  if (oldest && *oldest < claudeSafeFrom) {
    fit.refusal = name + " " + oldest->text() +
                  " would ignore all of its settings because of these hooks. Install " +
                  claudeSafeFrom.text() + " or later, then connect again.";
  }

  const auto reason = [&](const std::string& from) {
    return isUnknown ? "it takes " + name + " " + from + ", and the installed version is not known"
                     : name + " " + oldest->text() + " does not accept it; " + from + " does";
  };
  HookSettings::EventList accepted;
  for (const HookSettings::EventSpec& spec : definition.events) {
    const auto known = std::ranges::find(claudeEvents, spec.name, &ClaudeEvent::event);
    if (known == claudeEvents.end() || (!isUnknown && *oldest >= known->from)) {
      accepted.push_back(spec);
      continue;
    }
    fit.leftOut.push_back({.event = spec.name, .reason = reason(known->from.text())});
  }
  fit.definition.events = accepted;
  return fit;
}

}  // namespace AgentVersions

}  // namespace tavrin
