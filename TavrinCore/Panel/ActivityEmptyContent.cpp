#include "TavrinCore/Panel/ActivityEmptyContent.hpp"

#include <algorithm>
#include <array>

namespace tavrin {

namespace {

using Kind = ActivityEmptyContent::Agents::Kind;
using Localhost = ActivityEmptyContent::Localhost;

struct Texts {
  std::optional<Kind> agents;          // nullopt for any
  std::optional<Localhost> localhost;  // nullopt for any
  std::string_view title;
  std::string_view subtitle;

  bool hold(const ActivityEmptyContent& content) const {
    return agents.value_or(content.agents.kind()) == content.agents.kind() &&
           localhost.value_or(content.localhost) == content.localhost;
  }
};

// The first row whose conditions hold counts.
constexpr std::array<Texts, 5> table = {{
    {{},
     Localhost::unavailable,
     "Localhost unavailable",
     "Couldn\u2019t refresh your local servers.\nTavrin will try again automatically."},
    {Kind::checking, Localhost::checking, "Getting ready", "Checking your agents and local servers."},
    {Kind::checking, {}, "Checking your agents", "Checking which agents can report activity."},
    {{}, Localhost::checking, "Checking localhost", "Looking for local servers on this Mac."},
    {Kind::off, Localhost::off, "Monitoring is off",
     "Turn on AI activity or localhost\nto see what\u2019s running."},
}};

const Texts* textsOf(const ActivityEmptyContent& content) {
  const auto* const found =
      std::ranges::find_if(table, [&](const Texts& texts) { return texts.hold(content); });
  return found == table.end() ? nullptr : found;
}

}  // namespace

std::string_view ActivityEmptyContent::title() const {
  const Texts* const texts = textsOf(*this);
  return texts != nullptr ? texts->title : "All quiet";
}

std::optional<std::string> ActivityEmptyContent::subtitle() const {
  if (const Texts* const texts = textsOf(*this)) return std::string(texts->subtitle);
  if (agents.kind() == Kind::off || hiddenIdleCount < 1) return std::nullopt;
  return std::to_string(hiddenIdleCount) + " idle " + (hiddenIdleCount == 1 ? "session is" : "sessions are") +
         " hidden.";
}

std::optional<ActivityEmptyContent::Action> ActivityEmptyContent::action() const {
  const bool allOff = agents.kind() == Kind::off && localhost == Localhost::off;
  return allOff ? std::optional(Action::openSettings) : std::nullopt;
}

}  // namespace tavrin
