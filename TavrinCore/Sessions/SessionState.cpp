#include "TavrinCore/Sessions/SessionState.hpp"

#include <algorithm>
#include <cstddef>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

namespace {

struct Names {
  std::string_view rawValue;
  std::string_view label;
};

// In the order of the enumeration.
constexpr std::array<Names, allSessionStates.size()> names = {{
    {"idle", "idle"},
    {"working", "burning"},
    {"needsYou", "needs you"},
}};

constexpr const Names& namesOf(SessionState state) {
  return names[static_cast<std::size_t>(state)];
}

}  // namespace

std::string_view rawValue(SessionState state) {
  return namesOf(state).rawValue;
}

std::optional<SessionState> sessionStateFromRawValue(std::string_view text) {
  const auto* const found =
      std::ranges::find_if(allSessionStates, [&](SessionState state) { return rawValue(state) == text; });
  return found == allSessionStates.end() ? std::nullopt : std::optional(*found);
}

int severity(SessionState state) {
  return static_cast<int>(state);
}

std::string_view label(SessionState state) {
  return namesOf(state).label;
}

std::string pillLabel(SessionState state) {
  return Text::upperCasedFirst(label(state));
}

}  // namespace tavrin
