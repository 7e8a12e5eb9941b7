#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/PanelFocus.hpp"
#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// The rows of a panel as pointers to its sessions. These functions do what their namesakes for whole records
/// do, without copying a record, which is most of the work in a long list. The pointers are never null, and
/// are valid as long as the sessions stay where they are.
namespace tavrin::PanelRows {

/// Pointers to the sessions of some rows, in the order of the rows.
using Rows = std::vector<const Session*>;

/// All sessions in the order of SessionAggregator::sorted.
Rows sorted(const std::vector<Session>& sessions, std::string_view home = Home::directory());

/// The sessions to show, in the order of PanelNavigation::visible.
Rows visible(const std::vector<Session>& sessions, bool hideIdle, std::string_view home = Home::directory());

/// A session and the state in which it is shown, which may differ from the stored one.
struct Shown {
  const Session* session = nullptr;
  SessionState state = SessionState::idle;
};

/// The indices of `sessions` in the order in which PanelNavigation::visible would show them. None is left
/// out.
std::vector<std::size_t> shownOrder(const std::vector<Shown>& sessions);

/// The rows in the order of `sessionIds`, as PanelNavigation::holding puts them.
Rows holding(const Rows& rows, const std::vector<std::string>& sessionIds);

/// The servers under their rows, as ServerPlacement::place puts them.
ServerPlacement::Placed place(std::vector<LocalServer> servers, const Rows& rows);

/// All elements that can have the focus, as PanelNavigation::focusOrder lists them.
std::vector<PanelFocus> focusOrder(const Rows& rows, const std::vector<LocalServer>& servers,
                                   bool includeStopAll, bool includeSetup);

/// A pointer to each session, in input order.
Rows rowsOf(const std::vector<Session>& sessions);

/// The sessions that the rows point to.
std::vector<Session> copied(const Rows& rows);

}  // namespace tavrin::PanelRows
