#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/PanelFocus.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// Which rows the panel shows, in which order, and how the keyboard moves between them. PanelRows does the
/// same without copying sessions.
namespace tavrin::PanelNavigation {

/// Which way the focus moves.
enum class Direction : std::uint8_t { up, down };

/// The sessions to show: all but probes and, with `hideIdle`, idle ones. The more urgent state comes first,
/// then they are sorted by agent, then by name (Session::projectName) in the order of the user's language,
/// and by id if the names are equal. `home` is the home directory in which isProbe looks. Names always use
/// the user's home directory.
std::vector<Session> visible(const std::vector<Session>& sessions, bool hideIdle,
                             std::string_view home = Home::directory());

/// Whether a session is one that an application started for itself: its repository, or without one its
/// working directory, lies in the library folder of `home`.
bool isProbe(const Session& session, std::string_view home);

/// The sessions in the order of `sessionIds`, which is the order on the screen, then the others in input
/// order. Of sessions with the same id the first is taken. An id that is named twice lists its session twice.
std::vector<Session> holding(const std::vector<Session>& sessions,
                             const std::vector<std::string>& sessionIds);

/// The ids of the sessions whose host application is known. Selecting a row goes to that application.
std::vector<std::string> interactiveIds(const std::vector<Session>& sessions);

/// All elements that can have the focus, from top to bottom.
std::vector<PanelFocus> focusOrder(const std::vector<Session>& sessions,
                                   const std::vector<LocalServer>& servers, bool includeStopAll,
                                   bool includeSetup);

/// The element after or before `current` in `elements`. After the last comes the first. If `current` is
/// missing from `elements` or not given, returns the first one (down) or the last one (up). Returns nullopt
/// if there are no elements.
template <class Element>
std::optional<Element> next(const std::optional<Element>& current, const std::vector<Element>& elements,
                            Direction direction) {
  if (elements.empty()) return std::nullopt;
  const bool down = direction == Direction::down;
  const auto found = current ? std::find(elements.begin(), elements.end(), *current) : elements.end();
  if (found == elements.end()) return down ? elements.front() : elements.back();
  const auto position = static_cast<std::size_t>(found - elements.begin());
  const std::size_t step = down ? 1 : elements.size() - 1;
  return elements[(position + step) % elements.size()];
}

/// The same for the elements of `focusOrder`, for callers in languages without templates.
std::optional<PanelFocus> next(const std::optional<PanelFocus>& current,
                               const std::vector<PanelFocus>& elements, Direction direction);

}  // namespace tavrin::PanelNavigation
